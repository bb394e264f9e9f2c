// The claim of one process on a home: two agents never share one.

#pragma once

#include <utility>

#include "agent/result.h"
#include "kor/string.h"

namespace agent {

// Holds the file locked, with the number of this process as its text, until it goes. The file
// itself stays: removing it would let two processes lock two files of the same name.
class PidLock {
 public:
  // The reason of a refusal names the process that holds the lock.
  static Result<PidLock> Take(const KorString& file);
  ~PidLock();
  PidLock(PidLock&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
  PidLock& operator=(PidLock&&) = delete;
  PidLock(const PidLock&) = delete;
  PidLock& operator=(const PidLock&) = delete;

 private:
  explicit PidLock(int lockedDescriptor) : descriptor(lockedDescriptor) {}

  int descriptor;
};

}  // namespace agent
