// Knows which commands are in progress on the machine, and complains about those that do not end.

#pragma once

#include <chrono>
#include <list>
#include <thread>
#include <vector>

#include "kor/condition.h"
#include "kor/machine.h"
#include "kor/mutex.h"
#include "kor/string.h"

namespace agent {

// A df on a dead network file system hangs for ever: a warning names the command when it has been
// in progress for a while, and again each further while. Thread-safe.
class WatchedMachine : public KorMachine {
 public:
  struct Command {
    KorString line;
    std::thread::id thread;
    std::chrono::system_clock::time_point since;
    std::chrono::steady_clock::duration elapsed;
  };

  struct Patience {
    std::chrono::milliseconds first = std::chrono::minutes(10);
    std::chrono::milliseconds further = std::chrono::hours(1);
  };

  // The machine must outlive the object.
  explicit WatchedMachine(KorMachine& watchedMachine)
      : WatchedMachine(watchedMachine, Patience()) {}
  WatchedMachine(KorMachine& watchedMachine, const Patience& chosenPatience);
  ~WatchedMachine() override;

  KorCommandResult RunCommand(const KorString& command) override KOR_EXCLUDES(mutex);
  bool FileExists(const KorString& path) override { return machine.FileExists(path); }
  KorString HostName() override { return machine.HostName(); }
  KorString DistributionName() override { return machine.DistributionName(); }

  // The commands in progress, the oldest first.
  std::vector<Command> Commands() KOR_EXCLUDES(mutex);

 private:
  using Clock = std::chrono::steady_clock;

  struct Entry {
    const KorString* line;
    std::thread::id thread;
    std::chrono::system_clock::time_point since;
    Clock::time_point start;
    Clock::time_point nextWarning;
  };

  class Note;

  void Watch() KOR_EXCLUDES(mutex);
  void WarnWhereDue(Clock::time_point now) KOR_REQUIRES(mutex);
  Clock::time_point NextWarning() KOR_REQUIRES(mutex);

  KorMachine& machine;
  const Patience patience;
  KorMutex mutex;
  KorCondition changed;
  std::list<Entry> entries KOR_GUARDED_BY(mutex);
  bool stopping KOR_GUARDED_BY(mutex) = false;
  std::thread watcher;
};

}  // namespace agent
