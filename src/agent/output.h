// Writing to a descriptor.

#pragma once

#include <string_view>

#include "agent/result.h"

namespace agent {

// All of it, however many calls that takes.
Result<void> WriteAll(int descriptor, std::string_view bytes);

// Results for the user. A reader that went away ends the writing without a signal.
Result<void> WriteToStandardOutput(std::string_view bytes);

}  // namespace agent
