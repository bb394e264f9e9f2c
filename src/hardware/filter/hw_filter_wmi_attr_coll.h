// The attribute entries of one WMI class, in document order.

#pragma once

#include <cstddef>

#include "hardware/filter/hw_filter_wmi_attr.h"
#include "kor/list.h"

namespace HardwareInventory {

// Owns its entries. One cursor: First(), then Next() until null.
class HwFilterWmiAttrColl {
 public:
  HwFilterWmiAttrColl() = default;
  virtual ~HwFilterWmiAttrColl();
  HwFilterWmiAttrColl(const HwFilterWmiAttrColl&) = delete;
  HwFilterWmiAttrColl& operator=(const HwFilterWmiAttrColl&) = delete;

  size_t Count() const { return entries.Count(); }

  // Takes ownership and appends. False for null.
  bool Register(HwFilterWmiAttr* entry);

  void First() { entries.First(); }
  HwFilterWmiAttr* Next() { return entries.Next(); }

  // Empties the list. With false the entries are not deleted: somebody else must own them.
  void Clear(bool deleteEntries);

 private:
  KorList<HwFilterWmiAttr> entries;
};

}  // namespace HardwareInventory
