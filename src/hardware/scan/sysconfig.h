// Input devices as the distribution's KEY=value files under /etc/sysconfig describe them.

#pragma once

#include <span>

#include "hardware/scan/toolkit.h"
#include "kor/string.h"
#include "korcore/obj_inv.h"

namespace HardwareInventory {

// Fills the class's one instance from the file. False when the class or the instance cannot be had,
// or the file is not there or cannot be read; true even when no key is found.
bool ScanSysconfig(ObjInv& inventory, const KorString& className,
                   std::span<const AttributeRow> attributes, const KorString& path,
                   std::span<const PatternRow> keys);

}  // namespace HardwareInventory
