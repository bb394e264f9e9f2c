// kor-agent status, actions and invoke.

#pragma once

#include "agent/command_line.h"

namespace agent {

// The statuses to end with.
int RunStatus(const CommonOptions& common, const StatusOptions& options);
int RunActions(const CommonOptions& common, const ActionsOptions& options);
int RunInvoke(const CommonOptions& common, const InvokeOptions& options);

}  // namespace agent
