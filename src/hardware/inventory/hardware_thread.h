// The worker thread that makes inventory runs, one at a time.

#pragma once

#include <cstdint>

#include "kor/mutex.h"
#include "kor/string.h"
#include "kor/thread.h"

class ObjInv;

namespace HardwareInventory {

extern KorMutex mutexInv;

// Whether a run is started or going on; its initial pause counts.
bool IsInventoryRunning() KOR_EXCLUDES(mutexInv);

// What a run is asked for with.
struct InventoryRequest {
  uint32_t pauseSeconds;
  bool upload;
  bool force;
  bool bypass;
  bool differential;

  bool operator==(const InventoryRequest&) const = default;
};

// The run that follows activation: after 100 seconds, with the upload that the configuration wants
// on start-up.
InventoryRequest FirstInventory();

// Asks for that run.
void StartFirstInventory() KOR_EXCLUDES(mutexInv);

// One object of this class exists, threadInv. Its operations may be called from
// any thread; none may be called with mutexInv held.
class HardwareThread : public KorThread {
 public:
  // Cancels a run that is going on and waits for its end.
  ~HardwareThread() override;

  // Asks for a run after that many seconds. The request is dropped when a run is started or going
  // on, and postponed (nothing of it is kept) while the device has no GUID.
  void StartInventory(uint32_t pauseSeconds, bool upload, bool force, bool bypass,
                      bool differential) KOR_EXCLUDES(mutexInv);

 protected:
  void ThreadMain() override KOR_EXCLUDES(mutexInv);

 private:
  // One run. True when it ended with the inventory stored.
  bool ThreadTask() KOR_EXCLUDES(mutexInv);
  // Takes the right to start a run, unless one goes on or there is no GUID.
  bool AcceptStart(const KorString& guid) KOR_EXCLUDES(mutexInv);
  void WaitPause();
  void UploadIfWanted(ObjInv& document) KOR_EXCLUDES(mutexInv);

  // Written by the caller who set fRunningInv, before the thread starts, then read by the thread.
  uint32_t pause = 0;
  bool uploadAfterUpdate = false;
  bool forceUpload = false;
  bool bypassTransferWindows = false;
  bool differentialUpload = true;
};

}  // namespace HardwareInventory
