#include "hardware/filter/filter_check.h"

#include <algorithm>
#include <cstddef>
#include <optional>

#include "hardware/filter/hw_filter_codes.h"
#include "hardware/module/globals.h"
#include "kor/regex.h"

namespace HardwareInventory {

namespace {

// There from the beginning of each thread: what a module has else is made when it is first used,
// and that ends the process when there is no memory.
[[gnu::tls_model("initial-exec")]] thread_local bool checkWanted = false;

bool Wanted() {
  return checkWanted && debugInv.Wants(KorLogLevel::kTrace);
}

bool IsBlank(const KorString& text) {
  KorString trimmed = text;
  trimmed.Trim();
  return trimmed.IsEmpty();
}

// Texts whose blanks count; actions and the like are complained of anyway, rewrites are trimmed.
bool IsComparedAsItStands(HwFilterState state) {
  switch (state) {
    case HwFilterState::kClassName:
    case HwFilterState::kClassId:
    case HwFilterState::kAttrName:
    case HwFilterState::kMatchName:
    case HwFilterState::kMatchValue:
      return true;
    default:
      return false;
  }
}

// False after a finding.
bool Compiles(const HwFilterAttr& rule, const char* where, const KorString& regex) {
  KorString reason;
  if (CheckRegex(regex, reason)) return true;
  debugInv.TraceWithNL("Entry '%S': the expression of %s matches nothing, it does not compile: %S",
                       rule.GetName(), where, reason);
  return false;
}

void CheckCondition(const HwFilterAttr& rule, const char* where, const HwFilterMatch& condition) {
  if (condition.method != kFilterMatchRegex) return;
  if (!condition.data.IsEmpty()) {
    Compiles(rule, where, condition.data);
  } else if (condition.comparison == kFilterNotEqual) {
    debugInv.TraceWithNL("Entry '%S' never applies: %s is empty, which matches everything",
                         rule.GetName(), where);
  } else {
    debugInv.TraceWithNL("Entry '%S': %s is empty and matches everything", rule.GetName(), where);
  }
}

// The number of the group that a replacement names at that place, 0 when it names none.
size_t GroupAt(std::string_view text, size_t at) {
  if (text[at] != '$' && text[at] != '\\') return 0;
  const bool braced = text[at] == '$' && text.substr(at + 1).starts_with("{");
  size_t digit = at + (braced ? 2 : 1);
  size_t group = 0;
  constexpr size_t kBeyondAny = 100000;
  for (; digit < text.size() && text[digit] >= '0' && text[digit] <= '9'; ++digit) {
    group = std::min(group * 10 + static_cast<size_t>(text[digit] - '0'), kBeyondAny);
  }
  if (braced && !text.substr(digit).starts_with("}")) return 0;
  return group;
}

// How many groups an expression has: with an empty alternative before it, it is found everywhere
// and gives all of its groups. Nothing for one that such an alternative spoils.
std::optional<size_t> CountGroups(const KorString& regex) {
  const KorString withEmpty = KorString("|") + regex;
  KorString reason;
  KorVector<KorString> groups;
  if (!CheckRegex(withEmpty, reason)) return {};
  FindPcre("", withEmpty, groups);
  return groups.Count();
}

void CheckReplacement(const HwFilterAttr& rule, const char* where, const HwFilterModify& modify) {
  const std::string_view text = modify.data.View();
  size_t highest = 0;
  for (size_t at = 0; at < text.size(); ++at) highest = std::max(highest, GroupAt(text, at));
  const std::optional<size_t> count = CountGroups(modify.match);
  if (!count || highest <= *count) return;
  debugInv.TraceWithNL("Entry '%S': the replacement of %s names group %gu, but there are only %gu",
                       rule.GetName(), where, highest, *count);
}

void CheckRewrite(const HwFilterAttr& rule, const char* where, const HwFilterModify& modify) {
  if (modify.method != kFilterModifyRegex) {
    if (modify.match.IsEmpty()) return;
    debugInv.TraceWithNL("Entry '%S': 'match' of %s is ignored, the method is not regex",
                         rule.GetName(), where);
  } else if (modify.match.IsEmpty()) {
    debugInv.TraceWithNL("Entry '%S': %s has no 'match': the empty expression matches everywhere",
                         rule.GetName(), where);
  } else if (Compiles(rule, where, modify.match)) {
    CheckReplacement(rule, where, modify);
  }
}

void CheckRename(const HwFilterAttr& rule) {
  const HwFilterModify& modify = rule.ModifyName();
  if (modify.method != kFilterModifyRegex && IsBlank(modify.data)) {
    debugInv.TraceWithNL(
        "Entry '%S' rejects every attribute that it applies to: MODIFYHW/ATTRNAME is empty",
        rule.GetName());
    return;
  }
  debugInv.TraceWithNL(
      "Entry '%S': MODIFYHW/ATTRNAME does not give the attribute its new name. It keeps its name; "
      "an attribute that already has the new name is renamed to the old one",
      rule.GetName());
}

void CheckModify(const HwFilterAttr& rule) {
  if (rule.GetAction() != kFilterAccept) {
    debugInv.TraceWithNL("Entry '%S': MODIFYHW is ignored, the entry rejects", rule.GetName());
    return;
  }
  if (rule.Has(kFilterHasModifyName)) {
    CheckRename(rule);
    CheckRewrite(rule, "MODIFYHW/ATTRNAME", rule.ModifyName());
  }
  if (rule.Has(kFilterHasModifyValue)) {
    CheckRewrite(rule, "MODIFYHW/ATTRVALUE", rule.ModifyValue());
  }
  if (!rule.Has(kFilterHasModifyName) && !rule.Has(kFilterHasModifyValue)) {
    debugInv.TraceWithNL("Entry '%S': MODIFYHW is empty and rewrites nothing", rule.GetName());
  }
}

}  // namespace

FilterCheckScope::FilterCheckScope(bool wanted) : outer(checkWanted) {
  checkWanted = wanted;
}

FilterCheckScope::~FilterCheckScope() {
  checkWanted = outer;
}

void CheckSkippedElement(HwFilterState parent, const char* name) {
  if (!Wanted()) return;
  const HwFilterElement* meant = FindFilterElementLike(parent, name);
  const KorString hint =
      meant == nullptr ? KorString() : KorString(", did you mean ") + KorString(meant->name) + "?";
  if (parent == HwFilterState::kDocument) {
    debugInv.TraceWithNL("The root element '%s' is not HWINVCONFIG, the filter stays empty%S", name,
                         hint);
  } else {
    debugInv.TraceWithNL("Element '%s' in %S is unknown and skipped with all that it holds%S", name,
                         FilterPath(parent), hint);
  }
}

void CheckIgnoredAttribute(HwFilterState state, const char* name) {
  // Names that begin so belong to XML itself: namespaces, languages, white space.
  if (!Wanted() || std::string_view(name).starts_with("xml")) return;
  debugInv.TraceWithNL("Attribute '%s' of %S is unknown and ignored", name, FilterPath(state));
}

void CheckIgnoredText(HwFilterState state, std::string_view text) {
  if (!Wanted() || IsBlank(KorString(text))) return;
  debugInv.TraceWithNL("Text in %S is ignored: '%s'", FilterPath(state), text);
}

void CheckRepeatedElement(const HwFilterElement& element) {
  if (!Wanted() || element.text == kNoText) return;
  debugInv.TraceWithNL("%S is given more than once, the texts are joined",
                       FilterPath(element.state));
}

void CheckBlanks(const HwFilterElement& element, const KorString& text) {
  if (!IsComparedAsItStands(element.state) || !Wanted()) return;
  KorString trimmed = text;
  trimmed.Trim();
  if (trimmed == text) return;
  debugInv.TraceWithNL("The white space around the text of %S counts: '%S'",
                       FilterPath(element.state), text);
}

void CheckRule(const HwFilterAttr& rule) {
  if (!Wanted()) return;
  const bool hasName = rule.Has(kFilterHasMatch | kFilterHasMatchName);
  const bool hasValue = rule.Has(kFilterHasMatch | kFilterHasMatchValue);
  if (!hasName && !hasValue) {
    debugInv.TraceWithNL(
        "Entry '%S' never applies: it has no MATCHHW with an ATTRNAME or ATTRVALUE",
        rule.GetName());
  }
  if (hasName) CheckCondition(rule, "MATCHHW/ATTRNAME", rule.MatchName());
  if (hasValue) CheckCondition(rule, "MATCHHW/ATTRVALUE", rule.MatchValue());
  if (rule.Has(kFilterHasModify)) CheckModify(rule);
}

void CheckPasses(const HwFilter& filter) {
  if (!Wanted() || filter.GetHwListMaxPass() != 0 || filter.AttrCount() == 0) return;
  debugInv.TraceWithNL("No entry of TRANSLATEHWLIST ever applies: the number of passes is 0");
}

}  // namespace HardwareInventory
