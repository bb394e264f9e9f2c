// What a thread sleeps on: a call from another thread, something new in a folder, or a time.

#pragma once

#include <chrono>
#include <optional>

#include "agent/plain_file.h"
#include "kor/string.h"

namespace agent {

class Wakeup {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // Where the system gives no way to wake it, sleeps end after a second at the latest.
  Wakeup();

  // Files that are put into the folder, by whichever process, wake it from now on. Where the system
  // cannot do that, sleeps end after a minute at the latest. Before others use the object.
  void Watch(const KorString& folder);

  // From any thread; kept when nobody sleeps.
  void Wake();

  // Sleeps without using the processor until it is woken, or until that time.
  void Sleep(std::optional<Time> until);

 private:
  Descriptor calls;
  Descriptor folders;
  std::chrono::milliseconds longestSleep;
};

}  // namespace agent
