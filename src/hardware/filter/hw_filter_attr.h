// A translation rule: a condition on an attribute's name and value, an action and a rewrite.

#pragma once

#include <cstdint>

#include "kor/string.h"

namespace HardwareInventory {

// What the name, or the value, is matched against.
struct HwFilterMatch {
  uint32_t method = 0;
  uint32_t comparison = 0;
  uint32_t letterCase = 0;
  KorString data;
};

// How the name, or the value, is rewritten.
struct HwFilterModify {
  uint32_t method = 0;
  KorString match;
  uint32_t letterCase = 0;
  KorString data;
};

class HwFilterAttr {
 public:
  HwFilterAttr() = default;
  virtual ~HwFilterAttr() = default;
  HwFilterAttr(const HwFilterAttr&) = delete;
  HwFilterAttr& operator=(const HwFilterAttr&) = delete;

  uint32_t& GetFlags() { return flags; }
  // The label, for messages only.
  KorString& GetName() { return name; }
  uint32_t& GetAction() { return action; }
  // Where it begins in its file; 0 when it is of none.
  uint64_t& GetLine() { return line; }

  uint32_t& GetMatchNameValue() { return matchName.method; }
  uint32_t& GetMatchNameOperator() { return matchName.comparison; }
  uint32_t& GetMatchNameCase() { return matchName.letterCase; }
  KorString& GetMatchNameData() { return matchName.data; }
  uint32_t& GetMatchValueValue() { return matchValue.method; }
  uint32_t& GetMatchValueOperator() { return matchValue.comparison; }
  uint32_t& GetMatchValueCase() { return matchValue.letterCase; }
  KorString& GetMatchValueData() { return matchValue.data; }

  uint32_t& GetModifyNameValue() { return modifyName.method; }
  KorString& GetModifyNameMatch() { return modifyName.match; }
  uint32_t& GetModifyNameCase() { return modifyName.letterCase; }
  KorString& GetModifyNameData() { return modifyName.data; }
  uint32_t& GetModifyValueValue() { return modifyValue.method; }
  KorString& GetModifyValueMatch() { return modifyValue.match; }
  uint32_t& GetModifyValueCase() { return modifyValue.letterCase; }
  KorString& GetModifyValueData() { return modifyValue.data; }

  // The same fields by part of the rule.
  HwFilterMatch& MatchName() { return matchName; }
  HwFilterMatch& MatchValue() { return matchValue; }
  HwFilterModify& ModifyName() { return modifyName; }
  HwFilterModify& ModifyValue() { return modifyValue; }

  const HwFilterMatch& MatchName() const { return matchName; }
  const HwFilterMatch& MatchValue() const { return matchValue; }
  const HwFilterModify& ModifyName() const { return modifyName; }
  const HwFilterModify& ModifyValue() const { return modifyValue; }
  const KorString& GetName() const { return name; }
  uint32_t GetAction() const { return action; }
  uint64_t GetLine() const { return line; }
  // Whether all elements of the mask (hw_filter_codes.h) were there.
  bool Has(uint32_t mask) const { return (flags & mask) == mask; }

 private:
  uint32_t flags = 0;
  KorString name;
  uint32_t action = 0;
  uint64_t line = 0;
  HwFilterMatch matchName;
  HwFilterMatch matchValue;
  HwFilterModify modifyName;
  HwFilterModify modifyValue;
};

}  // namespace HardwareInventory
