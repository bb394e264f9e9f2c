#include "kor/debug.h"

#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <exception>
#include <iterator>
#include <string>
#include <utility>

#include "kor/immortal.h"
#include "kor/reason.h"

namespace {

using namespace std::string_view_literals;

constexpr std::string_view kLevelNames[] = {"trace", "detail", "print", "warning", "error"};
constexpr unsigned char kDelete = 0x7f;
// What a device or a file says can be long; a log file is to stay near its size.
constexpr size_t kLongestText = size_t{64} * 1024;

void AppendPadded(std::string& out, int64_t number, size_t width) {
  const std::string digits = std::to_string(number);
  if (digits.size() < width) out.append(width - digits.size(), '0');
  out += digits;
}

void AppendHex(std::string& out, unsigned char byte) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  out += "\\x";
  out += kDigits[byte >> 4U];
  out += kDigits[byte & 0x0fU];
}

void AppendEscaped(std::string& out, std::string_view text) {
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (character == '\n') {
      out += "\\n";
    } else if (character == '\r') {
      out += "\\r";
    } else if (character == '\t') {
      out += "\\t";
    } else if (character == '\\') {
      out += "\\\\";
    } else if (byte < ' ' || byte == kDelete) {
      AppendHex(out, byte);
    } else {
      out += character;
    }
  }
}

// "2026-01-31T12:34:56.789Z"
void AppendTime(std::string& out, std::chrono::system_clock::time_point time) {
  const auto whole = std::chrono::floor<std::chrono::seconds>(time);
  const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time - whole).count();
  const time_t seconds = std::chrono::system_clock::to_time_t(whole);
  tm parts{};
  gmtime_r(&seconds, &parts);
  AppendPadded(out, parts.tm_year + int64_t{1900}, 4);
  out += '-';
  AppendPadded(out, parts.tm_mon + 1, 2);
  out += '-';
  AppendPadded(out, parts.tm_mday, 2);
  out += 'T';
  AppendPadded(out, parts.tm_hour, 2);
  out += ':';
  AppendPadded(out, parts.tm_min, 2);
  out += ':';
  AppendPadded(out, parts.tm_sec, 2);
  out += '.';
  AppendPadded(out, milliseconds, 3);
  out += 'Z';
}

// Without memory there is neither a time nor the values of the message.
void TellLostMessage(KorLogLevel level, std::string_view logger, std::string_view format,
                     std::string_view reason) {
  const std::array<std::string_view, 7> pieces = {KorLogLevelName(level),
                                                  " ",
                                                  logger,
                                                  ": ",
                                                  format,
                                                  " (the message lacks its values: ",
                                                  reason};
  std::array<iovec, pieces.size() + 1> vectors{};
  for (size_t index = 0; index < pieces.size(); ++index) {
    vectors[index] = {const_cast<char*>(pieces[index].data()), pieces[index].size()};
  }
  char end[] = ")\n";
  vectors.back() = {end, sizeof(end) - 1};
  // There is nobody left to tell of a failure.
  static_cast<void>(writev(STDERR_FILENO, vectors.data(), vectors.size()) == 0);
}

class StandardErrorContext : public KorDebugContext {
 public:
  bool Wants(KorLogLevel level) const override { return level >= KorLogLevel::kWarning; }

  void Write(const KorLogRecord& record) override {
    if (!Wants(record.level)) return;
    const std::string line = KorLogLine(record).Str() + "\n";
    std::string_view rest = line;
    // In one piece where the system takes it, so that the lines of two threads do not mix. There is
    // nobody left to tell of a failure.
    while (!rest.empty()) {
      const ssize_t count = write(STDERR_FILENO, rest.data(), rest.size());
      if (count < 0 && errno == EINTR) continue;
      if (count <= 0) return;
      rest.remove_prefix(static_cast<size_t>(count));
    }
  }
};

}  // namespace

std::string_view KorLogLevelName(KorLogLevel level) {
  return kLevelNames[static_cast<size_t>(level)];
}

bool KorLogLevelFromName(const KorString& name, KorLogLevel& out) {
  for (size_t index = 0; index < std::size(kLevelNames); ++index) {
    if (!name.IsEqualTo(KorString(kLevelNames[index]), false)) continue;
    out = static_cast<KorLogLevel>(index);
    return true;
  }
  return false;
}

KorString KorLogLine(const KorLogRecord& record) {
  std::string line;
  line.reserve(std::min(record.text.size(), kLongestText) + record.logger.size() +
               "2026-01-31T12:34:56.789Z warning : "sv.size());
  AppendTime(line, record.time);
  line += ' ';
  line += KorLogLevelName(record.level);
  line += ' ';
  line += record.logger;
  line += ": ";
  AppendEscaped(line, record.text.substr(0, kLongestText));
  if (record.text.size() > kLongestText) {
    line += "... (" + std::to_string(record.text.size()) + " bytes)";
  }
  return KorString(std::move(line));
}

KorDebugContext& KorDebugContext::Default() {
  // Never destroyed: other statics log while they are.
  static KorImmortal<StandardErrorContext> context;
  return context.object;
}

KorDebug::KorDebug(const char* loggerName, const char* loggerDescription)
    : name(loggerName), description(loggerDescription) {}

void KorDebug::SetContext(KorDebugContext* newContext) {
  context.store(newContext, std::memory_order_release);
}

bool KorDebug::Wants(KorLogLevel level) const {
  const KorDebugContext* const current = context.load(std::memory_order_acquire);
  return current == nullptr ? KorDebugContext::Default().Wants(level) : current->Wants(level);
}

void KorDebug::Write(KorLogLevel level, std::string_view format,
                     std::initializer_list<KorFormatArgument> arguments) {
  try {
    KorDebugContext* const current = context.load(std::memory_order_acquire);
    KorDebugContext& target = current == nullptr ? KorDebugContext::Default() : *current;
    const auto now = std::chrono::system_clock::now();
    const std::string text = KorFormat(format, arguments);
    target.Write({now, level, name.View(), text, KorInputPosition::Current()});
  } catch (const std::exception& error) {
    TellLostMessage(level, name.View(), format, KorReasonOf(error));
  }
}

KorDebug& KorFrameworkLog() {
  // Never destroyed, for the same reason.
  static KorImmortal<KorDebug> log("Kor", "Framework");
  return log.object;
}
