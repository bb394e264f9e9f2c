// A module whose commands hang: one in the action "Hang", one in the run that "HangInRun" starts.
// It notes the commands of its life in the file "life" of the data folder.

#include <cstdint>
#include <cstring>
#include <fstream>

#include "kor/command.h"
#include "kor/debug.h"
#include "kor/thread.h"
#include "korcore/action_db.h"
#include "korcore/agent_context.h"

extern "C" uint64_t ModuleMain(uint32_t command, uint64_t argument, char* buffer);

namespace {

void RunHangingCommand() {
  KorString output;
  CommandToString("sleep 1000", output);
}

class HangingThread : public KorThread {
 public:
  ~HangingThread() override { Cancel(1000, true); }

 protected:
  void ThreadMain() override {
    // What the agent knows a run by.
    KorDebug debug("HardwareInventory", "A run that hangs");
    debug.SetContext(KorAgentGetDebugContext());
    debug.PrintWithNL("Inventory starting");
    RunHangingCommand();
  }
};

HangingThread hangingThread;

void Register(const void* handle) {
  const auto hang = [](KorContainer*) {
    RunHangingCommand();
    return ACTIONDB_ERROR_SUCCESS;
  };
  const auto hangInRun = [](KorContainer*) {
    hangingThread.Start();
    return ACTIONDB_ERROR_SUCCESS;
  };
  ActionDbRegisterAction("Hang ()", hang, handle);
  ActionDbRegisterAction("HangInRun ()", hangInRun, handle);
}

}  // namespace

extern "C" uint64_t ModuleMain(uint32_t command, uint64_t, char* buffer) {
  if (command == 1) Register(buffer);
  if (command == 5) hangingThread.Cancel(3000, true);
  if (command == 7) std::strcpy(buffer, "1.0");
  KorString dataDir;
  KorAgentGetDataDir(dataDir);
  std::ofstream((dataDir + "life").Str(), std::ios::app) << command << ' ';
  return 1;
}
