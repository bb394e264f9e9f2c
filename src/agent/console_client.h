// Asking the agent that serves a home.

#pragma once

#include <chrono>
#include <string>

#include "agent/console_protocol.h"
#include "agent/result.h"
#include "kor/string.h"

namespace agent {

// The result of a query, in JSON at its longest, is far below this.
inline constexpr size_t kLongestAnswer = size_t{1024} * 1024 * 1024;

// Sends the request to the console of the home and waits for the answer, for that long at most; 0
// is without a bound. Contents come indented for people. An answer that is longer than that is
// refused.
Result<ConsoleAnswer> AskAgent(const KorString& homePath, const ConsoleRequest& request,
                               std::chrono::seconds patience, size_t longest = kLongestAnswer);

}  // namespace agent
