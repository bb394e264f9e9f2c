#include "hardware/actions/action_handlers.h"
#include "hardware/inventory/neighbours.h"
#include "hardware/inventory/translation_file.h"
#include "kor/file.h"
#include "korcore/action_db.h"

namespace HardwareInventory {
namespace {

bool IsUrl(const KorString& name) {
  return name.Find("://", 0) >= 0;
}

uint32_t SendChecksum(const KorString& checksum) {
  KorString guid;
  if (!AskDeviceGuid(guid)) {
    debugInv.ErrorWithNL("Cannot get our GUID while sending sync info");
    return ACTIONDB_ERROR_FAILURE;
  }
  KorContainer parameters;
  parameters.SetString("HardwareSyncChecksum", checksum);
  parameters.SetString("DeviceGUID", guid);
  KorString logInfo;
  logInfo.Printf("Hardware sync info from device '%S'", guid);
  if (!CallServerAction("K42DbHardwareGiveSynchro", parameters, logInfo)) {
    debugInv.ErrorWithNL("Failed to call AsynchronousActions to send sync info");
    return ACTIONDB_ERROR_FAILURE;
  }
  return ACTIONDB_ERROR_SUCCESS;
}

}  // namespace

uint32_t ActionHandler_HardwareSendSyncInfo(KorContainer*) {
  KorString name = hwConfig.GetTranslationFile(true);
  debugInv.PrintWithNL("Synchronizing the translation file '%S'", name);
  if (name.IsEmpty()) {
    name = strModuleFilterFileStd;
    debugInv.WarningWithNL("Translation file path is empty, using default '%S'", name);
  }
  if (IsUrl(name)) {
    debugInv.ErrorWithNL("Cannot synchronize the translation file configured as URL '%S'", name);
    // A success: a device that takes its file from a URL has nothing to synchronise.
    return ACTIONDB_ERROR_SUCCESS;
  }
  return SendChecksum(FileMd5(AbsoluteTranslationFile(name)));
}

}  // namespace HardwareInventory
