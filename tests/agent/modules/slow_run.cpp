// A module whose inventory run lasts until it is cancelled, and which notes the commands of its
// life in the file "life" of the data folder.

#include <cstdint>
#include <cstring>
#include <fstream>

#include "kor/debug.h"
#include "kor/thread.h"
#include "korcore/action_db.h"
#include "korcore/agent_context.h"

extern "C" uint64_t ModuleMain(uint32_t command, uint64_t argument, char* buffer);

namespace {

class SlowThread : public KorThread {
 public:
  ~SlowThread() override { Cancel(1000, true); }

 protected:
  void ThreadMain() override {
    KorDebug debug("Slow", "A run that does not end");
    debug.SetContext(KorAgentGetDebugContext());
    debug.PrintWithNL("Scanning slowly");
    Pause(600'000);
  }
};

SlowThread slowThread;

void Register(const void* handle) {
  ActionDbRegisterAction(
      "HardwareStartInventory ()",
      [](KorContainer*) {
        slowThread.Start();
        return ACTIONDB_ERROR_SUCCESS;
      },
      handle);
  ActionDbRegisterAction(
      "HardwareInventoryWithError ()",
      [](KorContainer* container) {
        container->SetBool("WithError", false);
        return ACTIONDB_ERROR_SUCCESS;
      },
      handle);
}

}  // namespace

extern "C" uint64_t ModuleMain(uint32_t command, uint64_t, char* buffer) {
  if (command == 1) Register(buffer);
  if (command == 5) slowThread.Cancel(3000, true);
  if (command == 7) std::strcpy(buffer, "1.0");
  KorString dataDir;
  KorAgentGetDataDir(dataDir);
  std::ofstream((dataDir + "life").Str(), std::ios::app) << command << ' ';
  return 1;
}
