#include "agent/terminal_log.h"

#include <unistd.h>

#include <algorithm>

#include "agent/display_text.h"
#include "agent/output.h"

namespace agent {
namespace {

constexpr std::string_view kEraseLine = "\r\x1b[K";

// What goes wrong while writing messages has nowhere to be told.
void WriteMessage(int descriptor, std::string_view text) {
  const Result<void> ignored = WriteAll(descriptor, text);
  static_cast<void>(ignored);
}

}  // namespace

void Complain(const KorString& text) {
  WriteMessage(STDERR_FILENO, "kor-agent: " + DisplayText(text.View()) + "\n");
}

TerminalLog::TerminalLog(KorLogDispatcher& logDispatcher, const Options& chosenOptions,
                         int outputDescriptor)
    : dispatcher(logDispatcher), options(chosenOptions), descriptor(outputDescriptor) {
  const KorLogLevel lowest =
      options.showProgress ? std::min(options.level, KorLogLevel::kPrint) : options.level;
  listener = dispatcher.AddListener(lowest, [this](const KorLogRecord& record) { Take(record); });
}

TerminalLog::~TerminalLog() {
  dispatcher.RemoveListener(listener);
  EraseProgress();
}

void TerminalLog::EraseProgress() {
  KorMutexLock lock(mutex);
  SetProgress({});
}

void TerminalLog::Take(const KorLogRecord& record) {
  KorMutexLock lock(mutex);
  if (IsShown(record)) {
    const std::string shown = progress;
    SetProgress({});
    WriteMessage(descriptor, KorLogLine(record).Str() + "\n");
    SetProgress(shown);
  }
  if (options.showProgress && record.text.starts_with("Scanning ")) {
    SetProgress(DisplayText(record.text));
  }
}

bool TerminalLog::IsShown(const KorLogRecord& record) const {
  const bool isHidden = options.hideFindings && record.position != nullptr;
  return record.level >= options.level && !isHidden;
}

void TerminalLog::SetProgress(std::string_view text) {
  if (text == progress) return;
  progress = text;
  WriteMessage(descriptor, std::string(kEraseLine) + progress);
}

}  // namespace agent
