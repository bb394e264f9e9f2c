#include "agent/watched_machine.h"

#include <algorithm>
#include <cstdint>
#include <exception>

#include "agent/time_text.h"
#include "kor/debug.h"
#include "kor/reason.h"

namespace agent {

// A command is in progress while it lives, however it ends: a forced cancel throws.
class WatchedMachine::Note {
 public:
  Note(WatchedMachine& watchedMachine, const KorString& line) : owner(watchedMachine) {
    const Clock::time_point now = Clock::now();
    const Entry added = {&line, std::this_thread::get_id(), std::chrono::system_clock::now(), now,
                         now + owner.patience.first};
    KorMutexLock lock(owner.mutex);
    entry = owner.entries.insert(owner.entries.end(), added);
    if (owner.entries.size() == 1) owner.changed.NotifyAll();
  }
  ~Note() {
    KorMutexLock lock(owner.mutex);
    owner.entries.erase(entry);
    if (owner.entries.empty()) owner.changed.NotifyAll();
  }
  Note(const Note&) = delete;
  Note& operator=(const Note&) = delete;

 private:
  WatchedMachine& owner;
  std::list<Entry>::iterator entry;
};

WatchedMachine::WatchedMachine(KorMachine& watchedMachine, const Patience& chosenPatience)
    : machine(watchedMachine), patience(chosenPatience), watcher([this] { Watch(); }) {}

WatchedMachine::~WatchedMachine() {
  {
    KorMutexLock lock(mutex);
    stopping = true;
    changed.NotifyAll();
  }
  watcher.join();
}

KorCommandResult WatchedMachine::RunCommand(const KorString& command) {
  const Note note(*this, command);
  return machine.RunCommand(command);
}

std::vector<WatchedMachine::Command> WatchedMachine::Commands() {
  const Clock::time_point now = Clock::now();
  std::vector<Command> commands;
  KorMutexLock lock(mutex);
  for (const Entry& entry : entries) {
    commands.push_back({*entry.line, entry.thread, entry.since, now - entry.start});
  }
  return commands;
}

// Sleeps without an end while no command is in progress.
void WatchedMachine::Watch() {
  KorMutexLock lock(mutex);
  while (!stopping) {
    try {
      WarnWhereDue(Clock::now());
    } catch (const std::exception& error) {
      KorFrameworkLog().WarningWithNL("A command in progress cannot be told of: %s",
                                      KorReasonOf(error));
    }
    if (entries.empty()) {
      changed.Wait(mutex);
    } else {
      changed.WaitUntil(mutex, NextWarning());
    }
  }
}

// The lock is held while logging, or the command's text could go: listeners of the log must not ask
// this object.
void WatchedMachine::WarnWhereDue(Clock::time_point now) {
  for (Entry& entry : entries) {
    if (entry.nextWarning > now) continue;
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(now - entry.start).count();
    while (entry.nextWarning <= now) entry.nextWarning += patience.further;
    KorFrameworkLog().WarningWithNL(
        "The command '%S' has been in progress for %gu s, since %s; 'CommandTimeout' in "
        "kor-agent.ini bounds it",
        *entry.line, static_cast<uint64_t>(seconds), TimeText(entry.since));
  }
}

WatchedMachine::Clock::time_point WatchedMachine::NextWarning() {
  Clock::time_point next = Clock::time_point::max();
  for (const Entry& entry : entries) next = std::min(next, entry.nextWarning);
  return next;
}

}  // namespace agent
