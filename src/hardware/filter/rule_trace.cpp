#include "hardware/filter/rule_trace.h"

#include "hardware/filter/hw_filter_codes.h"

namespace HardwareInventory {

namespace {

KorString ConditionText(const char* subject, const HwFilterMatch& condition) {
  const bool negated = condition.comparison == kFilterNotEqual;
  KorString text = subject;
  if (condition.method == kFilterMatchText) {
    text += negated ? " is not " : " is ";
  } else {
    text += negated ? " does not match " : " matches ";
  }
  return text + "'" + condition.data + "'";
}

KorString ConditionText(const HwFilterAttr& rule) {
  KorString text;
  if (rule.Has(kFilterHasMatchName)) text = ConditionText("name", rule.MatchName());
  if (!rule.Has(kFilterHasMatchValue)) return text;
  if (!text.IsEmpty()) text += ", ";
  return text + ConditionText("value", rule.MatchValue());
}

}  // namespace

RuleTrace::RuleTrace(const HwFilterAttr& appliedRule, const ObjInstAttr& changedAttribute)
    : trace(KorTrace::Current()), rule(appliedRule), attribute(changedAttribute) {
  if (trace != nullptr) before = attribute.GetValue();
}

void RuleTrace::Rejected() const {
  Tell(nullptr, rule.Has(kFilterHasAction) ? "its action is Reject" : "it has no action");
}

void RuleTrace::RejectedForName(const KorString& newName) const {
  Tell(&newName, "the new name is empty");
}

void RuleTrace::Done(const KorString& newName) const {
  Tell(rule.Has(kFilterHasModify | kFilterHasModifyName) ? &newName : nullptr, nullptr);
}

void RuleTrace::Tell(const KorString* newName, const char* rejectedBecause) const {
  if (trace == nullptr) return;
  const bool rewrites =
      rejectedBecause == nullptr && rule.Has(kFilterHasModify | kFilterHasModifyValue);
  const KorString condition = ConditionText(rule);
  trace->OnRule({attribute.GetName().View(), rule.GetName().View(), rule.GetLine(),
                 condition.View(), before->View(), rewrites ? &attribute.GetValue() : nullptr,
                 newName, rejectedBecause});
}

}  // namespace HardwareInventory
