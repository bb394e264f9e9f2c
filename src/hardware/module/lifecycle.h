// The lifecycle commands of the module, in the order in which the host gives them: register,
// initialise, activate; at the end clean up and unregister. They come on one thread of the host.

#pragma once

#include "hardware/module/globals.h"

#include <cstdint>

namespace HardwareInventory {

inline constexpr uint64_t kModuleSuccess = 1;

// Registers the module's actions under the host's handle and subscribes to the events of other
// modules.
uint64_t ModuleRegister(const void* handle);

// Computes the paths, and makes the configuration thread-safe and reads it. 2 when the
// configuration cannot be made thread-safe.
uint64_t ModuleInitialise() KOR_EXCLUDES(mutexInv);

// Sets the upload timer and asks for the first run.
uint64_t ModuleActivate() KOR_EXCLUDES(mutexInv);

// Ends the worker thread. The code is ignored.
uint64_t ModuleCleanup(uint16_t code) KOR_EXCLUDES(mutexInv);

// Removes the subscriptions; the actions stay until the host drops the module. The code is ignored.
uint64_t ModuleUnregister(uint16_t code);

// Nothing.
uint64_t ModuleSuspend();

// The defaults, then what the INI file says. False when there is no INI file.
bool ReloadConfiguration();

}  // namespace HardwareInventory
