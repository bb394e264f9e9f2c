// kor-agent diff: what changed from one inventory to another.

#pragma once

#include "agent/command_line.h"

namespace agent {

// Returns the exit status.
int RunDiff(const CommonOptions& common, const DiffOptions& options);

}  // namespace agent
