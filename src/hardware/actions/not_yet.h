// Actions that are registered but not there yet: they log that and fail.

#pragma once

#include "kor/container.h"

#include <cstdint>

namespace HardwareInventory {

uint32_t ActionHandler_HardwareInvModifyXMLFile(KorContainer* container);

}  // namespace HardwareInventory
