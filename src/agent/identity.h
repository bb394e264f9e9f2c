// The identity neighbour: who this device is, for the modules that ask.

#pragma once

#include "agent/result.h"
#include "kor/string.h"

namespace agent {

// The device's GUID from the file, made and stored there when the file does not exist. A file
// without a valid GUID is set aside as <file>.damaged, with a warning, and a new GUID is made: an
// agent without a GUID could do nothing at all.
Result<KorString> LoadOrMakeGuid(const KorString& file);

// While it lives, answers the actions "IdentityGetGUID" (key "GUID") and
// "IdentityGetDeviceTopology" (key "Topology").
class Identity {
 public:
  Identity(const KorString& guid, const KorString& topology);
  ~Identity();
  Identity(const Identity&) = delete;
  Identity& operator=(const Identity&) = delete;
};

}  // namespace agent
