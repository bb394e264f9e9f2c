#include "hardware/scan/scanners.h"
#include "hardware/scan/toolkit.h"

namespace HardwareInventory {

bool ScanDesktopMonitor(ObjInv&) {
  TellClassSkipped("Desktop Monitor", "nothing examines monitors");
  return false;
}

}  // namespace HardwareInventory
