// Making filter entries of the texts that were read, with a warning for what is wrong with them.

#pragma once

#include <cstdint>
#include <memory>

#include "hardware/filter/hw_filter.h"
#include "hardware/filter/hw_filter_grammar.h"

namespace HardwareInventory {

// Null when the entry is to be dropped; the warning has been given.
std::unique_ptr<HwFilterWmiAttr> MakeFilterWmiAttr(const HwFilterTexts& texts);
std::unique_ptr<HwFilterAttr> MakeFilterRule(const HwFilterTexts& texts, uint32_t presence);

// Fills the class, whose attributes are there already. False when it is to be dropped.
bool CompleteFilterWmiClass(const HwFilterTexts& texts, HwFilterWmiClass& entry);

// Sets the number of passes from the buffer of `maxpass`; a bad one keeps the earlier number.
void ReadFilterMaxPass(const KorString& text, HwFilter& filter);

}  // namespace HardwareInventory
