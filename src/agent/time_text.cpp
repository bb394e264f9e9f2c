#include "agent/time_text.h"

#include <array>
#include <ctime>

namespace agent {

std::string TimeText(std::chrono::system_clock::time_point time) {
  const std::time_t seconds = std::chrono::system_clock::to_time_t(time);
  std::tm parts = {};
  gmtime_r(&seconds, &parts);
  std::array<char, 64> text = {};
  const size_t length = std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &parts);
  return {text.data(), length};
}

}  // namespace agent
