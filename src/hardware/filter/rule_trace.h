// Telling who wants to know what a rule does to an attribute (kor/trace.h).

#pragma once

#include <optional>

#include "hardware/filter/hw_filter_attr.h"
#include "kor/string.h"
#include "kor/trace.h"
#include "korcore/obj_inv.h"

namespace HardwareInventory {

// One rule that applies to one attribute; to be made before the rule changes anything.
class RuleTrace {
 public:
  RuleTrace(const HwFilterAttr& appliedRule, const ObjInstAttr& changedAttribute);

  // The rule rejects the attribute. An attribute is also rejected for its new name.
  void Rejected() const;
  void RejectedForName(const KorString& newName) const;
  // The rule is done with the attribute.
  void Done(const KorString& newName) const;

 private:
  void Tell(const KorString* newName, const char* rejectedBecause) const;

  KorTrace* const trace;
  const HwFilterAttr& rule;
  const ObjInstAttr& attribute;
  std::optional<KorString> before;
};

}  // namespace HardwareInventory
