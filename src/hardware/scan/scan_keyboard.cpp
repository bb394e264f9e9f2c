#include "hardware/module/globals.h"
#include "hardware/scan/scanners.h"
#include "hardware/scan/sysconfig.h"

namespace HardwareInventory {

namespace {

constexpr AttributeRow kAttributes[] = {{"Name", kString}, {"Layout", kString}};

// An unquoted value runs on to the last line end before the next quote.
constexpr PatternRow kKeys[] = {
    {"Name", R"re(^KEYBOARDTYPE\s*=\s*"?([^"]+)"?\s*\n)re"},
    {"Layout", R"re(^KEYTABLE\s*=\s*"?([^"]+)"?\s*\n)re"},
};

}  // namespace

bool ScanKeyboard(ObjInv& inventory) {
  debugInv.PrintWithNL("Scanning keyboard");
  return ScanSysconfig(inventory, "Keyboard", kAttributes, "/etc/sysconfig/keyboard", kKeys);
}

}  // namespace HardwareInventory
