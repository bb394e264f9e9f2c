#include "hardware/actions/action_handlers.h"
#include "korcore/action_db.h"
#include "korcore/agent_context.h"
#include "korcore/obj_inv.h"

namespace HardwareInventory {

uint32_t ActionHandler_HardwareInventoryWithError(KorContainer* container) {
  const KorMutexLock lock(mutexInv);
  container->SetBool("WithError", fWithError);
  return ACTIONDB_ERROR_SUCCESS;
}

uint32_t ActionHandler_HardwareInventoryQuery(KorContainer* container) {
  ObjInv document(KorAgentGetDebugContext());
  const KorMutexLock lock(mutexInv);
  document.Query(strModuleLastDumpFile, *container);
  return ACTIONDB_ERROR_SUCCESS;
}

}  // namespace HardwareInventory
