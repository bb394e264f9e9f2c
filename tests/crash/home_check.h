// What must hold of a home whatever happened to the agent that worked in it.

#pragma once

#include <filesystem>

#include "accepted_items.h"

// Complains of inventory files and databases that are not whole, of what was accepted for delivery
// and is lost, damaged or out of order, and of more temporary files than a single end can leave.
// With `isClean`, after a run that ended well, also of anything that waits or is half-written.
void CheckHome(const std::filesystem::path& home, bool isClean, const Complain& complain);
