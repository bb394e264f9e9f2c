// The translation document that is written where the default translation file is missing.

#pragma once

#include <string_view>

namespace HardwareInventory {

// Lists the WMI classes; has no rules. Ends with the root's end tag, without a line end.
extern const std::string_view DEFAULT_TRANSLATION_FILE;

}  // namespace HardwareInventory
