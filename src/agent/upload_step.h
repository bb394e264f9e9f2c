// The upload at the end of an inventory run, as the user who asked for it sees it.

#pragma once

#include "agent/host.h"
#include "kor/mutex.h"

namespace agent {

// Watches a run that ends with an upload. Make it before the run begins.
class UploadWatch {
 public:
  explicit UploadWatch(Host& watchedHost);
  ~UploadWatch();
  UploadWatch(const UploadWatch&) = delete;
  UploadWatch& operator=(const UploadWatch&) = delete;

  enum class Outcome { kAccepted, kUnchanged, kTooEarly, kNotRecorded, kNotAccepted };
  // Once the run has ended well. Not recorded: it was accepted, but what was sent could not be kept
  // for the next comparison.
  Outcome Find() KOR_EXCLUDES(mutex);

 private:
  Host& host;
  KorMutex mutex;
  bool isUnchanged KOR_GUARDED_BY(mutex) = false;
  bool isTooEarly KOR_GUARDED_BY(mutex) = false;
  bool isAccepted KOR_GUARDED_BY(mutex) = false;
  int listener = 0;
};

// Delivers what waits, for a limited time and until a signal comes, and says on standard error what
// still waits and what the server refused.
void DeliverForAWhile(Host& host);

}  // namespace agent
