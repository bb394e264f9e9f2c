#include "hardware/scan/scanners.h"

namespace HardwareInventory {

bool ScanDesktopMonitor(ObjInv&) {
  return false;
}

}  // namespace HardwareInventory
