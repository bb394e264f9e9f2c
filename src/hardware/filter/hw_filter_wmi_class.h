// A WMI class entry: an inventory class that is accepted or rejected, with its attributes.

#pragma once

#include <cstdint>

#include "hardware/filter/hw_filter_wmi_attr_coll.h"
#include "kor/string.h"

namespace HardwareInventory {

class HwFilterWmiClass {
 public:
  HwFilterWmiClass() = default;
  virtual ~HwFilterWmiClass() = default;
  HwFilterWmiClass(const HwFilterWmiClass&) = delete;
  HwFilterWmiClass& operator=(const HwFilterWmiClass&) = delete;

  // Never set by the parser.
  uint32_t& GetFlags() { return flags; }
  // The inventory's name for the class, "Processor".
  KorString& GetName() { return name; }
  // The WMI identifier, "Win32_Processor".
  KorString& GetId() { return id; }
  uint32_t& GetAction() { return action; }
  bool& GetCurrentUser() { return currentUser; }
  HwFilterWmiAttrColl& Attributes() { return attributes; }

  uint32_t GetFlags() const { return flags; }
  const KorString& GetName() const { return name; }
  const KorString& GetId() const { return id; }
  uint32_t GetAction() const { return action; }
  bool GetCurrentUser() const { return currentUser; }

 private:
  uint32_t flags = 0;
  KorString name;
  KorString id;
  uint32_t action = 0;
  bool currentUser = false;
  HwFilterWmiAttrColl attributes;
};

}  // namespace HardwareInventory
