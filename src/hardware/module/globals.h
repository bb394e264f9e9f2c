// The module's globals. All stand in one source, since their order of construction matters: the
// worker thread goes before the lock, the configuration and the logger that it uses.

#pragma once

#include "hardware/config/hardware_config.h"
#include "hardware/inventory/hardware_thread.h"
#include "kor/debug.h"
#include "kor/mutex.h"
#include "kor/string.h"
#include "kor/thread_annotations.h"

namespace HardwareInventory {

// Every message of the module goes through it, save those of the configuration object.
extern KorDebug debugInv;

// Empty until ModuleInitialise fills them; not changed after that.
extern KorString strModuleIniFile;
extern KorString strModuleDataPath;
extern KorString strModuleFilterFileStd;
extern KorString strModuleFilterFileTmp;
extern KorString strModuleFilterFileNet;
extern KorString strModuleWorkDataFile;
extern KorString strModuleLastDataFile;
extern KorString strModuleDiffDataFile;
extern KorString strModuleSentDataFile;
extern KorString strModuleUpldDataFile;
extern KorString strModuleLastDumpFile;

extern HardwareConfig hwConfig;

// Guards the three flags, the inventory files in the data folder, the translation file while it is
// resolved, loaded or replaced, and the whole of an upload. Never held across a scan.
extern KorMutex mutexInv;

extern HardwareThread threadInv;

// A run is started or going on.
extern bool fRunningInv KOR_GUARDED_BY(mutexInv);
// The next run uploads whatever its own flags say.
extern bool fUploadRequested KOR_GUARDED_BY(mutexInv);
// True when the last run ended successfully: the name says the opposite of the value, and callers
// of "HardwareInventoryWithError" rely on the value.
extern bool fWithError KOR_GUARDED_BY(mutexInv);

}  // namespace HardwareInventory
