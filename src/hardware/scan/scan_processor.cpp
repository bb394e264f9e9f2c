#include "hardware/module/globals.h"
#include "hardware/scan/scanners.h"
#include "hardware/scan/toolkit.h"
#include "kor/command.h"

namespace HardwareInventory {

namespace {

constexpr AttributeRow kAttributes[] = {
    {"ProcessorId", kString},        {"UniqueId", kString},
    {"Manufacturer", kString},       {"Name", kString},
    {"Description", kString},        {"Family", kInteger},
    {"CurrentClockSpeed", kInteger}, {"Stepping", kString},
};

constexpr const char* kCommand = "cat /proc/cpuinfo";

constexpr const char* kProcessorPattern = R"re(^processor\s*:\s*([^\n]+)\n)re";

constexpr PatternRow kFields[] = {
    {"UniqueId", R"re(^physical id\s*:\s*([^\n]+)\n)re"},
    {"Manufacturer", R"re(^vendor_id\s*:\s*([^\n]+)\n)re"},
    {"Name", R"re(^model name\s*:\s*([^\n]+)\n)re"},
    {"Description", R"re(^model name\s*:\s*([^\n]+)\n)re"},
    {"Family", R"re(^cpu family\s*:\s*([^\n]+)\n)re"},
    {"CurrentClockSpeed", R"re(^cpu MHz\s*:\s*([^\n]+)\n)re"},
    {"Stepping", R"re(^stepping\s*:\s*([^\n]+)\n)re"},
};

void AddProcessor(ObjType& type, const KorString& paragraph) {
  const std::optional<KorString> number = FirstGroup(paragraph, kProcessorPattern, kAnyLine);
  const Printed printed{kCommand, paragraph};
  const KorTraceSource source = printed.Searched(kProcessorPattern, kAnyLine);
  if (!number) {
    TellTextSkipped(type, source);
    return;
  }
  ObjInst* instance = EnsureInstance(type, *number);
  if (instance == nullptr) return;
  SetValue(*instance, "ProcessorId", *number, {source});
  for (const PatternRow& field : kFields) {
    SetFirstGroup(*instance, field.attribute, printed, field.pattern, kAnyLine);
  }
}

}  // namespace

bool ScanProcessor(ObjInv& inventory) {
  debugInv.PrintWithNL("Scanning processor");
  ObjType* type = EnsureClass(inventory, "Processor", kAttributes);
  if (type == nullptr) return false;

  KorString output;
  if (!CommandToString(kCommand, output)) return false;
  ForEachPiece(output, "\n\n",
               [type](const KorString& paragraph) { AddProcessor(*type, paragraph); });
  return true;
}

}  // namespace HardwareInventory
