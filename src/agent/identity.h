// The identity neighbour: who this device is, for the modules that ask.

#pragma once

#include <chrono>
#include <cstdint>
#include <thread>

#include "agent/result.h"
#include "kor/condition.h"
#include "kor/container.h"
#include "kor/mutex.h"
#include "kor/string.h"

namespace agent {

// The device's GUID from the file, made and stored there when the file does not exist. A file
// without a valid GUID is set aside as <file>.damaged, with a warning, and a new GUID is made: an
// agent without a GUID could do nothing at all.
Result<KorString> LoadOrMakeGuid(const KorString& file);

// While it lives, answers the actions "IdentityGetGUID" (key "GUID") and
// "IdentityGetDeviceTopology" (key "Topology"). As long as there is no GUID, because it cannot be
// stored, the first answers without the key, and it is tried again from time to time; when it has
// become available, the event "IdentityCallbackGUIDAvailable" (key "GUID") is raised.
class Identity {
 public:
  Identity(const KorString& guidFile, const KorString& deviceTopology,
           std::chrono::milliseconds retryInterval = std::chrono::minutes(1));
  ~Identity();
  Identity(const Identity&) = delete;
  Identity& operator=(const Identity&) = delete;

  // From now on that is the topology; a GUID that is not there is tried again at once.
  void Reload(const KorString& newTopology) KOR_EXCLUDES(mutex);

 private:
  uint32_t Answer(KorContainer& container) KOR_EXCLUDES(mutex);
  void Retry() KOR_EXCLUDES(mutex);
  void RetryUntilAvailable() KOR_EXCLUDES(mutex);
  bool Load() KOR_EXCLUDES(mutex);

  const KorString file;
  const std::chrono::milliseconds interval;
  KorMutex mutex;
  KorCondition changed;
  KorString guid KOR_GUARDED_BY(mutex);
  KorString topology KOR_GUARDED_BY(mutex);
  bool retryNow KOR_GUARDED_BY(mutex) = false;
  KorString loggedReason KOR_GUARDED_BY(mutex);
  bool stopping KOR_GUARDED_BY(mutex) = false;
  std::thread retry;
};

}  // namespace agent
