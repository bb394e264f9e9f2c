#include "agent/identity.h"

#include <uuid/uuid.h>

#include <array>

#include "kor/container.h"
#include "kor/debug.h"
#include "kor/file.h"
#include "kor/ini_file.h"
#include "korcore/action_db.h"

namespace agent {
namespace {

constexpr const char* kSection = "Identity";
constexpr const char* kKey = "GUID";

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

}  // namespace

Result<KorString> LoadOrMakeGuid(const KorString& file) {
  if (!FileExists(file)) return MakeAndStoreGuid(file);
  std::string content;
  KorString error;
  if (!FileReadAll(file, content, error)) {
    return Failure{KorString("the device's identity in '") + file + "' cannot be read: " + error};
  }
  KorString guid;
  IniFile(file).GetEntryValue(kSection, kKey, guid, KorString());
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

Identity::Identity(const KorString& guid, const KorString& topology) {
  const auto answer = [](const char* key, const KorString& value) {
    return [key, value](KorContainer* container) {
      container->Clear();
      container->SetString(key, value);
      return ACTIONDB_ERROR_SUCCESS;
    };
  };
  ActionDbRegisterAction("IdentityGetGUID ()", answer("GUID", guid), this);
  ActionDbRegisterAction("IdentityGetDeviceTopology ()", answer("Topology", topology), this);
}

Identity::~Identity() {
  ActionDbDropModule(this);
}

}  // namespace agent
