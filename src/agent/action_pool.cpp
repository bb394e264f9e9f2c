#include "agent/action_pool.h"

#include <exception>
#include <utility>

#include "kor/debug.h"
#include "kor/reason.h"

namespace agent {

class ActionPool::Worker : public KorThread {
 public:
  explicit Worker(ActionPool& owner) : pool(owner) {}
  ~Worker() override { Cancel(0, true); }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

 protected:
  void ThreadMain() override { pool.Work(); }

 private:
  ActionPool& pool;
};

// A job is in progress while it lives, however the job ends.
class ActionPool::InProgressNote {
 public:
  InProgressNote(ActionPool& owner, const KorString& name) : pool(owner) {
    KorMutexLock lock(pool.mutex);
    pool.running.push_back({name, std::this_thread::get_id(), std::chrono::system_clock::now(),
                            std::chrono::steady_clock::now()});
  }
  ~InProgressNote() {
    KorMutexLock lock(pool.mutex);
    std::erase_if(pool.running,
                  [](const Entry& entry) { return entry.thread == std::this_thread::get_id(); });
  }
  InProgressNote(const InProgressNote&) = delete;
  InProgressNote& operator=(const InProgressNote&) = delete;

 private:
  ActionPool& pool;
};

ActionPool::ActionPool(size_t threadCount, size_t queueLength) : capacity(queueLength) {
  for (size_t n = 0; n < threadCount; ++n) {
    workers.push_back(std::make_unique<Worker>(*this));
    workers.back()->Start();
  }
}

ActionPool::~ActionPool() {
  Stop(0);
}

bool ActionPool::Submit(Job job) {
  KorMutexLock lock(mutex);
  if (stopping || jobs.size() >= capacity) return false;
  jobs.push_back(std::move(job));
  changed.NotifyAll();
  return true;
}

std::vector<ActionPool::Running> ActionPool::InProgress() {
  const auto now = std::chrono::steady_clock::now();
  std::vector<Running> found;
  KorMutexLock lock(mutex);
  for (const Entry& entry : running) {
    found.push_back({entry.name, entry.thread, entry.since, now - entry.start});
  }
  return found;
}

size_t ActionPool::CountWaiting() {
  KorMutexLock lock(mutex);
  return jobs.size();
}

void ActionPool::Stop(uint32_t milliseconds) {
  std::deque<Job> dropped;
  {
    KorMutexLock lock(mutex);
    stopping = true;
    dropped.swap(jobs);
    changed.NotifyAll();
  }
  const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
  for (const auto& worker : workers) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        end - std::chrono::steady_clock::now());
    worker->Cancel(left.count() > 0 ? static_cast<uint32_t>(left.count()) : 0, false);
  }
  for (const auto& worker : workers) worker->Cancel(0, true);
  for (const auto& worker : workers) worker->Cancel(milliseconds, true);
}

void ActionPool::Work() {
  Job job;
  while (TakeJob(job)) {
    const InProgressNote note(*this, job.name);
    Perform(job);
    // What the job holds goes with it, not when the next one comes.
    job.work = nullptr;
  }
}

bool ActionPool::TakeJob(Job& job) {
  KorMutexLock lock(mutex);
  while (!stopping && jobs.empty()) changed.Wait(mutex);
  if (stopping) return false;
  job = std::move(jobs.front());
  jobs.pop_front();
  return true;
}

void ActionPool::Perform(const Job& job) {
  try {
    job.work();
  } catch (const std::exception& error) {
    KorFrameworkLog().ErrorWithNL("The action '%S' failed: %s", job.name, KorReasonOf(error));
  }
}

}  // namespace agent
