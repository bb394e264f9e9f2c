#include "agent/delivery_meaning.h"

#include "kor/string.h"
#include "korcore/action_db.h"

namespace agent {

KorContainer BeginMeaning(const char* kind) {
  KorContainer meaning;
  meaning.SetString("Kind", kind);
  KorContainer identity;
  KorString guid;
  ActionDbInvokeContainer("", "IdentityGetGUID", identity, 0, -1, -1, 0);
  if (identity.GetString("GUID", guid)) meaning.SetString("DeviceGUID", guid);
  return meaning;
}

void ParameterReader::Check(const char* key, bool read) {
  if (!read && container.CountValues(key) != -1) wrongType = true;
}

KorString ParameterReader::String(const char* key, const KorString& byDefault) {
  KorString value = byDefault;
  Check(key, container.GetString(key, value));
  return value;
}

bool ParameterReader::Bool(const char* key, bool byDefault) {
  bool value = byDefault;
  Check(key, container.GetBool(key, value));
  return value;
}

int32_t ParameterReader::Int32(const char* key, int32_t byDefault) {
  int32_t value = byDefault;
  Check(key, container.GetInt32(key, value));
  return value;
}

KorContainer ParameterReader::Container(const char* key) {
  KorContainer value;
  Check(key, container.GetContainer(key, value));
  return value;
}

}  // namespace agent
