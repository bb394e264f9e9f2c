#include "agent/backoff.h"

#include <algorithm>
#include <random>

namespace agent {
namespace {

std::chrono::milliseconds Draw(std::chrono::milliseconds least, std::chrono::milliseconds most) {
  static thread_local std::mt19937 random{std::random_device{}()};
  std::uniform_int_distribution<long> draw(least.count(), most.count());
  return std::chrono::milliseconds(draw(random));
}

}  // namespace

std::chrono::milliseconds Backoff::Next(std::chrono::milliseconds askedFor) {
  const std::chrono::milliseconds whole = std::min(next, limits.longest);
  next = std::min(whole * 2, limits.longest);
  return std::min(std::max(Draw(whole / 2, whole), askedFor), limits.longest);
}

std::chrono::milliseconds Jittered(std::chrono::milliseconds interval) {
  return Draw(interval - interval / 10, interval + interval / 10);
}

}  // namespace agent
