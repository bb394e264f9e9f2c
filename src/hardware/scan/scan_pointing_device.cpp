#include "hardware/module/globals.h"
#include "hardware/scan/scanners.h"
#include "hardware/scan/sysconfig.h"

namespace HardwareInventory {

namespace {

constexpr AttributeRow kAttributes[] = {{"Name", kString}};

constexpr PatternRow kKeys[] = {{"Name", R"re(^FULLNAME\s*=\s*"?([^"]+)"?\s*\n)re"}};

}  // namespace

bool ScanPointingDevice(ObjInv& inventory) {
  debugInv.PrintWithNL("Scanning pointing device");
  return ScanSysconfig(inventory, "Pointing Device", kAttributes, "/etc/sysconfig/mouse", kKeys);
}

}  // namespace HardwareInventory
