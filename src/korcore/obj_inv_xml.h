// The words of the saved document, shared by its writer and its reader (docs/file-formats.md).

#pragma once

#include <string_view>

#include "korcore/obj_base.h"

namespace obj_inv_xml {

inline constexpr std::string_view kFormat = "1";

inline constexpr std::string_view kInventory = "inventory";
inline constexpr std::string_view kClass = "class";
inline constexpr std::string_view kAttribute = "attribute";
inline constexpr std::string_view kInstance = "instance";
inline constexpr std::string_view kValue = "value";

inline constexpr std::string_view kAdded = "added";
inline constexpr std::string_view kModified = "modified";
inline constexpr std::string_view kRemoved = "removed";
inline constexpr std::string_view kTrue = "true";

// Empty for no change.
inline std::string_view ChangeWord(ObjChange change) {
  switch (change) {
    case ObjChange::kAdded:
      return kAdded;
    case ObjChange::kModified:
      return kModified;
    case ObjChange::kRemoved:
      return kRemoved;
    case ObjChange::kNone:
      break;
  }
  return {};
}

// Bytes that XML cannot carry stand in the file as U+10FE00 plus the byte, the last block of a
// private-use plane; what a text holds of that block itself is carried as four such bytes.
inline constexpr char32_t kFirstEscape = 0x10FE00;
inline constexpr char32_t kLastEscape = 0x10FEFF;

}  // namespace obj_inv_xml
