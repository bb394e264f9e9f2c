// How much work something is, whatever else the machine does.

#pragma once

#include <time.h>

// Processor seconds that the calling thread uses for it.
template <typename Work>
double ProcessorSecondsOf(Work&& work) {
  const auto now = [] {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
  };
  const double start = now();
  work();
  return now() - start;
}
