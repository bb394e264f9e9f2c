// Invoking an action without a service.

#pragma once

#include "agent/command_line.h"
#include "agent/console_protocol.h"
#include "agent/result.h"

namespace agent {

// Loads the modules in this process, invokes the action, waits for the end of what it started and
// of deliveries, and lets the modules go. A signal that ends it is the process's end.
Result<ConsoleAnswer> InvokeLocally(const CommonOptions& common, const InvokeOptions& options,
                                    const InvokeRequest& request);

}  // namespace agent
