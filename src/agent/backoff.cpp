#include "agent/backoff.h"

#include <algorithm>
#include <random>

namespace agent {

std::chrono::milliseconds Backoff::Next(std::chrono::milliseconds askedFor) {
  static thread_local std::mt19937 random{std::random_device{}()};
  const std::chrono::milliseconds whole = std::min(next, limits.longest);
  std::uniform_int_distribution<long> draw(whole.count() / 2, whole.count());
  next = std::min(whole * 2, limits.longest);
  return std::min(std::max(std::chrono::milliseconds(draw(random)), askedFor), limits.longest);
}

}  // namespace agent
