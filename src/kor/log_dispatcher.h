// The host's logging context: hands each message to a file, to the terminal and to listeners.

#pragma once

#include <functional>
#include <memory>

#include "kor/debug.h"

class KorLogDispatcher : public KorDebugContext {
 public:
  using Listener = std::function<void(const KorLogRecord&)>;

  KorLogDispatcher();
  ~KorLogDispatcher() override;

  // Appends to the file, mode 0600, and rotates it at maxBytes, keeping keepFiles old ones
  // (file.1.log, ...). False with the reason in `error` when it cannot be opened.
  bool AddFile(const KorString& path, KorLogLevel level, size_t maxBytes, size_t keepFiles,
               KorString& error);
  void AddStandardError(KorLogLevel level);

  // Calls the listener for each message of that level and above, on the thread that logs. It must
  // not log itself. Returns a number for RemoveListener, which returns when no call is under way.
  int AddListener(KorLogLevel level, Listener listener);
  void RemoveListener(int number);

  bool Wants(KorLogLevel level) const override;
  void Write(const KorLogRecord& record) override;

 private:
  struct State;
  std::unique_ptr<State> state;
};
