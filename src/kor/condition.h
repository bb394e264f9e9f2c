// A condition to wait for under a KorMutex.

#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "kor/mutex.h"

// Wakes without a reason, too: callers wait in a loop that looks at what they wait for.
class KorCondition {
 public:
  // Releases the mutex while waiting; holds it again on return.
  void Wait(KorMutex& mutex) KOR_REQUIRES(mutex) {
    std::unique_lock<std::mutex> lock(mutex.Native(), std::adopt_lock);
    condition.wait(lock);
    lock.release();
  }

  // The same up to that time; false when the time was over first.
  bool WaitUntil(KorMutex& mutex, std::chrono::steady_clock::time_point time) KOR_REQUIRES(mutex) {
    std::unique_lock<std::mutex> lock(mutex.Native(), std::adopt_lock);
    const bool inTime = condition.wait_until(lock, time) == std::cv_status::no_timeout;
    lock.release();
    return inTime;
  }

  void NotifyAll() { condition.notify_all(); }

 private:
  std::condition_variable condition;
};
