#include "hardware/scan/sysconfig.h"

#include "kor/command.h"
#include "kor/system_info.h"

namespace HardwareInventory {

bool ScanSysconfig(ObjInv& inventory, const KorString& className,
                   std::span<const AttributeRow> attributes, const KorString& path,
                   std::span<const PatternRow> keys) {
  ObjType* type = EnsureClass(inventory, className, attributes);
  if (type == nullptr) return false;
  if (!MachineFileExists(path)) return false;
  const KorString command = "cat " + path;
  KorString text;
  if (!CommandToString(command, text)) return false;
  ObjInst* instance = EnsureInstance(*type, "0");
  if (instance == nullptr) return false;
  for (const PatternRow& key : keys) {
    SetFirstGroup(*instance, key.attribute, {command.View(), text}, key.pattern, kAnyLine);
  }
  return true;
}

}  // namespace HardwareInventory
