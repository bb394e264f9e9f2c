// The upload pipeline: decides whether the latest inventory is sent to the server, whole or as a
// differential, and hands it to the file store.

#pragma once

#include "hardware/module/globals.h"
#include "kor/string.h"

class ObjInv;

namespace HardwareInventory {

// Whether the configured gap since the last upload is over.
bool IsTimeToSendInventory();

// Sends the document, which is the content of the Last file, and makes that file the Sent file.
// Sends nothing within the gap or when nothing changed, unless forced. False only when the sending
// itself failed; the Last file then stays for the next attempt. Holds mutexInv all the time, calls
// to other modules included. The flags stand in another order than those of StartInventory.
bool ProcessUpload(ObjInv& document, bool differential, bool force, bool bypass)
    KOR_EXCLUDES(mutexInv);

// Saves the document as the Upld file and hands that to the file store.
bool ProcessSend(const ObjInv& document, bool bypass) KOR_REQUIRES(mutexInv);

// Tells the server what became of the entry of an assignment. Takes no lock.
void ProcessUploadStatus(const KorString& status, const KorString& entry);

}  // namespace HardwareInventory
