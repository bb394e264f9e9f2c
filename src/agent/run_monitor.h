// What is known of inventory runs from outside of the module that makes them.

#pragma once

#include <chrono>
#include <memory>
#include <optional>
#include <thread>

#include "kor/log_dispatcher.h"

namespace agent {

// A run tells the log that it starts, on its own thread; when that thread ends, the run is over,
// and the module is asked how it ended. Thread-safe.
class RunMonitor {
 public:
  struct Run {
    std::thread::id thread;
    std::chrono::system_clock::time_point since;
    std::chrono::steady_clock::time_point start;
  };
  struct LastRun {
    std::chrono::system_clock::time_point ended;
    std::optional<bool> endedWell;  // nothing as long as the module has not answered
  };

  // The dispatcher must outlive the object.
  explicit RunMonitor(KorLogDispatcher& logDispatcher);
  ~RunMonitor();
  RunMonitor(const RunMonitor&) = delete;
  RunMonitor& operator=(const RunMonitor&) = delete;

  std::optional<Run> Current() const;
  std::optional<LastRun> Last() const;

 private:
  struct State;
  class EndOfThread;

  KorLogDispatcher& dispatcher;
  const std::shared_ptr<State> state;
  int listener = 0;
};

}  // namespace agent
