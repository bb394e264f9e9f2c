// kor-agent report: an inventory as an HTML page.

#pragma once

#include "agent/command_line.h"

namespace agent {

// The exit status.
int RunReport(const CommonOptions& common, const ReportOptions& options);

}  // namespace agent
