// A plain mutex and its scoped lock, checked by Clang's thread-safety analysis.

#pragma once

#include <mutex>

#include "kor/thread_annotations.h"

// Not recursive: locking it twice on one thread is a deadlock.
class KOR_CAPABILITY("mutex") KorMutex {
 public:
  KorMutex() = default;
  KorMutex(const KorMutex&) = delete;
  KorMutex& operator=(const KorMutex&) = delete;

  void Lock() KOR_ACQUIRE() { mutex.lock(); }
  void Unlock() KOR_RELEASE() { mutex.unlock(); }

  // For std::condition_variable only.
  std::mutex& Native() { return mutex; }

 private:
  std::mutex mutex;
};

// Holds the mutex from construction until Release() or the end of the scope.
class KOR_SCOPED_CAPABILITY KorMutexLock {
 public:
  explicit KorMutexLock(KorMutex& mutexToLock) KOR_ACQUIRE(mutexToLock) : mutex(&mutexToLock) {
    mutex->Lock();
  }
  ~KorMutexLock() KOR_RELEASE() {
    if (mutex != nullptr) mutex->Unlock();
  }
  KorMutexLock(const KorMutexLock&) = delete;
  KorMutexLock& operator=(const KorMutexLock&) = delete;

  // Unlocks before the end of the scope. To be called once.
  void Release() KOR_RELEASE() {
    mutex->Unlock();
    mutex = nullptr;
  }

 private:
  KorMutex* mutex;
};
