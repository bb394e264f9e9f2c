// The entry point: the only symbol that the module exports.

#pragma once

#include <cstdint>

// Runs one lifecycle command. `buf` is the module handle for command 1, a text buffer that is large
// enough for commands 6 and 7, and unused otherwise. 5 for a command that there is not. No
// exception leaves it, save the unwinding of a calling KorThread that is cancelled by force.
extern "C" __attribute__((visibility("default"))) uint64_t ModuleMain(uint32_t cmd, uint64_t arg,
                                                                      char* buf);
