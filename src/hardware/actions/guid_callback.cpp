#include "hardware/actions/action_handlers.h"
#include "hardware/inventory/upload.h"
#include "kor/file.h"
#include "korcore/action_db.h"
#include "korcore/agent_context.h"
#include "korcore/obj_inv.h"

namespace HardwareInventory {
namespace {

struct StoredInventories {
  bool last;
  bool sent;
};

StoredInventories LookForInventories() KOR_EXCLUDES(mutexInv) {
  const KorMutexLock lock(mutexInv);
  return {FileExists(strModuleLastDataFile), FileExists(strModuleSentDataFile)};
}

bool ReadLast(ObjInv& document) KOR_EXCLUDES(mutexInv) {
  const KorMutexLock lock(mutexInv);
  return document.Parse(strModuleLastDataFile, nullptr);
}

void UploadFirstInventory() KOR_EXCLUDES(mutexInv) {
  ObjInv document(KorAgentGetDebugContext());
  if (!ReadLast(document)) return;
  ProcessUpload(document, hwConfig.GetDifferentialUpload(true), false, false);
}

}  // namespace

uint32_t ActionHandler_HardwareInvGUIDCallback(KorContainer*) {
  const StoredInventories stored = LookForInventories();
  if (stored.sent) return ACTIONDB_ERROR_SUCCESS;
  if (!stored.last) {
    if (!IsInventoryRunning()) StartFirstInventory();
  } else if (hwConfig.GetUploadOnStartup(true)) {
    UploadFirstInventory();
  }
  return ACTIONDB_ERROR_SUCCESS;
}

}  // namespace HardwareInventory
