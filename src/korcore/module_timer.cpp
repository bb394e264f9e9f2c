#include "korcore/module_timer.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <exception>
#include <memory>
#include <thread>
#include <utility>

#include "kor/condition.h"
#include "kor/container.h"
#include "kor/debug.h"
#include "kor/mutex.h"
#include "kor/reason.h"
#include "korcore/action_db.h"
#include "korcore/host_worker.h"
#include "korcore/module_timer_clock.h"

namespace {

using Time = ModuleTimerClock::Time;

// True from the moment a tick is queued until its call has run or was dropped.
using TickFlag = std::shared_ptr<std::atomic<bool>>;

struct Timer {
  ModuleTimerEntry entry;
  Time due;
  TickFlag tickUnderWay = std::make_shared<std::atomic<bool>>(false);

  bool IsOn() const { return entry.seconds > 0; }
  std::chrono::seconds Period() const { return std::chrono::seconds(entry.seconds); }
};

void InvokeTimerAction(const KorString& action) {
  KorContainer parameters;
  const uint32_t result = ActionDbInvokeContainer("", action, parameters, 0, -1, -1, 0);
  if (result == ACTIONDB_ERROR_SUCCESS) return;
  KorFrameworkLog().WarningWithNL("The timer's action '%S' failed (result %u)", action, result);
}

void QueueTick(const Timer& timer) {
  if (timer.tickUnderWay->exchange(true)) {
    KorFrameworkLog().DetailWithNL("A tick of the timer '%S' is skipped: its action is under way",
                                   timer.entry.name);
    return;
  }
  // The flag is cleared when the last copy of the call goes, so also when it is dropped unrun.
  const std::shared_ptr<void> whileQueued(
      nullptr, [flag = timer.tickUnderWay](void*) { flag->store(false); });
  HostWorkerQueue([whileQueued, action = timer.entry.action] { InvokeTimerAction(action); });
}

void QueueTickGuarded(const Timer& timer) {
  try {
    QueueTick(timer);
  } catch (const std::exception& error) {
    KorFrameworkLog().ErrorWithNL("A tick of the timer '%S' is lost: %s", timer.entry.name,
                                  KorReasonOf(error));
  }
}

class Timers {
 public:
  ~Timers() { Stop(); }

  void Set(const ModuleTimerEntry& entry) KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    Timer& timer = Ensure(entry.name);
    timer.entry = entry;
    timer.due = clock->Now() + timer.Period();
    changed.NotifyAll();
  }

  std::vector<ModuleTimerEntry> Entries() KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    std::vector<ModuleTimerEntry> entries;
    const Time now = clock->Now();
    for (const Timer& timer : timers) {
      ModuleTimerEntry& entry = entries.emplace_back(timer.entry);
      if (!timer.IsOn()) continue;
      entry.untilNextTick = std::max(std::chrono::ceil<std::chrono::milliseconds>(timer.due - now),
                                     std::chrono::milliseconds(0));
    }
    return entries;
  }

  void UseClock(ModuleTimerClock* newClock) KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    clock = newClock == nullptr ? &steadyClock : newClock;
  }

  void Start() KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    while (stopping) changed.Wait(mutex);
    if (running) return;
    thread = std::thread([this] { Run(); });
    running = true;
  }

  void Stop() KOR_EXCLUDES(mutex) {
    std::thread ending;
    {
      KorMutexLock lock(mutex);
      if (stopping) return;
      timers.clear();
      if (!running) return;
      stopping = true;
      changed.NotifyAll();
      ending = std::move(thread);
    }
    ending.join();
    KorMutexLock lock(mutex);
    timers.clear();
    running = false;
    stopping = false;
    changed.NotifyAll();
  }

 private:
  Timer& Ensure(const KorString& name) KOR_REQUIRES(mutex) {
    for (Timer& timer : timers) {
      if (timer.entry.name == name) return timer;
    }
    return timers.emplace_back();
  }

  void Run() KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    while (!stopping) {
      TickWhatIsDue(clock->Now());
      const Timer* next = NextDue();
      if (next == nullptr) {
        changed.Wait(mutex);
      } else {
        clock->WaitUntil(changed, mutex, next->due);
      }
    }
  }

  // Ticks that were missed, as while the machine slept, are not made up for.
  void TickWhatIsDue(Time now) KOR_REQUIRES(mutex) {
    for (Timer& timer : timers) {
      if (!timer.IsOn() || timer.due > now) continue;
      QueueTickGuarded(timer);
      timer.due += timer.Period();
      if (timer.due <= now) timer.due = now + timer.Period();
    }
  }

  // Null when no timer is on.
  const Timer* NextDue() KOR_REQUIRES(mutex) {
    const Timer* next = nullptr;
    for (const Timer& timer : timers) {
      if (timer.IsOn() && (next == nullptr || timer.due < next->due)) next = &timer;
    }
    return next;
  }

  KorMutex mutex;
  KorCondition changed;
  ModuleTimerClock steadyClock;
  ModuleTimerClock* clock KOR_GUARDED_BY(mutex) = &steadyClock;
  std::vector<Timer> timers KOR_GUARDED_BY(mutex);
  std::thread thread KOR_GUARDED_BY(mutex);
  bool running KOR_GUARDED_BY(mutex) = false;
  bool stopping KOR_GUARDED_BY(mutex) = false;
};

Timers& TheTimers() {
  static Timers timers;
  return timers;
}

}  // namespace

bool SetModuleTimerEntry(const KorString& name, const KorString& action, uint32_t seconds, int) {
  TheTimers().Set({name, action, seconds, {}});
  return true;
}

std::vector<ModuleTimerEntry> ModuleTimerEntries() {
  return TheTimers().Entries();
}

void ModuleTimersUseClock(ModuleTimerClock* clock) {
  TheTimers().UseClock(clock);
}

void ModuleTimersStart() {
  TheTimers().Start();
}

void ModuleTimersStop() {
  TheTimers().Stop();
}
