// One class of an inventory as a section of a report.

#pragma once

#include <cstddef>

#include "agent/report/html_writer.h"
#include "korcore/obj_inv.h"

namespace agent {

// A table of the instances, or of the values where there is one instance only; changes are marked,
// with what was there before. The number makes the section's id, "class-N".
void WriteClass(const ObjType& type, size_t number, HtmlWriter& html);

}  // namespace agent
