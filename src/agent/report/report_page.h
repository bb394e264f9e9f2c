// An inventory as one HTML page that needs nothing else.

#pragma once

#include <string>

#include "korcore/obj_inv.h"

namespace agent {

struct Report {
  // A whole inventory, without marks.
  const ObjInv& inventory;
  // The same with its changes laid in; null where there is nothing to compare with.
  const ObjInv* marked = nullptr;
  std::string made;     // when the inventory was made, as a text
  std::string changes;  // what the changes are since, or why there are none to show
};

// Looks the same everywhere: no other file, no font, no address is asked for, and a reader without
// scripts misses only search, sorting and the switch of colours. Equal reports give equal pages.
std::string ReportPage(const Report& report);

}  // namespace agent
