#include "hardware/actions/not_yet.h"

#include "hardware/module/globals.h"
#include "korcore/action_db.h"

namespace HardwareInventory {

uint32_t ActionHandler_HardwareInvModifyXMLFile(KorContainer*) {
  debugInv.WarningWithNL("The action 'HardwareInvModifyXMLFile' is not available yet");
  return ACTIONDB_ERROR_FAILURE;
}

}  // namespace HardwareInventory
