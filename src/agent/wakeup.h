// What a thread sleeps on: a call from another thread, something new in a folder, or a time.

#pragma once

#include <chrono>
#include <optional>

#include "agent/plain_file.h"
#include "agent/repeated_reason.h"
#include "kor/string.h"

namespace agent {

class Wakeup {
 public:
  using Time = std::chrono::steady_clock::time_point;

  // Where the system gives no way to wake it, sleeps end after a second at the latest.
  Wakeup();

  // Files that are put into the folder, by whichever process, wake it from now on, and so does the
  // end of the folder; another one in its place is watched from the next sleep on. While there is
  // none, or the system cannot watch it, sleeps end after a minute at the latest. Once, before
  // others use the object.
  void Watch(const KorString& folder);

  // From any thread; kept when nobody sleeps.
  void Wake();

  // Sleeps without using the processor until it is woken, or until that time. Not at all when the
  // folder is another one than before: it may hold something already.
  void Sleep(std::optional<Time> until);

 private:
  bool WatchAnew();

  Descriptor calls;
  Descriptor watches;
  KorString watched;
  int watch = -1;
  RepeatedReason loggedFailure;
  std::chrono::milliseconds longestSleep;
};

}  // namespace agent
