#include "hardware/filter/hw_filter_parser.h"

#include <new>
#include <utility>

#include "hardware/filter/filter_check.h"
#include "hardware/filter/hw_filter_entries.h"
#include "hardware/module/globals.h"
#include "kor/input_position.h"
#include "kor/shortage.h"

namespace HardwareInventory {

bool HwFilterParser::Process(const KorString& path, HwFilter* targetFilter) {
  debugInv.TraceWithNL("Processing xml '%S'", path);
  texts.fill({});
  presence.fill(0);
  state = HwFilterState::kDocument;
  skipDepth = 0;
  wmiClass.reset();
  filter = targetFilter;
  return filter != nullptr && ParseFile(path);
}

void HwFilterParser::OnElementInit(const char* name) {
  if (skipDepth > 0) {
    ++skipDepth;
    return;
  }
  if (const HwFilterElement* element = FindFilterElement(state, name)) {
    Enter(*element);
    return;
  }
  CheckSkippedElement(state, name);
  skipDepth = 1;
}

void HwFilterParser::Enter(const HwFilterElement& element) {
  for (size_t text = element.firstReset; text < element.endReset; ++text) texts[text].Clear();
  for (size_t word = 0; word < kPresenceCount; ++word) {
    if ((element.presenceReset >> word & 1U) != 0) presence[word] = 0;
  }
  uint32_t& present = presence[element.presenceWord];
  if ((present & element.presenceBit) != 0) CheckRepeatedElement(element);
  present |= element.presenceBit;
  state = element.state;
  if (state == HwFilterState::kRule) ruleLine = KorInputPosition::Current()->line;
}

void HwFilterParser::OnElementAttr(const char* name, const char* value) {
  if (skipDepth > 0) return;
  const HwFilterText text = FindFilterAttribute(state, name);
  if (text == kNoText) {
    CheckIgnoredAttribute(state, name);
  } else {
    texts[text] = value;
  }
}

void HwFilterParser::OnElementStart(const char*) {
  if (skipDepth > 0) return;
  if (state == HwFilterState::kClass) {
    wmiClass.reset(new (std::nothrow) HwFilterWmiClass);
    if (wmiClass == nullptr) {
      KorNoteShortage();
      debugInv.ErrorWithNL("Memory error");
    }
  }
  if (state == HwFilterState::kRuleList) ReadFilterMaxPass(texts[kTextMaxPass], *filter);
}

void HwFilterParser::OnElementData(const char* data, unsigned long length) {
  if (skipDepth > 0 || state == HwFilterState::kDocument) return;
  const HwFilterText text = FilterElementOf(state).text;
  if (text == kNoText) {
    CheckIgnoredText(state, {data, length});
  } else {
    texts[text] += KorString(data, length);
  }
}

void HwFilterParser::OnElementEnd(const char*) {
  if (skipDepth > 0) {
    --skipDepth;
    return;
  }
  const HwFilterElement& element = FilterElementOf(state);
  state = element.parent;
  if (element.text != kNoText) CheckBlanks(element, texts[element.text]);
  if (element.state == HwFilterState::kAttr) FinishAttr();
  if (element.state == HwFilterState::kClass) FinishClass();
  if (element.state == HwFilterState::kRule) FinishRule();
  if (element.state == HwFilterState::kConfig) CheckPasses(*filter);
}

void HwFilterParser::FinishAttr() {
  if (wmiClass == nullptr) return;
  std::unique_ptr<HwFilterWmiAttr> attr = MakeFilterWmiAttr(texts);
  if (attr == nullptr) return;
  if (!wmiClass->Attributes().Register(attr.release())) {
    debugInv.WarningWithNL("Failed to register WMI attribute");
  }
}

void HwFilterParser::FinishClass() {
  std::unique_ptr<HwFilterWmiClass> finished = std::move(wmiClass);
  if (finished == nullptr || !CompleteFilterWmiClass(texts, *finished)) return;
  if (!filter->WmiClassAdd(finished.release())) {
    debugInv.WarningWithNL("Failed to register WMI class '%S'", texts[kTextClassName]);
  }
}

void HwFilterParser::FinishRule() {
  std::unique_ptr<HwFilterAttr> rule = MakeFilterRule(texts, presence[kRulePresence]);
  if (rule == nullptr) return;
  rule->GetLine() = ruleLine;
  CheckRule(*rule);
  if (!filter->AttrAdd(rule.release())) {
    debugInv.WarningWithNL("Failed to register attribute '%S'", texts[kTextLabel]);
  }
}

}  // namespace HardwareInventory
