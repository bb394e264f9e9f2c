// How long to wait before the next attempt: longer each time, and not for all agents alike.

#pragma once

#include <chrono>

namespace agent {

struct RetryLimits {
  std::chrono::milliseconds first = std::chrono::seconds(1);
  std::chrono::milliseconds longest = std::chrono::hours(1);
};

// Doubles from the first wait to the longest. Each wait is drawn between one half of that and the
// whole, so that agents which failed together don't come back together.
class Backoff {
 public:
  explicit Backoff(const RetryLimits& retryLimits) : limits(retryLimits), next(limits.first) {}

  // Never shorter than what the other side asked for, as far as the longest wait allows.
  std::chrono::milliseconds Next(std::chrono::milliseconds askedFor = {});
  void Reset() { next = limits.first; }

 private:
  RetryLimits limits;
  std::chrono::milliseconds next;
};

// The interval, or up to a tenth of it more or less, so that agents which began together don't go
// on together.
std::chrono::milliseconds Jittered(std::chrono::milliseconds interval);

}  // namespace agent
