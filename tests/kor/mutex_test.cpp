#include "kor/mutex.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>
#include <vector>

#include "kor/condition.h"

namespace {

using namespace std::chrono_literals;

bool IsFree(KorMutex& mutex) {
  bool free = false;
  // On a thread of its own: asking for a mutex that one holds is undefined.
  std::thread([&mutex, &free] {
    free = mutex.Native().try_lock();
    if (free) mutex.Native().unlock();
  }).join();
  return free;
}

TEST(Mutex, LockHoldsItToTheEndOfTheScope) {
  KorMutex mutex;
  {
    const KorMutexLock lock(mutex);
    EXPECT_FALSE(IsFree(mutex));
  }
  EXPECT_TRUE(IsFree(mutex));
}

TEST(Mutex, LockCanBeReleasedEarly) {
  KorMutex mutex;
  KorMutexLock lock(mutex);
  lock.Release();
  EXPECT_TRUE(IsFree(mutex));
}

TEST(Mutex, LockIsReleasedByAnException) {
  KorMutex mutex;
  try {
    const KorMutexLock lock(mutex);
    throw 1;
  } catch (int) {
  }
  EXPECT_TRUE(IsFree(mutex));
}

TEST(Mutex, ExcludesOtherThreads) {
  KorMutex mutex;
  int count = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&mutex, &count] {
      for (int round = 0; round < 5000; ++round) {
        const KorMutexLock lock(mutex);
        ++count;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(count, 20000);
}

TEST(Condition, ReleasesTheMutexWhileItWaits) {
  KorMutex mutex;
  KorCondition condition;
  bool ready = false;
  std::thread setter([&] {
    const KorMutexLock lock(mutex);
    ready = true;
    condition.NotifyAll();
  });
  {
    const KorMutexLock lock(mutex);
    while (!ready) condition.Wait(mutex);
    EXPECT_FALSE(IsFree(mutex)) << "it is held again afterwards";
  }
  setter.join();
}

TEST(Condition, TellsThatTheTimeIsOver) {
  KorMutex mutex;
  KorCondition condition;
  const auto end = std::chrono::steady_clock::now() + 20ms;
  const KorMutexLock lock(mutex);
  while (condition.WaitUntil(mutex, end)) {
  }
  EXPECT_GE(std::chrono::steady_clock::now(), end);
  EXPECT_FALSE(IsFree(mutex));
}

}  // namespace
