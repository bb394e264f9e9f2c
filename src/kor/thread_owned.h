// Objects of which each thread has its own.

#pragma once

#include <pthread.h>

#include <memory>
#include <new>

// To be a static, the only one of its type: made when a thread first asks, destroyed when that
// thread ends, but not with the process. A thread_local object with a destructor would end the
// process when there is no memory to note it; here that is an exception.
template <typename T>
class KorThreadOwned {
 public:
  KorThreadOwned() {
    if (pthread_key_create(&key, Destroy) != 0) throw std::bad_alloc();
  }
  // Threads may outlive statics, and their objects with them.
  ~KorThreadOwned() = default;
  KorThreadOwned(const KorThreadOwned&) = delete;
  KorThreadOwned& operator=(const KorThreadOwned&) = delete;

  T& OfThisThread() {
    if (own == nullptr) {
      auto made = std::make_unique<T>();
      if (pthread_setspecific(key, made.get()) != 0) throw std::bad_alloc();
      own = made.release();
    }
    return *own;
  }

 private:
  static void Destroy(void* object) {
    own = nullptr;
    std::unique_ptr<T>(static_cast<T*>(object)).reset();
  }

  pthread_key_t key = 0;
  // Reached without a call; the key only tells when the thread ends.
  static constinit inline thread_local T* own = nullptr;
};
