// The actions on the translation filter. They run on the host's threads, also beside a run.

#pragma once

#include <cstdint>

#include "hardware/module/globals.h"
#include "kor/container.h"

namespace HardwareInventory {

// Replaces the container's content by the WMI class entries of the translation file in use
// ("WMI_CLASS"). 0, or 1 when that file cannot be had.
uint32_t ActionHandler_HardwareInventoryGetWmiFilter(KorContainer* params) KOR_EXCLUDES(mutexInv);

// Reads the inventory document "SrcFilePath", runs the translation rules over it and writes it to
// "DstFilePath", which is deleted first. 0 when done, 13 for missing parameters or a missing
// source, 1 for other failures.
uint32_t ActionHandler_HardwareInventoryApplyFilter(KorContainer* params) KOR_EXCLUDES(mutexInv);

}  // namespace HardwareInventory
