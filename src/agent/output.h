// Writing to a descriptor.

#pragma once

#include <string_view>

#include "agent/result.h"

namespace agent {

// All of it, however many calls that takes.
Result<void> WriteAll(int descriptor, std::string_view bytes);

// Results for the user. A reader that went away ends the writing without a signal.
Result<void> WriteToStandardOutput(std::string_view bytes);

// A program may be started with standard input, output or error closed; the next file that it opens
// would take the place and get what is meant for the user. Gives /dev/null to those that are
// closed, so that a result still fails to be written; throws where there is none.
void OccupyStandardDescriptors();

}  // namespace agent
