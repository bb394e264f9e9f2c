// An inventory document as tables, for people.

#pragma once

#include <cstddef>
#include <string>

#include "korcore/obj_inv.h"

namespace agent {

struct TableLayout {
  size_t width = 100;
  // Whether values too long for the width go on in the next line; else they make their line longer.
  bool wrap = false;
};

// A table for each class: one line per instance where that fits the width, else one line per value.
// What is not text is escaped (agent/display_text.h).
std::string DocumentToTables(const ObjInv& document, const TableLayout& layout);

}  // namespace agent
