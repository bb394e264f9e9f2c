// One inventory run of a host's modules.

#pragma once

#include "agent/host.h"
#include "agent/result.h"
#include "kor/container.h"

namespace agent {

// Starts a run with these parameters of HardwareStartInventory and waits for its end. Whether it
// ended well; false also when a signal ended it.
Result<bool> RunInventoryOnce(Host& host, KorContainer parameters);

}  // namespace agent
