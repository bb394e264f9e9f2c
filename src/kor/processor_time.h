// The processor's time, for work that must not take too much of it.

#pragma once

#include <cstdint>

// What the calling thread has used, in microseconds. A system call.
uint64_t KorProcessorMicroseconds();

// For loops that look at the time: says when a clock that costs next to nothing has ticked, every
// few milliseconds. Only then a slower one can show anything new.
class KorTick {
 public:
  // True when it has ticked since the last call, and at the first.
  bool HasPassed();

 private:
  int64_t last = -1;
};
