// What a logger says while a test looks.

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "kor/debug.h"
#include "kor/mutex.h"

// Takes every message of the logger until it goes; the logger is then back at the default context.
class CapturedLog : public KorDebugContext {
 public:
  struct Entry {
    KorLogLevel level;
    std::string text;
    std::string file;   // of the input that was being read; empty outside of one
    uint64_t line = 0;  // in it

    bool operator==(const Entry&) const = default;
  };

  explicit CapturedLog(KorDebug& loggerToCapture) : logger(loggerToCapture) {
    logger.SetContext(this);
  }
  ~CapturedLog() override { logger.SetContext(nullptr); }
  CapturedLog(const CapturedLog&) = delete;
  CapturedLog& operator=(const CapturedLog&) = delete;

  bool Wants(KorLogLevel) const override { return true; }
  void Write(const KorLogRecord& record) override {
    const KorInputPosition* position = record.position;
    const KorMutexLock lock(mutex);
    entries.push_back({record.level, std::string(record.text),
                       position == nullptr ? std::string() : position->file.Str(),
                       position == nullptr ? 0 : position->line});
  }

  std::vector<Entry> Entries() const {
    const KorMutexLock lock(mutex);
    return entries;
  }

  // "warning: text", each with a line end.
  std::string Text() const {
    std::string text;
    for (const Entry& entry : Entries()) {
      text.append(KorLogLevelName(entry.level)).append(": ").append(entry.text).append("\n");
    }
    return text;
  }

 private:
  KorDebug& logger;
  mutable KorMutex mutex;
  std::vector<Entry> entries KOR_GUARDED_BY(mutex);
};
