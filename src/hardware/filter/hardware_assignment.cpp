#include "hardware/filter/hardware_assignment.h"

#include "hardware/actions/file_store_codes.h"
#include "hardware/inventory/translation_file.h"
#include "hardware/inventory/upload.h"
#include "kor/file.h"
#include "kor/mutex.h"
#include "kor/tokeniser.h"
#include "korcore/agent_context.h"

namespace HardwareInventory {

namespace {

constexpr const char* kConfigureFailure = "_STATUS_CONFIGUREFAILURE_";

// Where the assigned file goes; false when the configured place is a URL.
bool FindTarget(KorString& path) {
  path = hwConfig.GetTranslationFile(true);
  debugInv.PrintWithNL("Assign or update translation file '%S'", path);
  if (path.IsEmpty()) {
    path = strModuleFilterFileStd;
    debugInv.WarningWithNL("Translation file path is empty, using default '%S'", path);
  }
  if (path.Find("://", 0) != -1) {
    debugInv.ErrorWithNL("Cannot assign translation file configured as URL '%S'", path);
    return false;
  }
  path = AbsoluteTranslationFile(path);
  return true;
}

bool ReplaceFile(const KorString& path, const KorString& content) KOR_REQUIRES(mutexInv) {
  if (FileExists(path) && !FileDelete(path)) {
    debugInv.ErrorWithNL("Failed to remove file '%S'", path);
    return false;
  }
  if (!SaveFileFromString(path, content)) {
    debugInv.ErrorWithNL("Failed to copy the new translation file to '%S'", path);
    return false;
  }
  debugInv.DetailWithNL("New translation file has been copied to '%S'", path);
  return true;
}

}  // namespace

int64_t HardwareAssignment::Assign() {
  return AssignAndUpdate("_STATUS_ASSIGNOK_");
}

int64_t HardwareAssignment::Update() {
  return AssignAndUpdate("_STATUS_UPDATEOK_");
}

int64_t HardwareAssignment::Delete() {
  return FILESTORE_ERROR_HANDLERDELETE;
}

int64_t HardwareAssignment::AssignAndUpdate(const char* okStatus) {
  StringTokeniser tokeniser(GetName(), "_");
  const KorString identifier = tokeniser.NextToken();
  KorString path;
  if (!FindTarget(path)) return Report(kConfigureFailure, identifier);
  // Held until the outcome is reported: a reader of the translation file waits for a whole one, and
  // the reports of two assignments come in the order of their files.
  KorMutexLock lock(mutexInv);
  return Report(ReplaceFile(path, GetRawString()) ? okStatus : kConfigureFailure, identifier);
}

int64_t HardwareAssignment::Report(const char* status, const KorString& identifier) {
  if (KorString(status) == kConfigureFailure) SetFailed();
  ProcessUploadStatus(status, identifier);
  return FILESTORE_ERROR_HANDLERDELETE;
}

uint32_t ActionHandler_HardwareAssign(KorContainer* parameters) {
  HardwareAssignment assignment;
  assignment.Initialise("HardwareInventory", parameters, KorAgentGetDebugContext(), true);
  if (assignment.IsValid()) assignment.PerformAssignment();
  return 0;
}

}  // namespace HardwareInventory
