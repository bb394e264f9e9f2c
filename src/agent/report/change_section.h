// What changed in an inventory, as one table.

#pragma once

#include <cstddef>

#include "agent/report/html_writer.h"
#include "korcore/obj_inv.h"

namespace agent {

// How many rows the table has.
size_t CountChanges(const ObjInv& marked);

// The rows of a merge: one for each value, definition, instance or class that changed; what is
// within something added or removed has no rows of its own.
void WriteChangeTable(const ObjInv& marked, HtmlWriter& html);

}  // namespace agent
