// The codes that filter entries store. 0 means that the item was not given.

#pragma once

#include <cstdint>

namespace HardwareInventory {

// Action of a class, a WMI attribute or a rule.
inline constexpr uint32_t kFilterAccept = 1;
inline constexpr uint32_t kFilterReject = 2;

// Method of a condition.
inline constexpr uint32_t kFilterMatchText = 1;
inline constexpr uint32_t kFilterMatchPattern = 2;
inline constexpr uint32_t kFilterMatchRegex = 3;

// Method of a rewrite. None and text both replace the whole.
inline constexpr uint32_t kFilterModifyNone = 1;
inline constexpr uint32_t kFilterModifyText = 2;
inline constexpr uint32_t kFilterModifyRegex = 3;

// Operator of a condition; not given is "equal".
inline constexpr uint32_t kFilterEqual = 1;
inline constexpr uint32_t kFilterNotEqual = 2;

// Letter case. Not given is insensitive for a condition, but sensitive for a rewrite.
inline constexpr uint32_t kFilterCaseSensitive = 1;
inline constexpr uint32_t kFilterCaseInsensitive = 2;

// Flags of a rule: which elements were there, with or without content.
inline constexpr uint32_t kFilterHasMatch = 0x02;
inline constexpr uint32_t kFilterHasMatchName = 0x04;
inline constexpr uint32_t kFilterHasMatchValue = 0x08;
inline constexpr uint32_t kFilterHasAction = 0x10;
inline constexpr uint32_t kFilterHasModify = 0x20;
inline constexpr uint32_t kFilterHasModifyName = 0x40;
inline constexpr uint32_t kFilterHasModifyValue = 0x80;

}  // namespace HardwareInventory
