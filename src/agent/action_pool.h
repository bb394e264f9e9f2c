// The threads on which the console's actions run.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <thread>
#include <vector>

#include "kor/condition.h"
#include "kor/mutex.h"
#include "kor/string.h"
#include "kor/thread.h"

namespace agent {

// A fixed number of threads and a queue of bounded length. The threads are KorThreads, so that an
// action that waits for a command which does not end can be ended all the same.
class ActionPool {
 public:
  struct Job {
    KorString name;
    std::function<void()> work;
  };
  struct Running {
    KorString name;
    std::thread::id thread;
    std::chrono::system_clock::time_point since;
    std::chrono::steady_clock::duration elapsed;
  };

  ActionPool(size_t threadCount, size_t queueLength);
  ~ActionPool();
  ActionPool(const ActionPool&) = delete;
  ActionPool& operator=(const ActionPool&) = delete;

  // False when the queue is full or the pool has been stopped; the job is then not run.
  bool Submit(Job job) KOR_EXCLUDES(mutex);

  // Jobs in progress, and how many wait for a thread.
  std::vector<Running> InProgress() KOR_EXCLUDES(mutex);
  size_t CountWaiting() KOR_EXCLUDES(mutex);

  // Drops the jobs that wait, and ends those in progress: by force after that time. Returns when
  // their threads have ended, or after the same time again.
  void Stop(uint32_t milliseconds) KOR_EXCLUDES(mutex);

 private:
  struct Entry {
    KorString name;
    std::thread::id thread;
    std::chrono::system_clock::time_point since;
    std::chrono::steady_clock::time_point start;
  };
  class Worker;
  class InProgressNote;

  void Work() KOR_EXCLUDES(mutex);
  bool TakeJob(Job& job) KOR_EXCLUDES(mutex);
  static void Perform(const Job& job);

  const size_t capacity;
  KorMutex mutex;
  KorCondition changed;
  std::deque<Job> jobs KOR_GUARDED_BY(mutex);
  std::vector<Entry> running KOR_GUARDED_BY(mutex);
  bool stopping KOR_GUARDED_BY(mutex) = false;
  std::vector<std::unique_ptr<Worker>> workers;
};

}  // namespace agent
