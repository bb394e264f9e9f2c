// The grammar of a translation file as tables: which element stands where, where texts and XML
// attributes go, and what an opening element resets.

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

#include "kor/string.h"

namespace HardwareInventory {

// Where the reader stands: the element that it is in.
enum class HwFilterState : uint8_t {
  kDocument,
  kConfig,
  kClassList,
  kClass,
  kClassName,
  kClassId,
  kClassAction,
  kClassCurrentUser,
  kAttrs,
  kAttr,
  kAttrName,
  kAttrType,
  kAttrUnit,
  kAttrAction,
  kRuleList,
  kRule,
  kMatch,
  kMatchName,
  kMatchValue,
  kRuleAction,
  kModify,
  kModifyName,
  kModifyValue,
};

// The buffers of what was read. Those that belong to one kind of entry stand together.
enum HwFilterText : uint8_t {
  kTextMaxPass,
  kTextClassName,
  kTextClassId,
  kTextClassAction,
  kTextCurrentUser,
  kTextAttrName,
  kTextAttrType,
  kTextAttrUnit,
  kTextAttrAction,
  kTextLabel,
  kTextMatchNameValue,
  kTextMatchNameOperator,
  kTextMatchNameCase,
  kTextMatchName,
  kTextMatchValueValue,
  kTextMatchValueOperator,
  kTextMatchValueCase,
  kTextMatchValue,
  kTextRuleAction,
  kTextModifyNameValue,
  kTextModifyNameMatch,
  kTextModifyNameCase,
  kTextModifyName,
  kTextModifyValueValue,
  kTextModifyValueMatch,
  kTextModifyValueCase,
  kTextModifyValue,
  kTextCount,
  kNoText = kTextCount,
};
using HwFilterTexts = std::array<KorString, kTextCount>;

// The words of presence bits: which children an entry has had.
enum HwFilterPresence : uint8_t { kClassPresence, kAttrPresence, kRulePresence, kPresenceCount };

// One element at its place.
struct HwFilterElement {
  HwFilterState state;
  HwFilterState parent;
  std::string_view name;
  // The bit that its presence sets; 0 for none.
  HwFilterPresence presenceWord;
  uint32_t presenceBit;
  // Where its character data goes.
  HwFilterText text;
  // The buffers [firstReset, endReset) that it empties when it opens.
  HwFilterText firstReset;
  HwFilterText endReset;
  // The presence words that it clears when it opens, as bits 1 << word.
  uint32_t presenceReset;
};

// Null for an element that is not expected there.
const HwFilterElement* FindFilterElement(HwFilterState parent, std::string_view name);

// The row of a state other than the document's.
const HwFilterElement& FilterElementOf(HwFilterState state);

// Where the XML attribute of that element goes; kNoText for one that means nothing there.
HwFilterText FindFilterAttribute(HwFilterState state, std::string_view name);

// An element that is expected there under a name of another letter case; null when there is none.
const HwFilterElement* FindFilterElementLike(HwFilterState parent, std::string_view name);

// "HWINVCONFIG/TRANSLATEHWLIST/TRANSLATEHW", for a state other than the document's.
KorString FilterPath(HwFilterState state);

}  // namespace HardwareInventory
