#include "hardware/inventory/hardware_thread.h"

#include "hardware/filter/hw_filter.h"
#include "hardware/inventory/neighbours.h"
#include "hardware/inventory/scan_run.h"
#include "hardware/inventory/upload.h"
#include "hardware/module/globals.h"
#include "kor/file.h"
#include "kor/machine.h"
#include "kor/reason.h"
#include "kor/shortage.h"
#include "korcore/agent_context.h"
#include "korcore/obj_inv.h"

#include <exception>

namespace HardwareInventory {
namespace {

constexpr int kBelowNormalPriority = 20;
constexpr uint32_t kCancelMilliseconds = 3000;
constexpr uint32_t kFirstPauseSeconds = 100;

// Replaces the files of the latest inventory.
bool StoreInventory(const ObjInv& document) KOR_EXCLUDES(mutexInv) {
  const KorString& last = strModuleLastDataFile;
  const KorString& dump = strModuleLastDumpFile;
  const KorMutexLock lock(mutexInv);
  if (FileExists(last) && !FileDelete(last)) {
    debugInv.ErrorWithNL("Failed to remove file '%S'", last);
    return false;
  }
  if (!document.Save(last)) {
    debugInv.ErrorWithNL("Failed to write inventory '%S'", last);
    return false;
  }
  if (!document.Dump(dump)) debugInv.WarningWithNL("Failed to dump inventory '%S'", dump);
  return true;
}

bool IsUploadRequested() KOR_EXCLUDES(mutexInv) {
  const KorMutexLock lock(mutexInv);
  return fUploadRequested;
}

}  // namespace

bool IsInventoryRunning() {
  const KorMutexLock lock(mutexInv);
  return fRunningInv;
}

InventoryRequest FirstInventory() {
  return {kFirstPauseSeconds, hwConfig.GetUploadOnStartup(true), false, false,
          hwConfig.GetDifferentialUpload(true)};
}

void StartFirstInventory() {
  const InventoryRequest first = FirstInventory();
  threadInv.StartInventory(first.pauseSeconds, first.upload, first.force, first.bypass,
                           first.differential);
}

// A body that still runs would use members that are going.
HardwareThread::~HardwareThread() {
  while (!Cancel(kCancelMilliseconds, true)) continue;
}

bool HardwareThread::AcceptStart(const KorString& guid) {
  const KorMutexLock lock(mutexInv);
  if (IsThreadRunning()) fRunningInv = true;
  if (fRunningInv) return false;
  if (guid.IsEmpty()) {
    debugInv.TraceWithNL("Postponing the inventory startup (no GUID)");
    return false;
  }
  fRunningInv = true;
  return true;
}

void HardwareThread::StartInventory(uint32_t pauseSeconds, bool upload, bool force, bool bypass,
                                    bool differential) {
  KorString guid;
  AskDeviceGuid(guid);
  if (!AcceptStart(guid)) return;
  // The right to start goes back unless a thread has it.
  struct StartClaim {
    bool started;
    ~StartClaim() {
      if (started) return;
      const KorMutexLock lock(mutexInv);
      fRunningInv = false;
    }
  };
  StartClaim claim{false};
  pause = pauseSeconds;
  uploadAfterUpdate = upload;
  forceUpload = force;
  bypassTransferWindows = bypass;
  differentialUpload = differential;
  claim.started = Start();
  if (!claim.started) debugInv.ErrorWithNL("Failed to start the inventory thread");
}

void HardwareThread::ThreadMain() {
  // Whatever way the run ends, a forced cancel included, its flag is given up. In the same critical
  // section the thread stops counting as running: a start request finds both or neither.
  struct RunEnd {
    HardwareThread& thread;
    bool stored;
    ~RunEnd() {
      const KorMutexLock lock(mutexInv);
      fWithError = stored;
      fRunningInv = false;
      thread.MarkEnded();
    }
  };
  RunEnd end{*this, false};
  SetPriority(kBelowNormalPriority);
  try {
    end.stored = ThreadTask();
  } catch (const std::exception& error) {
    debugInv.ErrorWithNL("The inventory run failed: %s", KorReasonOf(error));
  }
}

void HardwareThread::WaitPause() {
  Pause(uint64_t{pause} * 1000);
  pause = 0;
}

bool HardwareThread::ThreadTask() {
  debugInv.TraceWithNL("Starting a new hardware inventory");
  WaitPause();
  if (CheckCancelled(false)) return false;
  debugInv.PrintWithNL("Inventory starting");
  const KorShortageWatch shortage;
  HwFilter filter;
  if (!LoadInventoryFilter(filter)) return false;
  KorMachine::Current().RunBegins(filter.File());
  ObjInv document(KorAgentGetDebugContext());
  document.SetName("HWINVENTORY");
  for (const Scanner& scanner : Scanners()) {
    RunScanner(scanner, document);
  }
  filter.ProcessAttrs(document);
  debugInv.TraceWithNL("Hardware Inventory finished");
  // An inventory that lacks something tells the server of hardware that is gone.
  shortage.ThrowIfNoted();
  if (!StoreInventory(document)) return false;
  KorMachine::Current().RunIsStored();
  UploadIfWanted(document);
  return true;
}

void HardwareThread::UploadIfWanted(ObjInv& document) {
  const bool requested = IsUploadRequested();
  if (!uploadAfterUpdate && !requested) return;
  ProcessUpload(document, differentialUpload, forceUpload, bypassTransferWindows);
}

}  // namespace HardwareInventory
