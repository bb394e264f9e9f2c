#include "hardware/filter/hw_filter_grammar.h"

#include "hardware/filter/hw_filter_codes.h"

namespace HardwareInventory {

namespace {

using State = HwFilterState;

constexpr uint32_t kClearsClass = 1U << kClassPresence;
constexpr uint32_t kClearsAttr = 1U << kAttrPresence;
constexpr uint32_t kClearsRule = 1U << kRulePresence;

// A container of other elements.
constexpr HwFilterElement Holder(State state, State parent, std::string_view name,
                                 HwFilterText firstReset = kNoText, HwFilterText endReset = kNoText,
                                 uint32_t presenceReset = 0) {
  return {state, parent, name, kClassPresence, 0, kNoText, firstReset, endReset, presenceReset};
}

// A container within a rule.
constexpr HwFilterElement RulePart(State state, std::string_view name, uint32_t bit) {
  return {state, State::kRule, name, kRulePresence, bit, kNoText, kNoText, kNoText, 0};
}

// An element of text only.
constexpr HwFilterElement Text(State state, State parent, std::string_view name,
                               HwFilterPresence word, uint32_t bit, HwFilterText text) {
  return {state, parent, name, word, bit, text, kNoText, kNoText, 0};
}

// In the order of the states, the document left out.
constexpr HwFilterElement kElements[] = {
    Holder(State::kConfig, State::kDocument, "HWINVCONFIG"),
    Holder(State::kClassList, State::kConfig, "HWINVWMILIST"),
    Holder(State::kClass, State::kClassList, "HWWMICLASS", kTextClassName, kTextLabel,
           kClearsClass | kClearsAttr),
    Text(State::kClassName, State::kClass, "CLASSNAME", kClassPresence, 0x02, kTextClassName),
    Text(State::kClassId, State::kClass, "CLASSID", kClassPresence, 0x04, kTextClassId),
    Text(State::kClassAction, State::kClass, "ACTION", kClassPresence, 0x08, kTextClassAction),
    Text(State::kClassCurrentUser, State::kClass, "CURRENTUSER", kClassPresence, 0x10,
         kTextCurrentUser),
    Holder(State::kAttrs, State::kClass, "ATTRIBUTES", kNoText, kNoText, kClearsAttr),
    Holder(State::kAttr, State::kAttrs, "ATTRIBUTE", kTextAttrName, kTextLabel, kClearsAttr),
    Text(State::kAttrName, State::kAttr, "ATTRNAME", kAttrPresence, 0x02, kTextAttrName),
    Text(State::kAttrType, State::kAttr, "ATTRTYPE", kAttrPresence, 0x04, kTextAttrType),
    Text(State::kAttrUnit, State::kAttr, "ATTRUNIT", kAttrPresence, 0x08, kTextAttrUnit),
    Text(State::kAttrAction, State::kAttr, "ATTRACTION", kAttrPresence, 0x10, kTextAttrAction),
    Holder(State::kRuleList, State::kConfig, "TRANSLATEHWLIST", kTextMaxPass, kTextClassName),
    Holder(State::kRule, State::kRuleList, "TRANSLATEHW", kTextLabel, kTextCount, kClearsRule),
    RulePart(State::kMatch, "MATCHHW", kFilterHasMatch),
    Text(State::kMatchName, State::kMatch, "ATTRNAME", kRulePresence, kFilterHasMatchName,
         kTextMatchName),
    Text(State::kMatchValue, State::kMatch, "ATTRVALUE", kRulePresence, kFilterHasMatchValue,
         kTextMatchValue),
    Text(State::kRuleAction, State::kRule, "ACTION", kRulePresence, kFilterHasAction,
         kTextRuleAction),
    RulePart(State::kModify, "MODIFYHW", kFilterHasModify),
    Text(State::kModifyName, State::kModify, "ATTRNAME", kRulePresence, kFilterHasModifyName,
         kTextModifyName),
    Text(State::kModifyValue, State::kModify, "ATTRVALUE", kRulePresence, kFilterHasModifyValue,
         kTextModifyValue),
};

constexpr bool StandInOrder() {
  size_t state = 0;
  for (const HwFilterElement& element : kElements) {
    if (static_cast<size_t>(element.state) != ++state) return false;
  }
  return state == static_cast<size_t>(State::kModifyValue);
}
static_assert(StandInOrder());

struct Attribute {
  std::string_view name;
  State state;
  HwFilterText text;
};

constexpr Attribute kAttributes[] = {
    {"maxpass", State::kRuleList, kTextMaxPass},
    {"label", State::kRule, kTextLabel},
    {"value", State::kMatchName, kTextMatchNameValue},
    {"operator", State::kMatchName, kTextMatchNameOperator},
    {"case", State::kMatchName, kTextMatchNameCase},
    {"value", State::kMatchValue, kTextMatchValueValue},
    {"operator", State::kMatchValue, kTextMatchValueOperator},
    {"case", State::kMatchValue, kTextMatchValueCase},
    {"value", State::kModifyName, kTextModifyNameValue},
    {"match", State::kModifyName, kTextModifyNameMatch},
    {"case", State::kModifyName, kTextModifyNameCase},
    {"value", State::kModifyValue, kTextModifyValueValue},
    {"match", State::kModifyValue, kTextModifyValueMatch},
    {"case", State::kModifyValue, kTextModifyValueCase},
};

}  // namespace

const HwFilterElement* FindFilterElement(HwFilterState parent, std::string_view name) {
  for (const HwFilterElement& element : kElements) {
    if (element.parent == parent && element.name == name) return &element;
  }
  return nullptr;
}

const HwFilterElement& FilterElementOf(HwFilterState state) {
  return kElements[static_cast<size_t>(state) - 1];
}

HwFilterText FindFilterAttribute(HwFilterState state, std::string_view name) {
  for (const Attribute& attribute : kAttributes) {
    if (attribute.state == state && attribute.name == name) return attribute.text;
  }
  return kNoText;
}

const HwFilterElement* FindFilterElementLike(HwFilterState parent, std::string_view name) {
  for (const HwFilterElement& element : kElements) {
    if (element.parent == parent && KorString(element.name).IsEqualTo(KorString(name), false)) {
      return &element;
    }
  }
  return nullptr;
}

KorString FilterPath(HwFilterState state) {
  const HwFilterElement& element = FilterElementOf(state);
  if (element.parent == State::kDocument) return KorString(element.name);
  return FilterPath(element.parent) + "/" + KorString(element.name);
}

}  // namespace HardwareInventory
