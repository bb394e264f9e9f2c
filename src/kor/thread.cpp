#include "kor/thread.h"

#include <cxxabi.h>
#include <sys/eventfd.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <exception>
#include <functional>
#include <system_error>
#include <thread>
#include <typeinfo>
#include <utility>

#include "kor/condition.h"
#include "kor/debug.h"
#include "kor/immortal.h"
#include "kor/mutex.h"
#include "kor/reason.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kPriorityBelowNormal = 20;
constexpr int kNicenessBelowNormal = 10;
// More would overflow the clock.
constexpr uint64_t kLongestPause = uint64_t{100} * 365 * 24 * 3600 * 1000;

// One lock and one condition serve all threads of the process: there are few of them, and what
// outlives a KorThread needs no lock of its own. Nothing is called out to with the lock held.
constinit KorMutex threadsMutex;
size_t bodiesUnderWay KOR_GUARDED_BY(threadsMutex) = 0;

KorCondition& ThreadsChanged() {
  // Never destroyed: static KorThreads end while statics are destroyed.
  static KorImmortal<KorCondition> condition;
  return condition.object;
}

Clock::time_point After(uint64_t milliseconds) {
  return Clock::now() + std::chrono::milliseconds(std::min(milliseconds, kLongestPause));
}

// One life of a thread, from Start until its body has returned. What is left of a body that has
// given itself up keeps its own flags, whatever is started after it.
struct Run {
  Run() : forceDescriptor(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}
  ~Run() {
    if (forceDescriptor != -1) close(forceDescriptor);
  }
  Run(const Run&) = delete;
  Run& operator=(const Run&) = delete;

  void RequestForce() {
    forced = true;
    // Cannot fill up: it is written at most once for each call of Cancel.
    eventfd_write(forceDescriptor, 1);
  }

  const int forceDescriptor;
  std::atomic<bool> cancelled = false;
  std::atomic<bool> forced = false;
  bool markedEnded KOR_GUARDED_BY(threadsMutex) = false;
  bool done KOR_GUARDED_BY(threadsMutex) = false;
  // The run that this one waits for before it begins.
  std::shared_ptr<Run> previous KOR_GUARDED_BY(threadsMutex);
};

thread_local Run* currentRun = nullptr;

// A run and those before it that have not ended.
template <typename Action>
void ForEachUnfinished(Run* latest, const Action& action) KOR_REQUIRES(threadsMutex) {
  for (Run* run = latest; run != nullptr && !run->done; run = run->previous.get()) action(*run);
}

bool WaitUntilDone(const Run& run, uint32_t milliseconds) KOR_REQUIRES(threadsMutex) {
  const Clock::time_point end = After(milliseconds);
  while (!run.done) {
    if (!ThreadsChanged().WaitUntil(threadsMutex, end)) return run.done;
  }
  return true;
}

const char* CurrentExceptionType() {
  const std::type_info* const type = abi::__cxa_current_exception_type();
  return type == nullptr ? "unknown" : type->name();
}

void RunGuarded(const std::function<void()>& body) {
  try {
    body();
  } catch (const KorThreadCancelled&) {
    KorFrameworkLog().DetailWithNL("A thread was cancelled");
  } catch (const std::exception& exception) {
    KorFrameworkLog().ErrorWithNL("A thread ended by an exception: %s", KorReasonOf(exception));
  } catch (...) {
    // It has no text to give; its type is all there is to tell.
    KorFrameworkLog().ErrorWithNL("A thread ended by an exception of type %s",
                                  CurrentExceptionType());
  }
}

// The whole of a native thread.
void NativeMain(Run& run, std::thread& before, const std::function<void()>& body) {
  if (before.joinable()) before.join();
  {
    KorMutexLock lock(threadsMutex);
    run.previous.reset();
  }
  currentRun = &run;
  RunGuarded(body);
  currentRun = nullptr;
  KorMutexLock lock(threadsMutex);
  run.done = true;
  --bodiesUnderWay;
  ThreadsChanged().NotifyAll();
}

void ApplyPriority(int priority) {
  if (priority != kPriorityBelowNormal) return;
  // Linux keeps the niceness per thread; 0 is the calling one. A host that runs at a lower priority
  // already is not pulled up.
  errno = 0;
  const int now = getpriority(PRIO_PROCESS, 0);
  if (errno == 0 && now >= kNicenessBelowNormal) return;
  if (setpriority(PRIO_PROCESS, 0, kNicenessBelowNormal) != 0) {
    KorFrameworkLog().DetailWithNL("The priority cannot be set: %s", std::strerror(errno));
  }
}

}  // namespace

struct KorThread::State {
  // Of the latest run, or of the earlier one when that could not be created.
  std::thread native KOR_GUARDED_BY(threadsMutex);
  std::shared_ptr<Run> latest KOR_GUARDED_BY(threadsMutex);
  std::atomic<int> priority = 0;

  // Whether the calling thread belongs to this object.
  bool IsOwnThread() const KOR_REQUIRES(threadsMutex) {
    bool found = false;
    ForEachUnfinished(latest.get(), [&found](const Run& run) { found |= &run == currentRun; });
    return found;
  }

  // The run that a call is about: that of the calling thread, else the latest. Null without any.
  std::shared_ptr<Run> RunOfCaller() KOR_REQUIRES(threadsMutex) {
    for (std::shared_ptr<Run> run = latest; run != nullptr; run = run->previous) {
      if (run.get() == currentRun) return run;
    }
    return latest;
  }

  // Throws when the thread cannot be created; everything is then as before.
  void StartNative(const std::shared_ptr<Run>& run, std::function<void()> body)
      KOR_REQUIRES(threadsMutex) {
    const auto before = std::make_shared<std::thread>(std::move(native));
    try {
      native =
          std::thread([run, before, work = std::move(body)] { NativeMain(*run, *before, work); });
    } catch (...) {
      native = std::move(*before);
      throw;
    }
    if (latest != nullptr && !latest->done) run->previous = latest;
    latest = run;
    ++bodiesUnderWay;
  }
};

KorThread::KorThread() : state(std::make_unique<State>()) {}

KorThread::~KorThread() {
  Cancel(0, true);
  std::thread native;
  {
    KorMutexLock lock(threadsMutex);
    native = std::move(state->native);
  }
  if (!native.joinable()) return;
  // A body may destroy the object that runs it; nothing touches the object after the body.
  if (native.get_id() == std::this_thread::get_id()) {
    native.detach();
  } else {
    native.join();
  }
}

bool KorThread::Start(Routine routine, void* argument) {
  const auto run = std::make_shared<Run>();
  if (run->forceDescriptor == -1) {
    KorFrameworkLog().ErrorWithNL("A thread cannot be started: %s", std::strerror(errno));
    return false;
  }
  try {
    KorMutexLock lock(threadsMutex);
    const Run* const latest = state->latest.get();
    if (latest != nullptr && !latest->markedEnded && !latest->done) return false;
    state->StartNative(run, [this, routine, argument, priority = state->priority.load()] {
      ApplyPriority(priority);
      if (routine != nullptr) {
        routine(argument);
      } else {
        ThreadMain();
      }
    });
    return true;
  } catch (const std::system_error& error) {
    KorFrameworkLog().ErrorWithNL("A thread cannot be started: %s", error.what());
    return false;
  }
}

bool KorThread::IsThreadRunning() const {
  KorMutexLock lock(threadsMutex);
  const Run* const latest = state->latest.get();
  return latest != nullptr && !latest->markedEnded && !latest->done;
}

void KorThread::Pause(uint64_t milliseconds) {
  const Clock::time_point end = After(milliseconds);
  KorMutexLock lock(threadsMutex);
  const std::shared_ptr<Run> run = state->RunOfCaller();
  while (run == nullptr || !run->cancelled) {
    if (!ThreadsChanged().WaitUntil(threadsMutex, end)) break;
  }
  if (run != nullptr && run->forced) throw KorThreadCancelled();
}

bool KorThread::CheckCancelled(bool throwIfCancelled) {
  KorMutexLock lock(threadsMutex);
  const std::shared_ptr<Run> run = state->RunOfCaller();
  if (run == nullptr || !run->cancelled) return false;
  if (throwIfCancelled) throw KorThreadCancelled();
  return true;
}

bool KorThread::Cancel(uint32_t milliseconds, bool force) {
  KorMutexLock lock(threadsMutex);
  // Keeps it while the lock is released to wait.
  const std::shared_ptr<Run> latest = state->latest;
  if (latest == nullptr || latest->done) return true;
  ForEachUnfinished(latest.get(), [](Run& run) { run.cancelled = true; });
  ThreadsChanged().NotifyAll();
  // A thread that waited for its own end would wait for ever.
  const bool isOwn = state->IsOwnThread();
  if (!isOwn && WaitUntilDone(*latest, milliseconds)) return true;
  if (force) {
    ForEachUnfinished(latest.get(), [](Run& run) { run.RequestForce(); });
    ThreadsChanged().NotifyAll();
    if (!isOwn) return WaitUntilDone(*latest, milliseconds);
  }
  return false;
}

void KorThread::SetPriority(int priority) {
  bool isOwn = false;
  {
    KorMutexLock lock(threadsMutex);
    isOwn = state->IsOwnThread();
  }
  if (isOwn) {
    ApplyPriority(priority);
  } else {
    state->priority = priority;
  }
}

bool KorThread::WaitUntilNoneRuns(uint32_t milliseconds) {
  const Clock::time_point end = After(milliseconds);
  KorMutexLock lock(threadsMutex);
  while (bodiesUnderWay != 0) {
    if (!ThreadsChanged().WaitUntil(threadsMutex, end)) return bodiesUnderWay == 0;
  }
  return true;
}

void KorThread::ThrowIfCurrentIsCancelled() {
  if (currentRun != nullptr && currentRun->cancelled) throw KorThreadCancelled();
}

bool KorThread::CurrentIsForced() {
  return currentRun != nullptr && currentRun->forced;
}

int KorThread::CurrentForceDescriptor() {
  return currentRun == nullptr ? -1 : currentRun->forceDescriptor;
}

void KorThread::ThreadMain() {}

void KorThread::MarkEnded() {
  KorMutexLock lock(threadsMutex);
  const std::shared_ptr<Run> run = state->RunOfCaller();
  if (run == nullptr || run.get() != currentRun) return;
  run->markedEnded = true;
  ThreadsChanged().NotifyAll();
}
