#include "agent/inventory_run.h"

#include <cstdint>

#include "agent/exit_code.h"
#include "agent/module_host.h"
#include "agent/stop_signal.h"
#include "kor/thread.h"
#include "korcore/action_db.h"

namespace agent {
namespace {

// How often a run in progress looks for a signal.
constexpr uint32_t kSignalCheckMilliseconds = 100;

Result<void> Invoke(const KorString& action, KorContainer& container) {
  const uint32_t result = ActionDbInvokeContainer("", action, container, 0, -1, -1, 0);
  if (result == ACTIONDB_ERROR_SUCCESS) return {};
  Failure failure;
  if (result == ACTIONDB_ERROR_ACTIONNOTFOUND) {
    failure.reason.Printf("no module offers the action '%S'", action);
  } else {
    failure.reason.Printf("the action '%S' failed (result %u)", action, result);
  }
  return failure;
}

}  // namespace

Result<bool> RunInventoryOnce(Host& host, KorContainer parameters) {
  const Result<void> started = Invoke("HardwareStartInventory", parameters);
  if (!started.IsOk()) return Failure{started.Reason()};
  while (!KorThread::WaitUntilNoneRuns(kSignalCheckMilliseconds)) {
    if (StopSignal::Received() == 0) continue;
    host.CancelRuns();
    EndWithoutThreads(kExitSignalBase + StopSignal::Received());
  }
  host.Terminal().EraseProgress();
  KorContainer container;
  const Result<void> asked = Invoke("HardwareInventoryWithError", container);
  if (!asked.IsOk()) return Failure{asked.Reason()};
  // The name notwithstanding, the answer is true when the run ended well.
  bool endedWell = false;
  container.GetBool("WithError", endedWell);
  return endedWell;
}

}  // namespace agent
