// kor-agent filter check: what the inventory module thinks of a translation file.

#pragma once

#include "agent/command_line.h"

namespace agent {

// Prints the findings with their lines. The status to end with.
int RunFilterCheck(const CommonOptions& common, const FilterCheckOptions& options);

}  // namespace agent
