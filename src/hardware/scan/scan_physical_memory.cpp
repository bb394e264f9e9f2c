#include "hardware/module/globals.h"
#include "hardware/scan/scanners.h"
#include "hardware/scan/toolkit.h"
#include "kor/command.h"

namespace HardwareInventory {

namespace {

constexpr AttributeRow kAttributes[] = {
    {"Capacity", kInteger},
    {"Swap Space", kInteger, "MB", "Available swap memory, in MB"},
};

constexpr const char* kCommand = "cat /proc/meminfo";

constexpr PatternRow kTotals[] = {
    {"Capacity", R"re(^MemTotal\s*:\s*(\d+)\s*([a-z]+)\s*\n)re"},
    {"Swap Space", R"re(^SwapTotal\s*:\s*(\d+)\s*([a-z]+)\s*\n)re"},
};

// Megabytes of 1,048,576 bytes; 0 for a unit that nobody knows.
uint64_t ToMegabytes(uint64_t number, const KorString& unit) {
  if (unit.IsEqualTo("b", false)) return number >> 20;
  if (unit.IsEqualTo("kb", false)) return number >> 10;
  if (unit.IsEqualTo("mb", false)) return number;
  if (unit.IsEqualTo("gb", false)) return number << 10;
  if (unit.IsEqualTo("tb", false)) return number << 20;
  return 0;
}

}  // namespace

bool ScanPhysicalMemory(ObjInv& inventory) {
  debugInv.PrintWithNL("Scanning physical memory");
  ObjType* type = EnsureClass(inventory, "Physical Memory", kAttributes);
  if (type == nullptr) return false;

  KorString output;
  if (!CommandToString(kCommand, output)) return false;
  ObjInst* instance = EnsureInstance(*type, "0");
  if (instance == nullptr) return false;

  for (const PatternRow& total : kTotals) {
    const KorTraceSource source = Printed{kCommand, output}.Searched(total.pattern, kAnyLine);
    KorVector<KorString> groups;
    if (FindPcreSimple(output.CStr(), output.GetLength(), total.pattern, kAnyLine, groups) == 0) {
      TellAbsent(*instance, total.attribute, {source});
      continue;
    }
    SetNumberUnlessZero(*instance, total.attribute, ToMegabytes(groups[0].ToUINT64(), groups[1]),
                        {source}, "in megabytes of 1,048,576 bytes, truncated");
  }
  return true;
}

}  // namespace HardwareInventory
