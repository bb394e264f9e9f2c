// A differential as lines, for people.

#pragma once

#include <string>

#include "korcore/obj_inv.h"

namespace agent {

// A line for each thing that changed, below the line of what it belongs to. Each begins with "+"
// (added), "-" (removed), "~" (modified) or ">" (moved). In colours if wanted; what is not text is
// escaped (agent/display_text.h).
std::string DifferenceToText(const ObjInv& difference, bool inColour);

// ": " and what a definition says, of a modified one what it says otherwise than before; empty when
// that is nothing. What is not text is escaped.
std::string DefinitionText(const ObjTypeAttr& attribute);

// Whether standard output is a terminal whose user wants colours (NO_COLOR, TERM).
bool StandardOutputWantsColour();

}  // namespace agent
