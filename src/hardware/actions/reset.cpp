#include "hardware/actions/action_handlers.h"
#include "kor/file.h"
#include "korcore/action_db.h"

namespace HardwareInventory {
namespace {

void ForgetSentInventory() KOR_EXCLUDES(mutexInv) {
  const KorMutexLock lock(mutexInv);
  if (FileExists(strModuleSentDataFile) && !FileDelete(strModuleSentDataFile)) {
    debugInv.ErrorWithNL("Failed to remove file '%S'", strModuleSentDataFile);
  }
}

}  // namespace

uint32_t ActionHandler_HardwareInventoryReset(KorContainer* container) {
  ForgetSentInventory();
  KorString fileType;
  container->GetString("FileType", fileType);
  if (fileType != "Upload") {
    debugInv.PrintWithNL("Reset received, inventory is not requested");
    return ACTIONDB_ERROR_SUCCESS;
  }
  debugInv.PrintWithNL("Reset received, inventory is requested");
  if (IsInventoryRunning()) {
    debugInv.PrintWithNL("Inventory is already running");
    return ACTIONDB_ERROR_SUCCESS;
  }
  debugInv.PrintWithNL("Inventory will be started");
  threadInv.StartInventory(0, true, true, true, false);
  return ACTIONDB_ERROR_SUCCESS;
}

}  // namespace HardwareInventory
