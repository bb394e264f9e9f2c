// What the user sees on standard error: messages, and on a terminal one line of progress.

#pragma once

#include <string>
#include <string_view>

#include "kor/debug.h"
#include "kor/log_dispatcher.h"
#include "kor/mutex.h"
#include "kor/string.h"

namespace agent {

// "kor-agent: <text>" on standard error, control characters escaped.
void Complain(const KorString& text);

// Writes the messages of the level and above that are not about a line of an input file (with
// hideFindings; else all), and, on a terminal, the scan that is running, on one line that is erased
// at the end. Messages and progress don't get into each other's lines.
class TerminalLog {
 public:
  struct Options {
    KorLogLevel level = KorLogLevel::kWarning;
    bool hideFindings = false;
    bool showProgress = false;
  };

  // The dispatcher must outlive the object. Writes to the descriptor.
  TerminalLog(KorLogDispatcher& logDispatcher, const Options& chosenOptions, int outputDescriptor);
  ~TerminalLog();
  TerminalLog(const TerminalLog&) = delete;
  TerminalLog& operator=(const TerminalLog&) = delete;

  // Takes the progress line away, until the next scan begins.
  void EraseProgress() KOR_EXCLUDES(mutex);

 private:
  void Take(const KorLogRecord& record) KOR_EXCLUDES(mutex);
  bool IsShown(const KorLogRecord& record) const;
  void SetProgress(std::string_view text) KOR_REQUIRES(mutex);

  KorLogDispatcher& dispatcher;
  const Options options;
  const int descriptor;
  KorMutex mutex;
  std::string progress KOR_GUARDED_BY(mutex);
  int listener = 0;
};

}  // namespace agent
