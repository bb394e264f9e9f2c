#include "hardware/module/globals.h"

#include "hardware/module/identity.h"

namespace HardwareInventory {

KorDebug debugInv(kModuleName, kModuleDescription);

KorString strModuleIniFile;
KorString strModuleDataPath;
KorString strModuleFilterFileStd;
KorString strModuleFilterFileTmp;
KorString strModuleFilterFileNet;
KorString strModuleWorkDataFile;
KorString strModuleLastDataFile;
KorString strModuleDiffDataFile;
KorString strModuleSentDataFile;
KorString strModuleUpldDataFile;
KorString strModuleLastDumpFile;

HardwareConfig hwConfig;

KorMutex mutexInv;

HardwareThread threadInv;

bool fRunningInv = false;
bool fUploadRequested = false;
bool fWithError = false;

}  // namespace HardwareInventory
