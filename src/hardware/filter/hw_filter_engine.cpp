// Running the translation rules over an inventory.

#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "hardware/filter/hw_filter.h"
#include "hardware/filter/hw_filter_codes.h"
#include "hardware/filter/rule_trace.h"
#include "hardware/module/globals.h"
#include "kor/processor_time.h"
#include "kor/regex.h"
#include "kor/thread.h"
#include "kor/trace.h"

namespace HardwareInventory {

namespace {

// A condition on the name or the value, with its expression, which is made when it is first needed.
class Condition {
 public:
  explicit Condition(const HwFilterMatch& given)
      : match(&given),
        caseSensitive(given.letterCase == kFilterCaseSensitive),
        negated(given.comparison == kFilterNotEqual) {}

  // One of an unknown method never holds, negated or not.
  bool Holds(const KorString& subject) {
    switch (match->method) {
      case kFilterMatchText:
        return subject.IsEqualTo(match->data, caseSensitive) != negated;
      case kFilterMatchRegex:
      case 0:
      case kFilterMatchPattern:
        if (!regex) Compile();
        return regex->Matches(subject) != negated;
      default:
        return false;
    }
  }

 private:
  void Compile() {
    const bool isRegex = match->method == kFilterMatchRegex;
    regex.emplace(isRegex ? match->data : PatternToRegex(match->data), caseSensitive);
  }

  const HwFilterMatch* match;
  bool caseSensitive;
  bool negated;
  std::optional<KorRegex> regex;
};

// A rule and its conditions.
class Rule {
 public:
  explicit Rule(const HwFilterAttr& filterRule)
      : rule(&filterRule), name(rule->MatchName()), value(rule->MatchValue()) {}

  const HwFilterAttr& Get() const { return *rule; }

  // One without any condition never applies.
  bool Applies(const ObjInstAttr& attribute) {
    if (!rule->Has(kFilterHasMatch)) return false;
    const bool hasName = rule->Has(kFilterHasMatchName);
    const bool hasValue = rule->Has(kFilterHasMatchValue);
    if (hasName && !name.Holds(attribute.GetName())) return false;
    if (hasValue && !value.Holds(attribute.GetValue())) return false;
    return hasName || hasValue;
  }

 private:
  const HwFilterAttr* rule;
  Condition name;
  Condition value;
};

// A letter case that is not given is sensitive here, unlike in a condition; none and text alike
// replace the whole.
KorString Rewritten(const KorString& text, const HwFilterModify& modify) {
  KorString result = modify.data;
  if (modify.method == kFilterModifyRegex) {
    result =
        RegexReplace(text, modify.match, modify.data, modify.letterCase != kFilterCaseInsensitive);
  }
  result.Trim();
  return result;
}

// What a translation has cost until now.
class Effort {
 public:
  explicit Effort(const HwFilterLimits& given)
      : limits(given), endsAt(KorProcessorMicroseconds() + uint64_t{limits.milliseconds} * 1000) {}

  void BeginPass(uint32_t number, size_t bytesOfValues) {
    pass = number;
    bytes = bytesOfValues;
  }

  void Lengthened(size_t from, size_t to) { bytes += to - from; }

  // Throws when it is too much.
  void Check() {
    KorString excess;
    if (bytes > limits.bytesOfValues) {
      excess.Printf("makes the inventory larger than %gu bytes", uint64_t{limits.bytesOfValues});
    } else if (tick.HasPassed() && KorProcessorMicroseconds() > endsAt) {
      excess.Printf("takes more than %u ms of the processor", limits.milliseconds);
    } else {
      return;
    }
    KorString text;
    text.Printf("the translation %S and is given up in pass %u", excess, pass);
    throw HwFilterGivenUp(text.Str());
  }

 private:
  const HwFilterLimits limits;
  const uint64_t endsAt;
  KorTick tick;
  uint32_t pass = 1;
  size_t bytes = 0;
};

bool Accepts(const HwFilterAttr& rule, const ObjInstAttr& attribute) {
  if (!rule.Has(kFilterHasAction)) {
    debugInv.TraceWithNL("Attribute '%S' has been rejected by unqualified filter '%S'",
                         attribute.GetName(), rule.GetName());
    return false;
  }
  if (rule.GetAction() != kFilterAccept) {
    debugInv.TraceWithNL("Attribute '%S' has been rejected by filter '%S'", attribute.GetName(),
                         rule.GetName());
    return false;
  }
  return true;
}

// False when the attribute is rejected for its new name.
bool Modify(const HwFilterAttr& rule, ObjInstAttr& attribute, bool& modified, KorString& name) {
  if (rule.Has(kFilterHasModifyName)) {
    modified = true;
    name = Rewritten(attribute.GetName(), rule.ModifyName());
    name.ReplaceAll(",", "", true);
    if (name.IsEmpty()) {
      debugInv.TraceWithNL("Attribute '%S' has been rejected because modified name is empty",
                           attribute.GetName());
      return false;
    }
  }
  if (rule.Has(kFilterHasModifyValue)) {
    modified = true;
    attribute.SetValue(Rewritten(attribute.GetValue(), rule.ModifyValue()));
  }
  return true;
}

void TellRename(const KorString& source, const KorString& target, const char* failure,
                bool isLost) {
  if (KorTrace* const trace = KorTrace::Current()) {
    trace->OnRename({source.View(), target.View(), failure, isLost});
  }
}

// All rules, in their order, ready for many attributes.
class Rules {
 public:
  Rules(const HwFilter& filter, Effort& countedEffort) : effort(countedEffort) {
    for (uint32_t n = 0; n < filter.AttrCount(); ++n) rules.emplace_back(*filter.AttrGet(n));
  }

  // As HwFilter::ProcessAttr.
  bool Process(ObjInstAttr& attribute, bool& modified, KorString& name) {
    modified = false;
    name.Clear();
    for (Rule& each : rules) {
      KorThread::ThrowIfCurrentIsCancelled();
      if (!each.Applies(attribute)) continue;
      const HwFilterAttr& rule = each.Get();
      const RuleTrace trace(rule, attribute);
      if (!Accepts(rule, attribute)) {
        trace.Rejected();
        return false;
      }
      if (rule.Has(kFilterHasModify) && !Modify(rule, attribute, modified, name)) {
        trace.RejectedForName(name);
        return false;
      }
      trace.Done(name);
      effort.Check();
    }
    return true;
  }

 private:
  std::vector<Rule> rules;
  Effort& effort;
};

// Gives the class a definition of the target name, copied from that of the source name, unless it
// has one.
bool EnsureDefinition(ObjType& type, const KorString& source, const KorString& target) {
  if (type.Attributes().Get(target) != nullptr) return true;
  const ObjTypeAttr* definition = type.Attributes().Get(source);
  if (definition == nullptr) {
    debugInv.TraceWithNL("Failed to rename attribute from '%S' to '%S' (0x2)", source, target);
    return false;
  }
  std::unique_ptr<ObjTypeAttr> clone(definition->Clone());
  if (clone == nullptr) {
    debugInv.TraceWithNL("Failed to rename attribute from '%S' to '%S' (0x3)", source, target);
    return false;
  }
  clone->SetName(target);
  if (!type.Attributes().Add(clone.get())) {
    debugInv.TraceWithNL("Failed to rename attribute from '%S' to '%S' (0x4)", source, target);
    return false;
  }
  // The set owns it now.
  static_cast<void>(clone.release());
  return true;
}

// What fails once the attribute is out of its set loses the attribute.
void Rename(ObjType& type, ObjInst& instance, const KorString& source, const KorString& target) {
  std::unique_ptr<ObjInstAttr> attribute(instance.Attributes().Del(source));
  if (attribute == nullptr) {
    debugInv.TraceWithNL("Failed to rename attribute from '%S' to '%S' (0x1)", source, target);
    TellRename(source, target, "there is no attribute of that name", false);
    return;
  }
  attribute->SetName(target);
  if (instance.Attributes().Get(target) != nullptr) {
    debugInv.TraceWithNL("Attribute name '%S' renamed '%S' becomes duplicated", source, target);
    TellRename(source, target, "there is one of that name", true);
    return;
  }
  if (!EnsureDefinition(type, source, target)) {
    TellRename(source, target, "its class has no definition of it", true);
    return;
  }
  if (!instance.Attributes().Add(attribute.get())) {
    debugInv.TraceWithNL("Failed to rename attribute from '%S' to '%S' (0x5)", source, target);
    return;
  }
  static_cast<void>(attribute.release());
  TellRename(source, target, nullptr, false);
}

// An entry is "old;new", cut at its last ";", and is applied from the new name back to the old one:
// ordinarily nothing has the new name, and the attribute keeps the one it has.
void ApplyRename(ObjType& type, ObjInst& instance, const KorString& entry) {
  const std::string_view text = entry.View();
  const size_t cut = text.rfind(';');
  const KorString source(text.substr(cut + 1));
  const KorString target(text.substr(0, cut));
  if (source.IsEmpty() || target.IsEmpty()) return;
  Rename(type, instance, source, target);
}

// One pass over the instances. Rejects and renames wait until an instance's attributes have been
// walked; the lists are kept only to spare their memory.
class Pass {
 public:
  Pass(Rules& rulesToApply, Effort& countedEffort) : rules(rulesToApply), effort(countedEffort) {}

  void Process(ObjType& type, ObjInst& instance) {
    if (KorTrace* const trace = KorTrace::Current()) {
      trace->OnRulesFor(type.GetName().View(), instance.GetName().View());
    }
    rejects.clear();
    renames.clear();
    for (ObjInstAttr* attribute : instance.Attributes()) Examine(*attribute);
    for (const ObjInstAttr* attribute : rejects) {
      const std::unique_ptr<ObjInstAttr> rejected(instance.Attributes().Del(attribute->GetName()));
    }
    for (const KorString& entry : renames) ApplyRename(type, instance, entry);
  }

  uint32_t Changes() const { return changes; }

 private:
  void Examine(ObjInstAttr& attribute) {
    bool modified = false;
    const size_t before = attribute.GetValue().GetLength();
    const bool isAccepted = rules.Process(attribute, modified, newName);
    effort.Lengthened(before, attribute.GetValue().GetLength());
    effort.Check();
    if (!isAccepted) {
      rejects.push_back(&attribute);
      return;
    }
    if (!newName.IsEmpty() && newName != attribute.GetName()) {
      renames.push_back(attribute.GetName() + ";" + newName);
    }
    if (modified) ++changes;
  }

  Rules& rules;
  std::vector<ObjInstAttr*> rejects;
  std::vector<KorString> renames;
  KorString newName;
  uint32_t changes = 0;
  Effort& effort;
};

size_t BytesOfValues(const ObjInv& inventory) {
  size_t total = 0;
  for (const ObjType* type : inventory.Objects()) {
    for (const ObjInst* instance : type->Instances()) {
      for (const ObjInstAttr* attribute : instance->Attributes()) {
        total += attribute->GetValue().GetLength();
      }
    }
  }
  return total;
}

// How often something was rewritten.
uint32_t RunPass(Rules& rules, ObjInv& inventory, Effort& effort) {
  Pass pass(rules, effort);
  for (ObjType* type : inventory.Objects()) {
    for (ObjInst* instance : type->Instances()) pass.Process(*type, *instance);
  }
  return pass.Changes();
}

}  // namespace

bool HwFilter::ProcessAttr(ObjInstAttr* attribute, bool& modified, KorString& name) const {
  Effort effort({});
  return Rules(*this, effort).Process(*attribute, modified, name);
}

void HwFilter::ProcessAttrs(ObjInv& inventory, const HwFilterLimits& limits) const {
  Effort effort(limits);
  Rules prepared(*this, effort);
  for (uint32_t done = 0; done < hwListMaxPass; ++done) {
    effort.BeginPass(done + 1, BytesOfValues(inventory));
    debugInv.TraceWithNL("Processing attribute filter pass %u", done + 1);
    if (KorTrace* const trace = KorTrace::Current()) trace->OnPass(done + 1);
    const uint32_t changes = RunPass(prepared, inventory, effort);
    if (changes == 0) {
      debugInv.TraceWithNL("There was no change within the last loop. No more pass is required");
      return;
    }
    debugInv.TraceWithNL("There was %u change(s) within the last loop. More pass would be required",
                         changes);
  }
}

}  // namespace HardwareInventory
