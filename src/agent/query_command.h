// kor-agent query: SQL on the latest inventory.

#pragma once

#include "agent/command_line.h"

namespace agent {

// Returns the exit status.
int RunQuery(const CommonOptions& common, const QueryOptions& options);

}  // namespace agent
