// An inventory document as JSON, for people and scripts.

#pragma once

#include <string>

#include "korcore/obj_inv.h"

namespace agent {

// The name, and the classes with their attribute definitions and instances, in the document's
// order. Bytes that are not UTF-8 become U+FFFD. Ends with a line end.
std::string DocumentToJson(const ObjInv& document);

// One definition, as it stands in there.
std::string DefinitionToJson(const ObjDefinition& definition);

}  // namespace agent
