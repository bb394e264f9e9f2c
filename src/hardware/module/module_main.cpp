#include "hardware/module/module_main.h"

#include "hardware/module/globals.h"
#include "hardware/module/identity.h"
#include "hardware/module/lifecycle.h"
#include "kor/reason.h"

#include <cstring>
#include <exception>

namespace HardwareInventory {
namespace {

constexpr uint32_t kRegister = 1;
constexpr uint32_t kUnregister = 2;
constexpr uint32_t kInitialise = 3;
constexpr uint32_t kActivate = 4;
constexpr uint32_t kCleanup = 5;
constexpr uint32_t kDescribe = 6;
constexpr uint32_t kTellVersion = 7;
constexpr uint32_t kSuspend = 9;

constexpr uint64_t kFailed = 2;
constexpr uint64_t kUnknownCommand = 5;

// The caller answers for the room in its buffer: the interface carries no length.
uint64_t CopyOut(const char* text, char* buf) {
  std::strcpy(buf, text);
  return kModuleSuccess;
}

uint64_t TellVersion(char* buf) {
  KorString version;
  version.Printf("%u.%u.%s.%s - %s - %s", kMajorVersion, kMinorVersion, kPatchVersion,
                 szBuildNumber, kBuildDate, kBuildTime);
  return CopyOut(version.CStr(), buf);
}

uint64_t RunCommand(uint32_t cmd, uint64_t arg, char* buf) {
  const auto code = static_cast<uint16_t>(arg);
  switch (cmd) {
    case kRegister:
      return ModuleRegister(buf);
    case kUnregister:
      return ModuleUnregister(code);
    case kInitialise:
      return ModuleInitialise();
    case kActivate:
      return ModuleActivate();
    case kCleanup:
      return ModuleCleanup(code);
    case kDescribe:
      return CopyOut(kModuleDescription, buf);
    case kTellVersion:
      return TellVersion(buf);
    case kSuspend:
      return ModuleSuspend();
    default:
      return kUnknownCommand;
  }
}

}  // namespace
}  // namespace HardwareInventory

uint64_t ModuleMain(uint32_t cmd, uint64_t arg, char* buf) {
  try {
    return HardwareInventory::RunCommand(cmd, arg, buf);
  } catch (const std::exception& error) {
    HardwareInventory::debugInv.ErrorWithNL("Command %u failed: %s", cmd, KorReasonOf(error));
    return HardwareInventory::kFailed;
  }
}
