// The logger: fixed texts with placeholders at five levels, written to the host's logging context.

#pragma once

#include <atomic>
#include <chrono>
#include <initializer_list>
#include <string_view>
#include <type_traits>

#include "kor/format.h"
#include "kor/input_position.h"
#include "kor/string.h"

enum class KorLogLevel { kTrace, kDetail, kPrint, kWarning, kError };

// "trace", "detail", "print", "warning", "error".
std::string_view KorLogLevelName(KorLogLevel level);
// False for a word that is none of these; letter case is ignored.
bool KorLogLevelFromName(const KorString& name, KorLogLevel& out);

// One message, borrowed for the length of a Write().
struct KorLogRecord {
  std::chrono::system_clock::time_point time;
  KorLogLevel level;
  std::string_view logger;
  std::string_view text;             // raw: may hold any bytes
  const KorInputPosition* position;  // null unless an input file is being read on this thread
};

// "2026-01-31T12:34:56.789Z warning HardwareInventory: text", in UTC, without a line end. Control
// characters (C0 and DEL) and backslashes of the text are escaped as \n, \r, \t, \xHH and \\, so no
// value can forge a line.
KorString KorLogLine(const KorLogRecord& record);

// Where messages go. Implementations are called from any thread, several at once.
class KorDebugContext {
 public:
  virtual ~KorDebugContext() = default;
  // Whether anybody takes this level; asked before a message is formatted.
  virtual bool Wants(KorLogLevel level) const = 0;
  virtual void Write(const KorLogRecord& record) = 0;

  // The context of loggers that have none of their own: warnings and errors to standard error.
  static KorDebugContext& Default();
};

// A named logger. All operations may be called from several threads at once. None
// throws: of a message that cannot be written, for want of memory, its format goes to standard
// error.
class KorDebug {
 public:
  KorDebug(const char* name, const char* description);

  // Null goes back to the default context. The context must outlive the logger's use of it.
  void SetContext(KorDebugContext* context);
  bool Wants(KorLogLevel level) const;
  const KorString& GetName() const { return name; }
  const KorString& GetDescription() const { return description; }

  template <typename... Args>
  void TraceWithNL(KorFormatString<std::type_identity_t<Args>...> format, const Args&... args) {
    Log(KorLogLevel::kTrace, format.View(), args...);
  }
  template <typename... Args>
  void DetailWithNL(KorFormatString<std::type_identity_t<Args>...> format, const Args&... args) {
    Log(KorLogLevel::kDetail, format.View(), args...);
  }
  template <typename... Args>
  void PrintWithNL(KorFormatString<std::type_identity_t<Args>...> format, const Args&... args) {
    Log(KorLogLevel::kPrint, format.View(), args...);
  }
  template <typename... Args>
  void WarningWithNL(KorFormatString<std::type_identity_t<Args>...> format, const Args&... args) {
    Log(KorLogLevel::kWarning, format.View(), args...);
  }
  template <typename... Args>
  void ErrorWithNL(KorFormatString<std::type_identity_t<Args>...> format, const Args&... args) {
    Log(KorLogLevel::kError, format.View(), args...);
  }

 private:
  template <typename... Args>
  void Log(KorLogLevel level, std::string_view format, const Args&... args) {
    if (Wants(level)) Write(level, format, {KorFormatArgument(args)...});
  }
  void Write(KorLogLevel level, std::string_view format,
             std::initializer_list<KorFormatArgument> arguments);

  KorString name;
  KorString description;
  std::atomic<KorDebugContext*> context = nullptr;
};

// The framework's own logger, named "Kor". It follows the context that the host gives it.
KorDebug& KorFrameworkLog();
