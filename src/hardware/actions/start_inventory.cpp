#include "hardware/actions/action_handlers.h"
#include "korcore/action_db.h"

namespace HardwareInventory {
namespace {

// Whether a run goes on. If so, it takes over the upload that is asked for.
bool JoinsRunningInventory(bool upload) KOR_EXCLUDES(mutexInv) {
  const KorMutexLock lock(mutexInv);
  if (fRunningInv && upload) fUploadRequested = true;
  return fRunningInv;
}

}  // namespace

uint32_t ActionHandler_HardwareStartInventory(KorContainer* container) {
  debugInv.PrintWithNL("Inventory has been requested");
  bool upload = false;
  container->GetBool("UploadAfterUpdate", upload);
  if (JoinsRunningInventory(upload)) {
    debugInv.PrintWithNL("Inventory is already running");
    return ACTIONDB_ERROR_SUCCESS;
  }
  debugInv.PrintWithNL("Inventory will be started");
  bool differential = hwConfig.GetDifferentialUpload(true);
  bool force = false;
  bool bypass = false;
  container->GetBool("ForceUpload", force);
  // Not in the signature, yet honoured; spelled as the setting is.
  container->GetBool("DifferencialUpload", differential);
  container->GetBool("BypassTransferWindows", bypass);
  container->Clear();
  threadInv.StartInventory(0, upload, force, bypass, differential);
  return ACTIONDB_ERROR_SUCCESS;
}

}  // namespace HardwareInventory
