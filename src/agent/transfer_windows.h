// When the agent may send: times of the day, every day, in local time.

#pragma once

#include <ctime>
#include <vector>

#include "agent/result.h"
#include "kor/string.h"

namespace agent {

class TransferWindows {
 public:
  // Open always.
  TransferWindows() = default;

  // "22:00-06:00,12:00-13:00"; the empty text is always. The end does not belong to a window; one
  // that ends before it begins goes over midnight; "24:00" may be an end.
  static Result<TransferWindows> Parse(const KorString& text);

  bool IsOpen(time_t time) const;

  // The first time from this one on at which a window is open, to the minute. When the clocks skip
  // a whole window, it is the one of the day after.
  time_t NextOpening(time_t time) const;

 private:
  // Minutes since midnight.
  struct Window {
    int begin;
    int end;
  };
  static Result<Window> ParseWindow(const KorString& text);

  std::vector<Window> windows;
};

}  // namespace agent
