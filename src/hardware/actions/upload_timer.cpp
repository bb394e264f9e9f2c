#include "hardware/actions/upload_timer.h"

#include "korcore/module_timer.h"

void HardwareInventory::SetUploadTimer(uint32_t seconds) {
  SetModuleTimerEntry("HardwareUploadInventory", "HardwareUploadInventory", seconds);
}
