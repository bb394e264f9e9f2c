// Reads a translation file (docs/translation-file.md) into a filter.

#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "hardware/filter/hw_filter.h"
#include "hardware/filter/hw_filter_grammar.h"
#include "kor/string.h"
#include "kor/xml_sax_parser.h"

namespace HardwareInventory {

// To be made for one Process() call.
class HwFilterParser : public CsXmlSaxParser {
 public:
  // Adds the file's entries to the filter. Bad entries are dropped with a warning each. False
  // without a filter and when the file cannot be read or is not well-formed; entries completed
  // before that point stay in the filter.
  bool Process(const KorString& path, HwFilter* targetFilter);

 protected:
  void OnElementInit(const char* name) override;
  void OnElementAttr(const char* name, const char* value) override;
  void OnElementStart(const char* name) override;
  void OnElementData(const char* data, unsigned long length) override;
  void OnElementEnd(const char* name) override;

 private:
  void Enter(const HwFilterElement& element);
  void FinishAttr();
  void FinishClass();
  void FinishRule();

  HwFilter* filter = nullptr;
  std::unique_ptr<HwFilterWmiClass> wmiClass;
  HwFilterState state = HwFilterState::kDocument;
  // How deep inside an element that is skipped.
  uint32_t skipDepth = 0;
  HwFilterTexts texts;
  uint64_t ruleLine = 0;
  std::array<uint32_t, kPresenceCount> presence = {};
};

}  // namespace HardwareInventory
