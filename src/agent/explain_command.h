// kor-agent explain: where a value of the last run comes from.

#pragma once

#include "agent/command_line.h"

namespace agent {

// The exit status.
int RunExplain(const CommonOptions& common, const ExplainOptions& options);

}  // namespace agent
