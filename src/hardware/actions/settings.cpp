#include "hardware/actions/action_handlers.h"
#include "hardware/actions/upload_timer.h"
#include "korcore/action_db.h"

namespace HardwareInventory {

uint32_t ActionHandler_HardwareSetValues(KorContainer* container) {
  KorContainer values;
  container->GetContainer("Values", values);
  container->Clear();
  const uint32_t intervalBefore = hwConfig.GetUploadInterval(true);
  if (!hwConfig.Read(values, kConfigAll)) return ACTIONDB_ERROR_FAILURE;
  const bool written = hwConfig.Write(strModuleIniFile, kConfigAll);
  const uint32_t interval = hwConfig.GetUploadInterval(true);
  if (written && interval != intervalBefore) SetUploadTimer(interval);
  return ACTIONDB_ERROR_SUCCESS;
}

uint32_t ActionHandler_HardwareGetValues(KorContainer* container) {
  container->Clear();
  KorContainer values;
  if (!hwConfig.Write(values, kConfigAll)) return ACTIONDB_ERROR_FAILURE;
  container->SetContainer("Values", values);
  return ACTIONDB_ERROR_SUCCESS;
}

}  // namespace HardwareInventory
