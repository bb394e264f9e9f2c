// The drawn part of a report: how full the file systems are, and the memory.

#pragma once

#include "agent/report/html_writer.h"
#include "korcore/obj_inv.h"

namespace agent {

// Whether the document says anything that can be drawn.
bool HasCapacities(const ObjInv& document);

void WriteCapacities(const ObjInv& document, HtmlWriter& html);

}  // namespace agent
