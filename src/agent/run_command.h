// kor-agent run: the service, until a signal ends it.

#pragma once

#include "agent/command_line.h"

namespace agent {

// SIGTERM and SIGINT end it in order, a second one at once; SIGHUP reads the agent's settings
// again. The status to end with.
int RunService(const CommonOptions& common, const RunOptions& options);

}  // namespace agent
