#include "agent/run_monitor.h"

#include <exception>
#include <utility>

#include "kor/container.h"
#include "kor/debug.h"
#include "kor/mutex.h"
#include "kor/reason.h"
#include "kor/thread_owned.h"
#include "korcore/action_db.h"
#include "korcore/host_worker.h"

namespace agent {
namespace {

constexpr const char* kLogger = "HardwareInventory";
constexpr const char* kBeginning = "Inventory starting";

std::optional<bool> AskWhetherItEndedWell() {
  KorContainer container;
  const uint32_t result =
      ActionDbInvokeContainer("", "HardwareInventoryWithError", container, 0, -1, -1, 0);
  // The name notwithstanding, the answer is true when the run ended well.
  bool endedWell = false;
  if (result != ACTIONDB_ERROR_SUCCESS || !container.GetBool("WithError", endedWell)) return {};
  return endedWell;
}

}  // namespace

// Outlives the monitor where a thread or a queued call still has to do with it.
struct RunMonitor::State {
  KorMutex mutex;
  std::optional<Run> current KOR_GUARDED_BY(mutex);
  std::optional<LastRun> last KOR_GUARDED_BY(mutex);

  void Begin() KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    current = Run{std::this_thread::get_id(), std::chrono::system_clock::now(),
                  std::chrono::steady_clock::now()};
  }

  void End() KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    last = LastRun{std::chrono::system_clock::now(), std::nullopt};
    // The next run may have begun already, on a thread of its own.
    if (current && current->thread == std::this_thread::get_id()) current.reset();
  }

  void SetEndedWell(const std::optional<bool>& answer) KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    if (last) last->endedWell = answer;
  }
};

// Made by a run's thread; goes when that thread ends, however it does.
class RunMonitor::EndOfThread {
 public:
  EndOfThread() = default;
  ~EndOfThread() {
    if (state == nullptr) return;
    state->End();
    try {
      // Not here: the module's action may wait for a lock.
      HostWorkerQueue([asker = state] { asker->SetEndedWell(AskWhetherItEndedWell()); });
    } catch (const std::exception& error) {
      KorFrameworkLog().WarningWithNL("How the run ended will not be known: %s",
                                      KorReasonOf(error));
    }
  }
  EndOfThread(const EndOfThread&) = delete;
  EndOfThread& operator=(const EndOfThread&) = delete;

  void Watch(std::shared_ptr<State> watched) { state = std::move(watched); }

 private:
  std::shared_ptr<State> state;
};

RunMonitor::RunMonitor(KorLogDispatcher& logDispatcher)
    : dispatcher(logDispatcher), state(std::make_shared<State>()) {
  listener =
      dispatcher.AddListener(KorLogLevel::kPrint, [shared = state](const KorLogRecord& record) {
        if (record.text != kBeginning || record.logger != kLogger) return;
        static KorThreadOwned<EndOfThread> ends;
        EndOfThread& end = ends.OfThisThread();
        shared->Begin();
        end.Watch(shared);
      });
}

RunMonitor::~RunMonitor() {
  dispatcher.RemoveListener(listener);
}

std::optional<RunMonitor::Run> RunMonitor::Current() const {
  KorMutexLock lock(state->mutex);
  return state->current;
}

std::optional<RunMonitor::LastRun> RunMonitor::Last() const {
  KorMutexLock lock(state->mutex);
  return state->last;
}

}  // namespace agent
