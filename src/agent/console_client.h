// Asking the agent that serves a home.

#pragma once

#include <chrono>
#include <string>

#include "agent/console_protocol.h"
#include "agent/result.h"
#include "kor/string.h"

namespace agent {

// Sends the request to the console of the home and waits for the answer, for that long at most; 0
// is without a bound. Contents come indented for people.
Result<ConsoleAnswer> AskAgent(const KorString& homePath, const ConsoleRequest& request,
                               std::chrono::seconds patience);

}  // namespace agent
