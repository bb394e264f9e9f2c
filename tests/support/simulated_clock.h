// A clock for the modules' timers that stands still until it is told to go on.

#pragma once

#include <algorithm>
#include <chrono>
#include <optional>

#include "kor/condition.h"
#include "kor/mutex.h"
#include "korcore/host_worker.h"
#include "korcore/module_timer.h"
#include "korcore/module_timer_clock.h"

class SimulatedClock : public ModuleTimerClock {
 public:
  // The timers and the host's worker begin with it and end with it.
  SimulatedClock() {
    ModuleTimersUseClock(this);
    HostWorkerStart();
    ModuleTimersStart();
  }
  ~SimulatedClock() override {
    ModuleTimersStop();
    HostWorkerStop();
    ModuleTimersUseClock(nullptr);
  }
  SimulatedClock(const SimulatedClock&) = delete;
  SimulatedClock& operator=(const SimulatedClock&) = delete;

  // When the next tick is due, once the timers have dealt with all that is due by now and what they
  // have set off has ended.
  Time NextTick() KOR_EXCLUDES(ownMutex) {
    while (!IsAsleepUntil(NextDue())) continue;
    HostWorkerDrain();
    return NextDue();
  }

  // Lets the time come in which all that is due by then is dealt with, one after another.
  void AdvanceTo(Time time) KOR_EXCLUDES(ownMutex) {
    while (NextTick() <= time) Step(NextTick());
    const KorMutexLock lock(ownMutex);
    now = time;
  }
  void Advance(std::chrono::seconds duration) { AdvanceTo(Now() + duration); }

  // The machine sleeps that long: what was due meanwhile is late.
  void Sleep(std::chrono::seconds duration) {
    NextTick();
    Step(Now() + duration);
    NextTick();
  }

  Time Now() override KOR_EXCLUDES(ownMutex) {
    const KorMutexLock lock(ownMutex);
    return now;
  }

  void WaitUntil(KorCondition& condition, KorMutex& mutex, Time time) override KOR_REQUIRES(mutex)
      KOR_EXCLUDES(ownMutex) {
    {
      const KorMutexLock lock(ownMutex);
      sleepingUntil = time;
      sleepsOn = &condition;
      changed.NotifyAll();
    }
    condition.Wait(mutex);
    const KorMutexLock lock(ownMutex);
    sleepingUntil.reset();
  }

 private:
  Time NextDue() KOR_EXCLUDES(ownMutex) {
    std::optional<std::chrono::milliseconds> left;
    for (const ModuleTimerEntry& entry : ModuleTimerEntries()) {
      if (entry.seconds > 0)
        left = std::min(left.value_or(entry.untilNextTick), entry.untilNextTick);
    }
    return left ? Now() + *left : Time::max();
  }

  // Waits a little for it: an entry that was set a moment ago wakes the timers first.
  bool IsAsleepUntil(Time time) KOR_EXCLUDES(ownMutex) {
    const KorMutexLock lock(ownMutex);
    if (sleepingUntil == time) return true;
    changed.WaitUntil(ownMutex, std::chrono::steady_clock::now() + std::chrono::milliseconds(1));
    return false;
  }

  void Step(Time time) KOR_EXCLUDES(ownMutex) {
    KorCondition* condition = nullptr;
    {
      const KorMutexLock lock(ownMutex);
      now = time;
      condition = sleepsOn;
      sleepingUntil.reset();
    }
    // Gets the lock of the timers when their thread has begun to wait.
    static_cast<void>(ModuleTimerEntries());
    condition->NotifyAll();
  }

  KorMutex ownMutex;
  KorCondition changed;
  Time now KOR_GUARDED_BY(ownMutex) = {};
  std::optional<Time> sleepingUntil KOR_GUARDED_BY(ownMutex);
  KorCondition* sleepsOn KOR_GUARDED_BY(ownMutex) = nullptr;
};
