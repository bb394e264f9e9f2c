#include "hardware/filter/hw_filter_wmi_attr_coll.h"

namespace HardwareInventory {

HwFilterWmiAttrColl::~HwFilterWmiAttrColl() {
  Clear(true);
}

bool HwFilterWmiAttrColl::Register(HwFilterWmiAttr* entry) {
  return entry != nullptr && entries.Add(entry);
}

void HwFilterWmiAttrColl::Clear(bool deleteEntries) {
  if (deleteEntries) {
    entries.First();
    while (const HwFilterWmiAttr* entry = entries.Next()) delete entry;
  }
  entries.Clear();
}

}  // namespace HardwareInventory
