// Times as people and scripts read them.

#pragma once

#include <chrono>
#include <string>

namespace agent {

// "2026-01-31T12:34:56Z".
std::string TimeText(std::chrono::system_clock::time_point time);

}  // namespace agent
