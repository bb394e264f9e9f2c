// What the DHCP client's lease file tells about interfaces.

#pragma once

#include <vector>

#include "kor/string.h"

namespace HardwareInventory {

// One lease block that names an interface. Server and domain may be empty.
struct DhcpLease {
  KorString interfaceName;
  KorString server;
  KorString domain;
};

// The leases of the running DHCP client in the order of its file.
std::vector<DhcpLease> ReadDhcpLeases();

// The earliest lease of that interface, even where later ones are newer; null without one.
const DhcpLease* EarliestLease(const std::vector<DhcpLease>& leases,
                               const KorString& interfaceName);

}  // namespace HardwareInventory
