// Calls to the other modules of this agent, and through them to the server.

#pragma once

#include "kor/container.h"
#include "kor/string.h"

namespace HardwareInventory {

// Invokes an action on this agent; its parameters go in and its results come out in the container.
// True when it answered success.
bool InvokeLocalAction(const KorString& action, KorContainer& container);

// Asks the identity module for the device's GUID. False when the call failed; `guid` is left as it
// was when there is none.
bool AskDeviceGuid(KorString& guid);

// Has an action called on the server, when it can be reached. True when the call was taken.
bool CallServerAction(const KorString& action, const KorContainer& parameters,
                      const KorString& logInfo);

}  // namespace HardwareInventory
