// The handlers of the general actions. Each takes the action's parameters and gives its results in
// the same container, and answers a code of the action database (korcore/action_db.h) unless
// something else is said. They may be called from several threads at once, with mutexInv not held.

#pragma once

#include "hardware/module/globals.h"
#include "kor/container.h"

#include <cstdint>

namespace HardwareInventory {

// Settings.
uint32_t ActionHandler_HardwareSetValues(KorContainer* container);
uint32_t ActionHandler_HardwareGetValues(KorContainer* container);

// Runs and uploads.
uint32_t ActionHandler_HardwareStartInventory(KorContainer* container) KOR_EXCLUDES(mutexInv);
// Also the timer's action. Without parameters it sends at once and unconditionally.
uint32_t ActionHandler_HardwareUploadInventory(KorContainer* container) KOR_EXCLUDES(mutexInv);
// Makes the next upload a whole one, and starts it when "FileType" is "Upload".
uint32_t ActionHandler_HardwareInventoryReset(KorContainer* container) KOR_EXCLUDES(mutexInv);
// The identity module has a GUID: does what had to wait for it.
uint32_t ActionHandler_HardwareInvGUIDCallback(KorContainer* container) KOR_EXCLUDES(mutexInv);

// The translation file and the server. Sends the checksum of the local translation file.
uint32_t ActionHandler_HardwareSendSyncInfo(KorContainer* container);
// Answers a code of the file store (actions/file_store_codes.h).
uint32_t ActionHandler_HardwareReceiveFile(KorContainer* container) KOR_EXCLUDES(mutexInv);

// Questions.
uint32_t ActionHandler_HardwareInventoryWithError(KorContainer* container) KOR_EXCLUDES(mutexInv);
uint32_t ActionHandler_HardwareInventoryQuery(KorContainer* container) KOR_EXCLUDES(mutexInv);
// Scans without storing or sending anything.
uint32_t ActionHandler_HardwareAuditNow(KorContainer* container) KOR_EXCLUDES(mutexInv);

}  // namespace HardwareInventory
