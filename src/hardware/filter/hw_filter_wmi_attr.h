// An attribute entry of a WMI class: a name that is accepted or rejected.

#pragma once

#include <cstdint>

#include "kor/string.h"

namespace HardwareInventory {

class HwFilterWmiAttr {
 public:
  HwFilterWmiAttr() = default;
  virtual ~HwFilterWmiAttr() = default;
  HwFilterWmiAttr(const HwFilterWmiAttr&) = delete;
  HwFilterWmiAttr& operator=(const HwFilterWmiAttr&) = delete;

  // Never set by the parser.
  uint32_t& GetFlags() { return flags; }
  KorString& GetName() { return name; }
  // "String", "Integer", "Date" or empty.
  KorString& GetType() { return type; }
  KorString& GetUnit() { return unit; }
  uint32_t& GetAction() { return action; }

  uint32_t GetFlags() const { return flags; }
  const KorString& GetName() const { return name; }
  const KorString& GetType() const { return type; }
  const KorString& GetUnit() const { return unit; }
  uint32_t GetAction() const { return action; }

 private:
  uint32_t flags = 0;
  KorString name;
  KorString type;
  KorString unit;
  uint32_t action = 0;
};

}  // namespace HardwareInventory
