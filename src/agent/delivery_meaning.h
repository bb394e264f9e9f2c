// The fields of a delivery that both queues have in common.

#pragma once

#include "kor/container.h"

namespace agent {

// "Kind", and "DeviceGUID" when this device has one already.
KorContainer BeginMeaning(const char* kind);

// Parameters of an action, read one after another. One that is absent keeps its default; one of
// another type is noted.
class ParameterReader {
 public:
  explicit ParameterReader(const KorContainer& parameters) : container(parameters) {}

  KorString String(const char* key, const KorString& byDefault = KorString());
  bool Bool(const char* key, bool byDefault);
  int32_t Int32(const char* key, int32_t byDefault);
  KorContainer Container(const char* key);

  bool HasWrongType() const { return wrongType; }

 private:
  // Notes a key that is there and could not be read.
  void Check(const char* key, bool read);

  const KorContainer& container;
  bool wrongType = false;
};

}  // namespace agent
