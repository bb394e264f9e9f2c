// The module's six persisted settings.

#pragma once

#include <cstdint>
#include <memory>

#include "kor/container.h"
#include "kor/debug.h"
#include "kor/format.h"
#include "kor/ini_file.h"
#include "kor/mutex.h"
#include "kor/string.h"

namespace HardwareInventory {

// The setting that names the default translation file, relative to the configuration folder.
inline constexpr const char* kDefaultTranslationFile = "../data/HardwareInventory/hwinvcfg.xml";

// The bits that select settings in the masks of Read and Write.
inline constexpr uint32_t kConfigLastInventorySent = 1;
inline constexpr uint32_t kConfigTranslationFile = 2;
inline constexpr uint32_t kConfigUploadInterval = 4;
inline constexpr uint32_t kConfigUploadOnStartup = 8;
inline constexpr uint32_t kConfigUploadGap = 16;
inline constexpr uint32_t kConfigDifferentialUpload = 32;
inline constexpr uint32_t kConfigAll = 63;

// Without a lock (as constructed) the object belongs to one thread; after Synchronize(true) all
// operations but Synchronize may be called from several threads, and whole reads and writes are
// atomic with respect to each other.
//
// `takeLock` is true from outside; only code that holds the object's lock passes false.
class HardwareConfig {
 public:
  HardwareConfig();
  virtual ~HardwareConfig();
  HardwareConfig(const HardwareConfig&) = delete;
  HardwareConfig& operator=(const HardwareConfig&) = delete;

  // Null leaves the context as it is.
  void SetDebugContext(KorDebugContext* context);

  // Back to the defaults.
  void Reset();

  // Makes or destroys the lock; not while another thread uses the object. False without memory.
  bool Synchronize(bool on);

  uint32_t GetLastInventorySent(bool takeLock) const;
  void SetLastInventorySent(uint32_t value, bool takeLock);
  KorString GetTranslationFile(bool takeLock) const;
  void SetTranslationFile(const KorString& value, bool takeLock);
  uint32_t GetUploadInterval(bool takeLock) const;
  void SetUploadInterval(uint32_t value, bool takeLock);
  bool GetUploadOnStartup(bool takeLock) const;
  void SetUploadOnStartup(bool value, bool takeLock);
  uint32_t GetUploadGap(bool takeLock) const;
  void SetUploadGap(uint32_t value, bool takeLock);
  bool GetDifferentialUpload(bool takeLock) const;
  void SetDifferentialUpload(bool value, bool takeLock);

  // The settings of the mask from an INI file; missing entries take their defaults. False, and
  // nothing changes, when there is no such file.
  bool Read(const KorString& path, uint32_t mask);
  // The settings of the mask that the container holds, unchecked; the time of the last upload is
  // never taken. Always true.
  bool Read(const KorContainer& container, uint32_t mask);

  // The settings of the mask to an INI file. Always true: failures to write go unnoticed.
  bool Write(const KorString& path, uint32_t mask);
  // The settings of the mask into the container, without the time of the last upload. Always true.
  bool Write(KorContainer& container, uint32_t mask) const;

 private:
  uint32_t ReadNumber(const IniFile& ini, const char* key, uint32_t defaultValue,
                      KorFormatString<uint32_t> complaint);
  void RestoreDefaults();

  KorDebug debug;
  std::unique_ptr<KorMutex> lock;
  uint32_t lastInventorySent = 0;
  KorString translationFile;
  uint32_t uploadInterval = 0;
  bool uploadOnStartup = false;
  uint32_t uploadGap = 0;
  bool differentialUpload = false;
};

}  // namespace HardwareInventory
