// Something done in the middle of a call, at a message that tells where it is.

#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "support/captured_log.h"

// Takes every message of the logger and does that once, at the first that contains the text.
class LogTrap : public CapturedLog {
 public:
  LogTrap(KorDebug& loggerToCapture, std::string textToWaitFor, std::function<void()> whatToDo)
      : CapturedLog(loggerToCapture), text(std::move(textToWaitFor)), action(std::move(whatToDo)) {}

  void Write(const KorLogRecord& record) override {
    CapturedLog::Write(record);
    if (record.text.find(text) == std::string_view::npos) return;
    if (const auto once = std::exchange(action, nullptr)) once();
  }

 private:
  std::string text;
  std::function<void()> action;
};
