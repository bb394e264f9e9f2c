#include "agent/identity.h"

#include <sys/stat.h>
#include <uuid/uuid.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <exception>

#include "kor/container.h"
#include "kor/debug.h"
#include "kor/file.h"
#include "kor/ini_file.h"
#include "kor/reason.h"
#include "korcore/action_db.h"
#include "korcore/callback_db.h"

namespace agent {
namespace {

constexpr const char* kSection = "Identity";
constexpr const char* kKey = "GUID";
constexpr size_t kLargestFile = size_t{1024} * 1024;

KorString MakeGuid() {
  uuid_t bytes;
  uuid_generate_random(bytes);
  std::array<char, UUID_STR_LEN> text = {};
  uuid_unparse_lower(bytes, text.data());
  return {text.data()};
}

bool IsGuid(const KorString& text) {
  uuid_t bytes;
  return text.GetLength() == UUID_STR_LEN - 1 && uuid_parse(text.CStr(), bytes) == 0 &&
         uuid_is_null(bytes) == 0;
}

Result<KorString> MakeAndStoreGuid(const KorString& file) {
  const KorString guid = MakeGuid();
  if (IniFile(file).SetEntryValue(kSection, kKey, guid)) return guid;
  return Failure{KorString("the device's identity cannot be stored in '") + file + "'"};
}

Failure NotReadable(const KorString& file, const KorString& reason) {
  return Failure{"the device's identity in '" + file + "' cannot be read: " + reason};
}

// Where a link leads may come back, as a file system that is not mounted yet.
Result<KorString> MakeFirstGuid(const KorString& file) {
  struct stat status;
  if (lstat(file.CStr(), &status) == 0) {
    return NotReadable(file, "it is a link that leads nowhere");
  }
  return MeansMissing(errno) ? MakeAndStoreGuid(file) : NotReadable(file, std::strerror(errno));
}

}  // namespace

Result<KorString> LoadOrMakeGuid(const KorString& file) {
  std::string content;
  KorString error;
  if (!FileReadAll(file, content, error, kLargestFile)) {
    return MeansMissing(errno) ? MakeFirstGuid(file) : NotReadable(file, error);
  }
  const IniFile stored(file);
  if (!stored.Error().IsEmpty()) return NotReadable(file, stored.Error());
  KorString guid;
  stored.GetEntryValue(kSection, kKey, guid, KorString());
  if (IsGuid(guid)) return guid;
  const KorString aside = file + ".damaged";
  KorFrameworkLog().WarningWithNL(
      "The device's identity in '%S' is damaged (GUID '%S'): a new one is made, the file is kept "
      "as '%S'",
      file, guid, aside);
  if (!FileRename(file, aside)) {
    return Failure{KorString("the damaged file '") + file + "' cannot be set aside"};
  }
  return MakeAndStoreGuid(file);
}

Identity::Identity(const KorString& guidFile, const KorString& deviceTopology,
                   std::chrono::milliseconds retryInterval)
    : file(guidFile), interval(retryInterval), topology(deviceTopology) {
  ActionDbRegisterAction(
      "IdentityGetGUID ()", [this](KorContainer* container) { return Answer(*container); }, this);
  ActionDbRegisterAction(
      "IdentityGetDeviceTopology ()",
      [this](KorContainer* container) {
        const KorMutexLock lock(mutex);
        container->Clear();
        container->SetString("Topology", topology);
        return ACTIONDB_ERROR_SUCCESS;
      },
      this);
  if (!Load()) retry = std::thread([this] { Retry(); });
}

Identity::~Identity() {
  {
    const KorMutexLock lock(mutex);
    stopping = true;
    changed.NotifyAll();
  }
  if (retry.joinable()) retry.join();
  ActionDbDropModule(this);
}

void Identity::Reload(const KorString& newTopology) {
  const KorMutexLock lock(mutex);
  topology = newTopology;
  retryNow = true;
  changed.NotifyAll();
}

uint32_t Identity::Answer(KorContainer& container) {
  const KorMutexLock lock(mutex);
  container.Clear();
  if (!guid.IsEmpty()) container.SetString("GUID", guid);
  return ACTIONDB_ERROR_SUCCESS;
}

bool Identity::Load() {
  const Result<KorString> loaded = LoadOrMakeGuid(file);
  const KorMutexLock lock(mutex);
  if (loaded.IsOk()) {
    guid = loaded.Value();
    return true;
  }
  if (loggedReason != loaded.Reason()) {
    loggedReason = loaded.Reason();
    KorFrameworkLog().ErrorWithNL("Without an identity no inventory is made: %S", loggedReason);
  }
  return false;
}

void Identity::Retry() {
  bool isOver = false;
  while (!isOver) {
    try {
      RetryUntilAvailable();
      isOver = true;
    } catch (const std::exception& error) {
      KorFrameworkLog().ErrorWithNL("Without an identity no inventory is made: %s",
                                    KorReasonOf(error));
    }
  }
}

void Identity::RetryUntilAvailable() {
  do {
    const auto next = std::chrono::steady_clock::now() + interval;
    const KorMutexLock lock(mutex);
    while (!stopping && !retryNow && changed.WaitUntil(mutex, next)) {
    }
    if (stopping) return;
    retryNow = false;
  } while (!Load());
  KorContainer event;
  {
    const KorMutexLock lock(mutex);
    event.SetString("GUID", guid);
  }
  CallbackDbRaise("IdentityCallbackGUIDAvailable", event);
}

}  // namespace agent
