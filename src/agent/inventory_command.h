// kor-agent inventory: one run, from loading the module to printing what it found.

#pragma once

#include "agent/command_line.h"

namespace agent {

// The status to end with.
int RunInventory(const CommonOptions& common, const InventoryOptions& options);

}  // namespace agent
