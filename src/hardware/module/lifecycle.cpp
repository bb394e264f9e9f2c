#include "hardware/module/lifecycle.h"

#include "hardware/actions/action_handlers.h"
#include "hardware/actions/upload_timer.h"
#include "hardware/filter/filter_actions.h"
#include "hardware/filter/hardware_assignment.h"
#include "hardware/filter/modify_xml_file.h"
#include "hardware/module/identity.h"
#include "kor/file.h"
#include "kor/reason.h"
#include "korcore/action_db.h"
#include "korcore/agent_context.h"
#include "korcore/callback_db.h"

#include <exception>

namespace HardwareInventory {
namespace {

constexpr uint64_t kNotThreadSafe = 2;
constexpr uint32_t kCancelMilliseconds = 3000;

struct Action {
  const char* signature;
  uint32_t (*handler)(KorContainer*);
};

// The signatures are known to the server. "HardwareSynchronize" and the doubled word of the last
// one differ from their handlers' names on purpose.
constexpr Action kActions[] = {
    {"HardwareSetValues (container Values)", ActionHandler_HardwareSetValues},
    {"HardwareGetValues ()", ActionHandler_HardwareGetValues},
    {"HardwareStartInventory (bool UploadAfterUpdate, bool ForceUpload, "
     "bool BypassTransferWindows)",
     ActionHandler_HardwareStartInventory},
    {"HardwareUploadInventory (bool ForceUpload, bool BypassTransferWindows)",
     ActionHandler_HardwareUploadInventory},
    {"HardwareSynchronize ()", ActionHandler_HardwareSendSyncInfo},
    {"HardwareReceiveFile (container Values)", ActionHandler_HardwareReceiveFile},
    {"HardwareInvGUIDCallback (string GUID)", ActionHandler_HardwareInvGUIDCallback},
    {"HardwareInventoryWithError ()", ActionHandler_HardwareInventoryWithError},
    {"HardwareInvModifyXMLFile ()", ActionHandler_HardwareInvModifyXMLFile},
    {"HardwareInventoryApplyFilter ()", ActionHandler_HardwareInventoryApplyFilter},
    {"HardwareInventoryGetWmiFilter ()", ActionHandler_HardwareInventoryGetWmiFilter},
    {"HardwareInventoryQuery ()", ActionHandler_HardwareInventoryQuery},
    {"HardwareAuditNow ()", ActionHandler_HardwareAuditNow},
    {"HardwareAssign ()", ActionHandler_HardwareAssign},
    {"HardwareInventoryInventoryReset ()", ActionHandler_HardwareInventoryReset},
};

struct Subscription {
  const char* event;
  const char* action;
};

constexpr Subscription kSubscriptions[] = {
    {"FileStoreCallbackReceivedFile", "HardwareReceiveFile (container Values)"},
    {"IdentityCallbackGUIDAvailable", "HardwareInvGUIDCallback (string GUID)"},
};

struct DataFile {
  KorString& path;
  const char* name;
};

const DataFile kDataFiles[] = {
    {strModuleFilterFileStd, "hwinvcfg.xml"},
    {strModuleFilterFileTmp, "hwinvcfg_tmp.xml"},
    {strModuleFilterFileNet, "hwinvcfg_net.xml"},
    {strModuleWorkDataFile, "HardwareInventoryWork.xml"},
    {strModuleLastDataFile, "HardwareInventoryLast.xml"},
    {strModuleDiffDataFile, "HardwareInventoryDiff.xml"},
    {strModuleSentDataFile, "HardwareInventorySent.xml"},
    {strModuleUpldDataFile, "HardwareInventoryUpld.xml"},
    {strModuleLastDumpFile, "HardwareInventoryLast.sqlite3"},
};

// No exception of a handler reaches the host. What unwinds a thread that is cancelled by force is
// none: it has to reach the thread's own end.
uint32_t RunHandler(const Action& action, KorContainer* container) {
  try {
    return action.handler(container);
  } catch (const std::exception& error) {
    debugInv.ErrorWithNL("Action '%s' failed: %s", action.signature, KorReasonOf(error));
    return ACTIONDB_ERROR_FAILURE;
  }
}

// The host's folders end with a separator; one that does not is taken as it is.
void ComputePaths() {
  KorString configDir;
  KorAgentGetConfigDir(configDir);
  strModuleIniFile = configDir + kModuleName + ".ini";
  KorString dataDir;
  KorAgentGetDataDir(dataDir);
  strModuleDataPath = dataDir + kModuleName;
  PathCreate(strModuleDataPath);
  for (const DataFile& file : kDataFiles) file.path = strModuleDataPath + "/" + file.name;
}

void ClearFlags() KOR_EXCLUDES(mutexInv) {
  const KorMutexLock lock(mutexInv);
  fRunningInv = false;
  fUploadRequested = false;
  fWithError = false;
}

}  // namespace

uint64_t ModuleRegister(const void* handle) {
  debugInv.SetContext(KorAgentGetDebugContext());
  debugInv.TraceWithNL("Module Register starting");
  for (const Action& action : kActions) {
    ActionDbRegisterAction(
        action.signature,
        [&action](KorContainer* container) { return RunHandler(action, container); }, handle);
  }
  for (const Subscription& subscription : kSubscriptions) {
    CallbackDbRegisterAction(subscription.event, subscription.action, "");
  }
  return kModuleSuccess;
}

uint64_t ModuleInitialise() {
  debugInv.TraceWithNL("Module Initialise starting");
  ComputePaths();
  ClearFlags();
  if (!hwConfig.Synchronize(true)) {
    debugInv.ErrorWithNL("Failed to make the configuration object thread safe");
    return kNotThreadSafe;
  }
  if (!ReloadConfiguration()) debugInv.WarningWithNL("Failed to reload the configuration");
  return kModuleSuccess;
}

uint64_t ModuleActivate() {
  debugInv.TraceWithNL("Module Activate starting");
  SetUploadTimer(hwConfig.GetUploadInterval(true));
  StartFirstInventory();
  return kModuleSuccess;
}

uint64_t ModuleCleanup(uint16_t) {
  debugInv.TraceWithNL("Module Cleanup starting");
  threadInv.Cancel(kCancelMilliseconds, true);
  return kModuleSuccess;
}

uint64_t ModuleUnregister(uint16_t) {
  debugInv.TraceWithNL("Module Unregister starting");
  for (const Subscription& subscription : kSubscriptions) {
    CallbackDbDeleteAction(subscription.event, subscription.action, "");
  }
  return kModuleSuccess;
}

uint64_t ModuleSuspend() {
  return kModuleSuccess;
}

bool ReloadConfiguration() {
  hwConfig.Reset();
  return hwConfig.Read(strModuleIniFile, kConfigAll);
}

}  // namespace HardwareInventory
