// An inventory document as tables, for people.

#pragma once

#include <string>

#include "agent/text_table.h"
#include "korcore/obj_inv.h"

namespace agent {

// A table for each class: one line per instance where that fits the width, else one line per value.
// What is not text is escaped (agent/display_text.h).
std::string DocumentToTables(const ObjInv& document, const TableLayout& layout);

}  // namespace agent
