// The action that edits the WMI class entries of the translation file.

#pragma once

#include <cstdint>

#include "hardware/module/globals.h"
#include "kor/container.h"

namespace HardwareInventory {

// Adds the class "ClassName" with "ClassID" to the translation file that the INI file names, unless
// it is there, and adds or updates its attributes: the values of "AttrName", "AttrType" and
// "AttrAction" in the container "Values" that stand at the same index. Empties the container.
// Always 0: a file that cannot be read as a translation file is left as it is, with an error
// logged.
uint32_t ActionHandler_HardwareInvModifyXMLFile(KorContainer* params) KOR_EXCLUDES(mutexInv);

}  // namespace HardwareInventory
