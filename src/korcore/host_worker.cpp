#include "korcore/host_worker.h"

#include <deque>
#include <exception>
#include <thread>
#include <utility>

#include "kor/condition.h"
#include "kor/debug.h"
#include "kor/mutex.h"
#include "kor/reason.h"

namespace {

class Worker {
 public:
  ~Worker() { Stop(); }

  void Queue(std::function<void()> call) KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    calls.push_back(std::move(call));
    changed.NotifyAll();
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
      if (!running || stopping) return;
      stopping = true;
      changed.NotifyAll();
      ending = std::move(thread);
    }
    ending.join();
    std::deque<std::function<void()>> dropped;
    KorMutexLock lock(mutex);
    dropped.swap(calls);
    running = false;
    stopping = false;
    changed.NotifyAll();
    lock.Release();
  }

  void Drain() KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    while (running && (busy || !calls.empty())) changed.Wait(mutex);
  }

 private:
  void Run() KOR_EXCLUDES(mutex) {
    while (true) {
      std::function<void()> call;
      {
        KorMutexLock lock(mutex);
        busy = false;
        changed.NotifyAll();
        while (!stopping && calls.empty()) changed.Wait(mutex);
        if (stopping) return;
        call = std::move(calls.front());
        calls.pop_front();
        busy = true;
      }
      Perform(call);
    }
  }

  static void Perform(const std::function<void()>& call) {
    try {
      call();
    } catch (const std::exception& error) {
      KorFrameworkLog().ErrorWithNL("A queued call failed: %s", KorReasonOf(error));
    } catch (...) {
      KorFrameworkLog().ErrorWithNL("A queued call failed with an exception of unknown type");
    }
  }

  KorMutex mutex;
  KorCondition changed;
  std::deque<std::function<void()>> calls KOR_GUARDED_BY(mutex);
  std::thread thread KOR_GUARDED_BY(mutex);
  bool running KOR_GUARDED_BY(mutex) = false;
  bool stopping KOR_GUARDED_BY(mutex) = false;
  bool busy KOR_GUARDED_BY(mutex) = false;
};

Worker& TheWorker() {
  static Worker worker;
  return worker;
}

}  // namespace

void HostWorkerQueue(std::function<void()> call) {
  TheWorker().Queue(std::move(call));
}

void HostWorkerStart() {
  TheWorker().Start();
}

void HostWorkerStop() {
  TheWorker().Stop();
}

void HostWorkerDrain() {
  TheWorker().Drain();
}
