// kor-agent filter apply: the rules of a translation file over a saved inventory.

#pragma once

#include "agent/command_line.h"

namespace agent {

// The status to end with.
int RunFilterApply(const CommonOptions& common, const FilterApplyOptions& options);

}  // namespace agent
