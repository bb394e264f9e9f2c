#include "hardware/filter/hw_filter_entries.h"

#include <algorithm>
#include <new>
#include <span>

#include "hardware/filter/hw_filter_codes.h"
#include "hardware/module/globals.h"
#include "kor/regex.h"
#include "kor/shortage.h"

namespace HardwareInventory {

namespace {

constexpr uint32_t kDefaultMaxPass = 10;

struct Keyword {
  const char* word;
  uint32_t code;
};

constexpr Keyword kActions[] = {{"Accept", kFilterAccept}, {"Reject", kFilterReject}};
constexpr Keyword kMatchMethods[] = {
    {"text", kFilterMatchText}, {"pattern", kFilterMatchPattern}, {"regex", kFilterMatchRegex}};
constexpr Keyword kModifyMethods[] = {
    {"none", kFilterModifyNone}, {"text", kFilterModifyText}, {"regex", kFilterModifyRegex}};
constexpr Keyword kOperators[] = {{"eq", kFilterEqual}, {"ne", kFilterNotEqual}};
constexpr Keyword kLetterCases[] = {
    {"0", kFilterCaseInsensitive},     {"no", kFilterCaseInsensitive},
    {"false", kFilterCaseInsensitive}, {"1", kFilterCaseSensitive},
    {"yes", kFilterCaseSensitive},     {"true", kFilterCaseSensitive}};

constexpr uint32_t kFalse = 1;
constexpr uint32_t kTrue = 2;
constexpr Keyword kTruths[] = {{"Yes", kTrue}, {"True", kTrue},   {"1", kTrue},
                               {"No", kFalse}, {"False", kFalse}, {"0", kFalse}};

constexpr const char* kTypes[] = {"String", "Integer", "Date"};

// The code of the word, 0 for another word.
uint32_t CodeOf(const KorString& text, std::span<const Keyword> keywords) {
  for (const Keyword& keyword : keywords) {
    if (text.IsEqualTo(keyword.word, false)) return keyword.code;
  }
  return 0;
}

bool ReadMethod(const KorString& text, std::span<const Keyword> keywords, uint32_t defaultMethod,
                const KorString& label, uint32_t& method) {
  method = text.IsEmpty() ? defaultMethod : CodeOf(text, keywords);
  if (method != 0) return true;
  // Rewrites are complained of in these words, too.
  debugInv.WarningWithNL("Bad MATCH value '%S' for entry '%S'", text, label);
  return false;
}

bool ReadOperator(const KorString& text, const KorString& label, uint32_t& comparison) {
  if (text.IsEmpty()) return true;
  comparison = CodeOf(text, kOperators);
  if (comparison != 0) return true;
  debugInv.WarningWithNL("Bad MATCH operator '%S' for entry '%S'", text, label);
  return false;
}

bool ReadCase(const KorString& text, const KorString& label, uint32_t& letterCase) {
  if (text.IsEmpty()) return true;
  letterCase = CodeOf(text, kLetterCases);
  if (letterCase != 0) return true;
  debugInv.WarningWithNL("Bad MATCH case '%S' for entry '%S'", text, label);
  return false;
}

struct MatchTexts {
  const KorString& method;
  const KorString& comparison;
  const KorString& letterCase;
  const KorString& data;
};

bool ReadMatch(const MatchTexts& texts, const KorString& label, HwFilterMatch& match) {
  if (!ReadMethod(texts.method, kMatchMethods, kFilterMatchPattern, label, match.method) ||
      !ReadOperator(texts.comparison, label, match.comparison) ||
      !ReadCase(texts.letterCase, label, match.letterCase)) {
    return false;
  }
  match.data = texts.data;
  return true;
}

// Once here instead of at every value that is matched.
void PatternBecomesRegex(HwFilterMatch& match) {
  if (match.method != kFilterMatchPattern) return;
  match.method = kFilterMatchRegex;
  if (!match.data.IsEmpty()) match.data = PatternToRegex(match.data);
}

bool ReadRuleAction(const KorString& text, const KorString& label, uint32_t& action) {
  action = CodeOf(text, kActions);
  if (action != 0) return true;
  debugInv.WarningWithNL("Bad action '%S' for entry '%S'", text, label);
  return false;
}

struct ModifyTexts {
  const KorString& method;
  const KorString& match;
  const KorString& letterCase;
  const KorString& data;
};

bool ReadModify(const ModifyTexts& texts, const KorString& label, HwFilterModify& modify) {
  if (!ReadMethod(texts.method, kModifyMethods, kFilterModifyText, label, modify.method)) {
    return false;
  }
  modify.match = texts.match;
  if (!ReadCase(texts.letterCase, label, modify.letterCase)) return false;
  modify.data = texts.data;
  return true;
}

bool ReadMatches(const HwFilterTexts& texts, HwFilterAttr& rule) {
  const KorString& label = texts[kTextLabel];
  const MatchTexts name = {texts[kTextMatchNameValue], texts[kTextMatchNameOperator],
                           texts[kTextMatchNameCase], texts[kTextMatchName]};
  const MatchTexts value = {texts[kTextMatchValueValue], texts[kTextMatchValueOperator],
                            texts[kTextMatchValueCase], texts[kTextMatchValue]};
  if (!ReadMatch(name, label, rule.MatchName()) || !ReadMatch(value, label, rule.MatchValue())) {
    return false;
  }
  PatternBecomesRegex(rule.MatchName());
  PatternBecomesRegex(rule.MatchValue());
  return true;
}

bool ReadModifies(const HwFilterTexts& texts, HwFilterAttr& rule) {
  const KorString& label = texts[kTextLabel];
  const ModifyTexts name = {texts[kTextModifyNameValue], texts[kTextModifyNameMatch],
                            texts[kTextModifyNameCase], texts[kTextModifyName]};
  const ModifyTexts value = {texts[kTextModifyValueValue], texts[kTextModifyValueMatch],
                             texts[kTextModifyValueCase], texts[kTextModifyValue]};
  return ReadModify(name, label, rule.ModifyName()) && ReadModify(value, label, rule.ModifyValue());
}

// The type is looked at only for attributes that are accepted.
bool ReadAttrType(const KorString& text, HwFilterWmiAttr& attr) {
  if (attr.GetAction() != kFilterAccept || text.IsEmpty()) return true;
  for (const char* type : kTypes) {
    if (text.IsEqualTo(type, false)) {
      attr.GetType() = type;
      return true;
    }
  }
  debugInv.WarningWithNL("Bad WMI attribute type '%S'", text);
  return false;
}

void ReadCurrentUser(const KorString& text, HwFilterWmiClass& entry) {
  if (text.IsEmpty()) return;
  const uint32_t truth = CodeOf(text, kTruths);
  entry.GetCurrentUser() = truth == kTrue;
  if (truth == 0) {
    debugInv.WarningWithNL("Bad WMI class current user '%S', assuming false", text);
  }
}

}  // namespace

std::unique_ptr<HwFilterWmiAttr> MakeFilterWmiAttr(const HwFilterTexts& texts) {
  std::unique_ptr<HwFilterWmiAttr> attr(new (std::nothrow) HwFilterWmiAttr);
  if (attr == nullptr) {
    KorNoteShortage();
    debugInv.ErrorWithNL("Memory error");
    return nullptr;
  }
  if (texts[kTextAttrName].IsEmpty()) {
    debugInv.WarningWithNL("Bad WMI attribute without name");
    return nullptr;
  }
  attr->GetName() = texts[kTextAttrName];
  attr->GetAction() = CodeOf(texts[kTextAttrAction], kActions);
  if (attr->GetAction() == 0) {
    debugInv.WarningWithNL("Bad WMI attribute action '%S'", texts[kTextAttrAction]);
    return nullptr;
  }
  if (!ReadAttrType(texts[kTextAttrType], *attr)) return nullptr;
  attr->GetUnit() = texts[kTextAttrUnit];
  return attr;
}

bool CompleteFilterWmiClass(const HwFilterTexts& texts, HwFilterWmiClass& entry) {
  if (texts[kTextClassName].IsEmpty()) {
    debugInv.WarningWithNL("Bad WMI class without name");
    return false;
  }
  entry.GetName() = texts[kTextClassName];
  if (texts[kTextClassId].IsEmpty()) {
    debugInv.WarningWithNL("Bad WMI class without identifier");
    return false;
  }
  entry.GetId() = texts[kTextClassId];
  entry.GetAction() = CodeOf(texts[kTextClassAction], kActions);
  if (entry.GetAction() == 0) {
    debugInv.WarningWithNL("Bad WMI class action '%S'", texts[kTextClassAction]);
    return false;
  }
  ReadCurrentUser(texts[kTextCurrentUser], entry);
  return true;
}

std::unique_ptr<HwFilterAttr> MakeFilterRule(const HwFilterTexts& texts, uint32_t presence) {
  std::unique_ptr<HwFilterAttr> rule(new (std::nothrow) HwFilterAttr);
  if (rule == nullptr) {
    KorNoteShortage();
    debugInv.ErrorWithNL("Memory error");
    return nullptr;
  }
  const KorString& label = texts[kTextLabel];
  rule->GetName() = label;
  if (!ReadMatches(texts, *rule) ||
      !ReadRuleAction(texts[kTextRuleAction], label, rule->GetAction()) ||
      !ReadModifies(texts, *rule)) {
    return nullptr;
  }
  rule->GetFlags() = presence;
  return rule;
}

void ReadFilterMaxPass(const KorString& text, HwFilter& filter) {
  if (text.IsEmpty()) {
    filter.GetHwListMaxPass() = kDefaultMaxPass;
  } else if (MatchPcre(text, "^[0-9]+$", 0)) {
    filter.GetHwListMaxPass() =
        static_cast<uint32_t>(std::min<uint64_t>(text.ToUINT64(), UINT32_MAX));
  } else {
    debugInv.WarningWithNL("Bad TRANSLATEHWLIST maxpass '%S'", text);
  }
}

}  // namespace HardwareInventory
