// What the module says of itself.

#pragma once

#include <cstdint>

namespace HardwareInventory {

inline constexpr const char* kModuleName = "HardwareInventory";
inline constexpr const char* kModuleDescription = "Hardware inventory module (HardwareModule)";

inline constexpr uint32_t kMajorVersion = 11;
inline constexpr uint32_t kMinorVersion = 5;
inline constexpr const char* kPatchVersion = "0";
inline constexpr const char* szBuildNumber = "121004r";
// The server compares these, so they stand for the interface, not for the day of compilation.
inline constexpr const char* kBuildDate = "Oct  4 2012";
inline constexpr const char* kBuildTime = "17:21:41";

inline constexpr uint32_t HWINV_MODULE_NUMBER = 19;
inline constexpr uint32_t HWINV_ERROR_BASE = 19000;

}  // namespace HardwareInventory
