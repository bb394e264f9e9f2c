// The classes and values that a report knows by name, where a document has them.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "korcore/obj_inv.h"

namespace agent {

// Without blanks around it; empty where the instance has no such value.
std::string KnownValue(const ObjInst& instance, const char* attribute);
std::optional<uint64_t> KnownNumber(const ObjInst& instance, const char* attribute);

// Of the class's first instance.
std::string FirstValue(const ObjInv& document, const char* type, const char* attribute);
std::optional<uint64_t> FirstNumber(const ObjInv& document, const char* type,
                                    const char* attribute);

// None where the document has no such class.
std::vector<const ObjInst*> InstancesOf(const ObjInv& document, const char* type);

}  // namespace agent
