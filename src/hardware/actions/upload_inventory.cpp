#include "hardware/actions/action_handlers.h"
#include "hardware/inventory/upload.h"
#include "kor/file.h"
#include "korcore/action_db.h"
#include "korcore/obj_inv.h"

namespace HardwareInventory {
namespace {

// Reads the latest inventory. Without one, the next run is asked to upload.
bool ReadLatestInventory(ObjInv& document) KOR_EXCLUDES(mutexInv) {
  const KorMutexLock lock(mutexInv);
  if (!FileExists(strModuleLastDataFile)) {
    debugInv.PrintWithNL("The hardware inventory has not been processed");
    fUploadRequested = true;
    return false;
  }
  if (!document.Parse(strModuleLastDataFile, nullptr)) {
    debugInv.WarningWithNL("Failed to parse last processed inventory (%S)", strModuleLastDataFile);
    return false;
  }
  return true;
}

}  // namespace

uint32_t ActionHandler_HardwareUploadInventory(KorContainer* container) {
  bool differential = hwConfig.GetDifferentialUpload(true);
  // A tick of the timer sends within the gap, too, and what has not changed.
  bool force = true;
  bool bypass = false;
  container->GetBool("ForceUpload", force);
  container->GetBool("BypassTransferWindows", bypass);
  container->GetBool("DifferencialUpload", differential);
  container->Clear();
  ObjInv document(nullptr);
  if (!ReadLatestInventory(document)) return ACTIONDB_ERROR_SUCCESS;
  return ProcessUpload(document, differential, force, bypass) ? ACTIONDB_ERROR_SUCCESS
                                                              : ACTIONDB_ERROR_FAILURE;
}

}  // namespace HardwareInventory
