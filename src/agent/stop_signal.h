// SIGINT and SIGTERM while something runs that wants to end in order.

#pragma once

namespace agent {

// While it lives, the first SIGINT and the first SIGTERM are noted instead of ending the process;
// a second one of the same kind ends it. One object at a time.
class StopSignal {
 public:
  StopSignal();
  ~StopSignal();
  StopSignal(const StopSignal&) = delete;
  StopSignal& operator=(const StopSignal&) = delete;

  // The number of the signal that came, 0 while none did.
  static int Received();
};

}  // namespace agent
