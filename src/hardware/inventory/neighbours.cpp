#include "hardware/inventory/neighbours.h"

#include "korcore/action_db.h"

namespace HardwareInventory {

bool InvokeLocalAction(const KorString& action, KorContainer& container) {
  return ActionDbInvokeContainer("", action, container) == ACTIONDB_ERROR_SUCCESS;
}

bool AskDeviceGuid(KorString& guid) {
  KorContainer identity;
  const bool answered = InvokeLocalAction("IdentityGetGUID", identity);
  identity.GetString("GUID", guid);
  return answered;
}

bool CallServerAction(const KorString& action, const KorContainer& parameters,
                      const KorString& logInfo) {
  KorContainer call;
  call.SetContainer("ParametersAsContainer", parameters);
  call.SetString("ActionName", action);
  call.SetString("LogInfo", logInfo);
  call.SetInt32("Priority", 1);
  call.SetString("TargetsAsString", ":/MASTER///");
  return InvokeLocalAction("AsynchronousActionsCall", call);
}

}  // namespace HardwareInventory
