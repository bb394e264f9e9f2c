// What the X server's configuration and log tell about a graphics adapter.

#pragma once

#include "kor/string.h"
#include "kor/vector.h"
#include "korcore/obj_inv.h"

namespace HardwareInventory {

// Looks for the adapter's Device section, which is the first whose driver, vendor or board name
// contains one of the keywords, and sets what it, the X log and the Screen sections of that device
// say. Nothing is set without such a section.
void SetFromXConfiguration(ObjInst& instance, const KorVector<KorString>& keywords);

}  // namespace HardwareInventory
