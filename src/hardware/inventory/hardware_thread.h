// The worker thread that makes inventory runs, one at a time.

#pragma once

#include <cstdint>

#include "kor/mutex.h"
#include "kor/thread.h"

class ObjInv;

namespace HardwareInventory {

extern KorMutex mutexInv;

// Whether a run is started or going on; its initial pause counts.
bool IsInventoryRunning() KOR_EXCLUDES(mutexInv);

}  // namespace HardwareInventory

// One object of this class exists, HardwareInventory::threadInv. Its operations may be called from
// any thread; none may be called with HardwareInventory::mutexInv held.
class HardwareThread : public KorThread {
 public:
  // Cancels a run that is going on and waits for its end.
  ~HardwareThread() override;

  // Asks for a run after that many seconds. The request is dropped when a run is started or going
  // on, and postponed (nothing of it is kept) while the device has no GUID.
  void StartInventory(uint32_t pauseSeconds, bool upload, bool force, bool bypass,
                      bool differential) KOR_EXCLUDES(HardwareInventory::mutexInv);

 protected:
  void ThreadMain() override KOR_EXCLUDES(HardwareInventory::mutexInv);

 private:
  // One run. True when it ended with the inventory stored.
  bool ThreadTask() KOR_EXCLUDES(HardwareInventory::mutexInv);
  void WaitPause();
  void UploadIfWanted(ObjInv& document) KOR_EXCLUDES(HardwareInventory::mutexInv);

  // Written by the caller who set fRunningInv, before the thread starts, then read by the thread.
  uint32_t pause = 0;
  bool uploadAfterUpdate = false;
  bool forceUpload = false;
  bool bypassTransferWindows = false;
  bool differentialUpload = true;
};
