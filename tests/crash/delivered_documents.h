// What the server makes of the inventories that it was sent.

#pragma once

#include <filesystem>

#include "accepted_items.h"

// Makes the inventory of the device out of whole inventories and differentials, in the order of the
// items, and complains where that does not give what the checksums promise, or where the agent
// believes it has sent something that was never accepted.
void CheckDocuments(const AcceptedItems& items, const std::filesystem::path& dataFolder,
                    const Complain& complain);
