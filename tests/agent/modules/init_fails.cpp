// A module that cannot be initialised.

#include <cstdint>

extern "C" uint64_t ModuleMain(uint32_t command, uint64_t argument, char* buffer);

extern "C" uint64_t ModuleMain(uint32_t command, uint64_t, char*) {
  return command == 3 ? 2 : 1;
}
