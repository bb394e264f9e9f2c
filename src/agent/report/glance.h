// What a machine is, in a few lines.

#pragma once

#include <string>
#include <vector>

#include "korcore/obj_inv.h"

namespace agent {

struct GlanceItem {
  const char* label;
  std::string value;
  std::vector<std::string> details;  // none of them empty
};

// What the document's classes say of it; an item that none of them speaks of is left out.
std::vector<GlanceItem> Glance(const ObjInv& document);

// The machine's name, else the document's.
std::string MachineName(const ObjInv& document);

}  // namespace agent
