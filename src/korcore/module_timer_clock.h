// What the timers of the modules take for time.

#pragma once

#include <chrono>

#include "kor/condition.h"
#include "kor/mutex.h"

// The steady clock, which no change of the time of day moves. Another one is for tests, in which a
// week must not take one.
class ModuleTimerClock {
 public:
  using Time = std::chrono::steady_clock::time_point;

  virtual ~ModuleTimerClock() = default;
  virtual Time Now() { return std::chrono::steady_clock::now(); }
  // Until the condition is notified or that time has come. May end early.
  virtual void WaitUntil(KorCondition& condition, KorMutex& mutex, Time time) KOR_REQUIRES(mutex) {
    condition.WaitUntil(mutex, time);
  }
};

// Null: the steady clock. Only while the timers do not run; the clock must outlive their running.
void ModuleTimersUseClock(ModuleTimerClock* clock);
