// kor-agent show: prints a stored inventory.

#pragma once

#include "agent/command_line.h"

namespace agent {

// Returns the exit status.
int RunShow(const CommonOptions& common, const ShowOptions& options);

}  // namespace agent
