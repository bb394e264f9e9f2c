#include "hardware/filter/hw_filter.h"

#include "hardware/filter/hw_filter_parser.h"
#include "hardware/module/globals.h"

namespace HardwareInventory {

void HwFilter::Clear() {
  classes.Clear();
  rules.Clear();
}

bool HwFilter::WmiClassAdd(HwFilterWmiClass* entry) {
  if (entry == nullptr) return false;
  classes.Add(std::unique_ptr<HwFilterWmiClass>(entry));
  return true;
}

HwFilterWmiClass* HwFilter::WmiClassGet(uint32_t index) const {
  return index < classes.Count() ? classes[index].get() : nullptr;
}

bool HwFilter::AttrAdd(HwFilterAttr* rule) {
  if (rule == nullptr) return false;
  rules.Add(std::unique_ptr<HwFilterAttr>(rule));
  return true;
}

HwFilterAttr* HwFilter::AttrGet(uint32_t index) const {
  return index < rules.Count() ? rules[index].get() : nullptr;
}

bool HwFilter::Load(const KorString& path) {
  HwFilterParser parser;
  file = path;
  if (!parser.Process(path, this)) {
    debugInv.ErrorWithNL("Failed to load filter '%S'", path);
    return false;
  }
  debugInv.TraceWithNL("Filter entries have been loaded (%u WMI classes, %u attributes)",
                       WmiClassCount(), AttrCount());
  return true;
}

}  // namespace HardwareInventory
