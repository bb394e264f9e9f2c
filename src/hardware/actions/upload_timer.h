// The timer that uploads the stored inventory from time to time.

#pragma once

#include <cstdint>

namespace HardwareInventory {

// Creates the timer or gives it another period; 0 turns it off.
void SetUploadTimer(uint32_t seconds);

}  // namespace HardwareInventory
