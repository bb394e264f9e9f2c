#include "kor/processor_time.h"

#include <ctime>

uint64_t KorProcessorMicroseconds() {
  timespec time = {};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
  return static_cast<uint64_t>(time.tv_sec) * 1'000'000 +
         static_cast<uint64_t>(time.tv_nsec) / 1000;
}

bool KorTick::HasPassed() {
  timespec time = {};
  clock_gettime(CLOCK_MONOTONIC_COARSE, &time);
  const int64_t now = int64_t{time.tv_sec} * 1'000'000'000 + time.tv_nsec;
  const bool hasTicked = now != last;
  last = now;
  return hasTicked;
}
