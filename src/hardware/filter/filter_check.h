// What the reading of a translation file takes without a word but a person would want to hear of.
//
// Each finding is one trace message, given while the file is being read, so that it goes with the
// file and line. Nothing is looked at, and nothing said, unless somebody asks for it. Findings
// change nothing.

#pragma once

#include <string_view>

#include "hardware/filter/hw_filter.h"
#include "hardware/filter/hw_filter_grammar.h"

namespace HardwareInventory {

// While it lives, files that this thread reads are checked, where traces are wanted at all.
class FilterCheckScope {
 public:
  explicit FilterCheckScope(bool wanted);
  ~FilterCheckScope();
  FilterCheckScope(const FilterCheckScope&) = delete;
  FilterCheckScope& operator=(const FilterCheckScope&) = delete;

 private:
  const bool outer;
};

// An element that is not expected there, and with it all that it holds.
void CheckSkippedElement(HwFilterState parent, const char* name);
void CheckIgnoredAttribute(HwFilterState state, const char* name);
// Anything but white space between elements.
void CheckIgnoredText(HwFilterState state, std::string_view text);
// An element whose text is appended to that of an earlier one.
void CheckRepeatedElement(const HwFilterElement& element);
// White space around a text that is compared as it stands.
void CheckBlanks(const HwFilterElement& element, const KorString& text);
// A rule that is about to join the filter.
void CheckRule(const HwFilterAttr& rule);
// The whole file, at its end.
void CheckPasses(const HwFilter& filter);

}  // namespace HardwareInventory
