// Handing out the WMI class entries.

#include "hardware/filter/hw_filter.h"
#include "hardware/filter/hw_filter_codes.h"

namespace HardwareInventory {

namespace {

void SetUnlessEmpty(KorContainer& out, const char* key, const KorString& text) {
  if (!text.IsEmpty()) out.SetString(key, text);
}

void SetAction(KorContainer& out, const char* key, uint32_t action) {
  if (action == kFilterAccept) out.SetString(key, "accept");
  if (action == kFilterReject) out.SetString(key, "reject");
}

KorContainer AttrToContainer(const HwFilterWmiAttr& attr) {
  KorContainer out;
  SetUnlessEmpty(out, "WMI_ATTR_NAME", attr.GetName());
  SetUnlessEmpty(out, "WMI_ATTR_TYPE", attr.GetType());
  SetUnlessEmpty(out, "WMI_ATTR_UNIT", attr.GetUnit());
  SetAction(out, "WMI_ATTR_ACTION", attr.GetAction());
  return out;
}

KorContainer ClassToContainer(HwFilterWmiClass& entry) {
  KorContainer out;
  SetUnlessEmpty(out, "WMI_CLASS_ID", entry.GetId());
  SetUnlessEmpty(out, "WMI_CLASS_NAME", entry.GetName());
  SetAction(out, "WMI_CLASS_ACTION", entry.GetAction());
  size_t index = 0;
  entry.Attributes().First();
  while (const HwFilterWmiAttr* attr = entry.Attributes().Next()) {
    out.SetContainer("WMI_CLASS_ATTR", AttrToContainer(*attr), index++);
  }
  return out;
}

}  // namespace

void HwFilter::WmiToContainer(KorContainer& out) const {
  out.Clear();
  size_t index = 0;
  for (const auto& entry : classes) {
    out.SetContainer("WMI_CLASS", ClassToContainer(*entry), index++);
  }
}

}  // namespace HardwareInventory
