// A differential as JSON, for scripts.

#pragma once

#include <string>

#include "korcore/obj_inv.h"

namespace agent {

// "equal", and the classes with what changed in them, in the differential's order: "change" (added,
// removed, modified; absent for what only moved), "old" and "new" of values and definitions, and
// the "place" and the "oldPlace" of what stands elsewhere. Ends with a line end.
std::string DifferenceToJson(const ObjInv& difference);

}  // namespace agent
