// Whether the reason of a failure is worth another line in the log.

#pragma once

#include <string>
#include <utility>

#include "kor/string.h"

namespace agent {

class RepeatedReason {
 public:
  // False for the reason that was given last. Numbers don't count: texts of the network tell how
  // many milliseconds something took.
  bool IsNew(const KorString& reason) {
    std::string words = reason.Str();
    std::erase_if(words, [](char byte) { return byte >= '0' && byte <= '9'; });
    return std::exchange(last, words) != words;
  }

  // All is well again.
  void Reset() { last.clear(); }

 private:
  std::string last;
};

}  // namespace agent
