#include "hardware/config/hardware_config.h"

#include "hardware/module/identity.h"
#include "kor/file.h"

#include <algorithm>
#include <limits>
#include <new>
#include <optional>

namespace HardwareInventory {
namespace {

constexpr const char* kSection = "HardwareInventory";

constexpr const char* kLastInventorySentKey = "LastInventorySent";
constexpr const char* kTranslationFileKey = "TranslationFile";
constexpr const char* kUploadIntervalKey = "UploadInterval";
constexpr const char* kUploadOnStartupKey = "UploadOnStartup";
constexpr const char* kUploadGapKey = "UploadGap";
// Existing INI files and callers spell it so.
constexpr const char* kDifferentialUploadKey = "DifferencialUpload";

constexpr uint32_t kDefaultLastInventorySent = 0;
constexpr uint32_t kDefaultUploadInterval = 3600;
constexpr bool kDefaultUploadOnStartup = true;
constexpr uint32_t kDefaultUploadGap = 0;
constexpr bool kDefaultDifferentialUpload = true;

// Holds the mutex to the end of the scope, if there is one and it is wanted.
class OptionalLock {
 public:
  explicit OptionalLock(KorMutex* mutex, bool wanted = true) {
    if (mutex != nullptr && wanted) held.emplace(*mutex);
  }

 private:
  std::optional<KorMutexLock> held;
};

const char* YesNo(bool value) {
  return value ? "yes" : "no";
}

bool ReadFlag(const IniFile& ini, const char* key, bool defaultValue) {
  bool value = defaultValue;
  ini.GetEntryValue(kSection, key, value, defaultValue);
  return value;
}

}  // namespace

HardwareConfig::HardwareConfig() : debug(kModuleName, kModuleDescription) {
  RestoreDefaults();
}

HardwareConfig::~HardwareConfig() = default;

void HardwareConfig::SetDebugContext(KorDebugContext* context) {
  if (context != nullptr) debug.SetContext(context);
}

void HardwareConfig::RestoreDefaults() {
  SetLastInventorySent(kDefaultLastInventorySent, false);
  SetTranslationFile(kDefaultTranslationFile, false);
  SetUploadInterval(kDefaultUploadInterval, false);
  SetUploadOnStartup(kDefaultUploadOnStartup, false);
  SetUploadGap(kDefaultUploadGap, false);
  SetDifferentialUpload(kDefaultDifferentialUpload, false);
}

void HardwareConfig::Reset() {
  const OptionalLock held(lock.get());
  RestoreDefaults();
}

bool HardwareConfig::Synchronize(bool on) {
  if (!on) {
    lock.reset();
    return true;
  }
  if (lock != nullptr) return true;
  try {
    lock = std::make_unique<KorMutex>();
  } catch (const std::bad_alloc&) {
    debug.ErrorWithNL("Memory error");
    return false;
  }
  return true;
}

uint32_t HardwareConfig::GetLastInventorySent(bool takeLock) const {
  const OptionalLock held(lock.get(), takeLock);
  return lastInventorySent;
}

void HardwareConfig::SetLastInventorySent(uint32_t value, bool takeLock) {
  const OptionalLock held(lock.get(), takeLock);
  lastInventorySent = value;
}

KorString HardwareConfig::GetTranslationFile(bool takeLock) const {
  const OptionalLock held(lock.get(), takeLock);
  return translationFile;
}

void HardwareConfig::SetTranslationFile(const KorString& value, bool takeLock) {
  const OptionalLock held(lock.get(), takeLock);
  translationFile = value;
}

uint32_t HardwareConfig::GetUploadInterval(bool takeLock) const {
  const OptionalLock held(lock.get(), takeLock);
  return uploadInterval;
}

void HardwareConfig::SetUploadInterval(uint32_t value, bool takeLock) {
  const OptionalLock held(lock.get(), takeLock);
  uploadInterval = value;
}

bool HardwareConfig::GetUploadOnStartup(bool takeLock) const {
  const OptionalLock held(lock.get(), takeLock);
  return uploadOnStartup;
}

void HardwareConfig::SetUploadOnStartup(bool value, bool takeLock) {
  const OptionalLock held(lock.get(), takeLock);
  uploadOnStartup = value;
}

uint32_t HardwareConfig::GetUploadGap(bool takeLock) const {
  const OptionalLock held(lock.get(), takeLock);
  return uploadGap;
}

void HardwareConfig::SetUploadGap(uint32_t value, bool takeLock) {
  const OptionalLock held(lock.get(), takeLock);
  uploadGap = value;
}

bool HardwareConfig::GetDifferentialUpload(bool takeLock) const {
  const OptionalLock held(lock.get(), takeLock);
  return differentialUpload;
}

void HardwareConfig::SetDifferentialUpload(bool value, bool takeLock) {
  const OptionalLock held(lock.get(), takeLock);
  differentialUpload = value;
}

uint32_t HardwareConfig::ReadNumber(const IniFile& ini, const char* key, uint32_t defaultValue,
                                    KorFormatString<uint32_t> complaint) {
  int64_t value = defaultValue;
  ini.GetEntryValue(kSection, key, value, static_cast<int64_t>(defaultValue));
  if (value < 0) {
    debug.WarningWithNL(complaint, defaultValue);
    return defaultValue;
  }
  constexpr int64_t kMost = std::numeric_limits<uint32_t>::max();
  return static_cast<uint32_t>(std::min(value, kMost));
}

bool HardwareConfig::Read(const KorString& path, uint32_t mask) {
  const OptionalLock held(lock.get());
  if (!FileExists(path)) {
    debug.ErrorWithNL("File '%S' does not exist", path);
    return false;
  }
  const IniFile ini(path);
  if (mask & kConfigLastInventorySent) {
    SetLastInventorySent(ReadNumber(ini, kLastInventorySentKey, kDefaultLastInventorySent,
                                    "Bad last upload, using default (%u)"),
                         false);
  }
  if (mask & kConfigTranslationFile) {
    KorString value;
    ini.GetEntryValue(kSection, kTranslationFileKey, value, kDefaultTranslationFile);
    SetTranslationFile(value, false);
  }
  if (mask & kConfigUploadInterval) {
    SetUploadInterval(ReadNumber(ini, kUploadIntervalKey, kDefaultUploadInterval,
                                 "Bad upload interval, using default (%u)"),
                      false);
  }
  if (mask & kConfigUploadOnStartup) {
    SetUploadOnStartup(ReadFlag(ini, kUploadOnStartupKey, kDefaultUploadOnStartup), false);
  }
  if (mask & kConfigUploadGap) {
    SetUploadGap(
        ReadNumber(ini, kUploadGapKey, kDefaultUploadGap, "Bad upload gap, using default (%u)"),
        false);
  }
  if (mask & kConfigDifferentialUpload) {
    SetDifferentialUpload(ReadFlag(ini, kDifferentialUploadKey, kDefaultDifferentialUpload), false);
  }
  return true;
}

bool HardwareConfig::Read(const KorContainer& container, uint32_t mask) {
  const OptionalLock held(lock.get());
  if (mask & kConfigTranslationFile) container.GetString(kTranslationFileKey, translationFile);
  int32_t number = 0;
  if ((mask & kConfigUploadInterval) && container.GetInt32(kUploadIntervalKey, number)) {
    SetUploadInterval(static_cast<uint32_t>(number), false);
  }
  if (mask & kConfigUploadOnStartup) container.GetBool(kUploadOnStartupKey, uploadOnStartup);
  if ((mask & kConfigUploadGap) && container.GetInt32(kUploadGapKey, number)) {
    SetUploadGap(static_cast<uint32_t>(number), false);
  }
  if (mask & kConfigDifferentialUpload) {
    container.GetBool(kDifferentialUploadKey, differentialUpload);
  }
  return true;
}

bool HardwareConfig::Write(const KorString& path, uint32_t mask) {
  const OptionalLock held(lock.get());
  IniFile ini(path);
  if (mask & kConfigLastInventorySent) {
    ini.SetEntryValue(kSection, kLastInventorySentKey, static_cast<int64_t>(lastInventorySent));
  }
  if (mask & kConfigTranslationFile) {
    ini.SetEntryValue(kSection, kTranslationFileKey, translationFile);
  }
  if (mask & kConfigUploadInterval) {
    ini.SetEntryValue(kSection, kUploadIntervalKey, static_cast<int64_t>(uploadInterval));
  }
  if (mask & kConfigUploadOnStartup) {
    ini.SetEntryValue(kSection, kUploadOnStartupKey, KorString(YesNo(uploadOnStartup)));
  }
  if (mask & kConfigUploadGap) {
    ini.SetEntryValue(kSection, kUploadGapKey, static_cast<int64_t>(uploadGap));
  }
  if (mask & kConfigDifferentialUpload) {
    ini.SetEntryValue(kSection, kDifferentialUploadKey, KorString(YesNo(differentialUpload)));
  }
  return true;
}

bool HardwareConfig::Write(KorContainer& container, uint32_t mask) const {
  const OptionalLock held(lock.get());
  if (mask & kConfigTranslationFile) container.SetString(kTranslationFileKey, translationFile);
  if (mask & kConfigUploadInterval) {
    container.SetInt32(kUploadIntervalKey, static_cast<int32_t>(uploadInterval));
  }
  if (mask & kConfigUploadOnStartup) container.SetBool(kUploadOnStartupKey, uploadOnStartup);
  if (mask & kConfigUploadGap) {
    container.SetInt32(kUploadGapKey, static_cast<int32_t>(uploadGap));
  }
  if (mask & kConfigDifferentialUpload) {
    container.SetBool(kDifferentialUploadKey, differentialUpload);
  }
  return true;
}

}  // namespace HardwareInventory
