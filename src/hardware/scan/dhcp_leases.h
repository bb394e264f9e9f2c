// What the DHCP client's lease file tells about interfaces.

#pragma once

#include <vector>

#include "kor/string.h"

namespace HardwareInventory {

inline constexpr const char* kLeaseInterfacePattern = R"re(interface\s+"([^"]+)")re";
inline constexpr const char* kLeaseDomainPattern = R"re(domain-name\s+"([^"]+)")re";
inline constexpr const char* kLeaseServerPattern = R"re(dhcp-server-identifier\s+([^\s;]+)\s*;)re";

// The file that the running client names on its command line, without comments, only the lines
// that matter.
inline constexpr const char* kDhclientCommand =
    R"sh(cat `pgrep dhclient | xargs -i cat /proc/{}/cmdline | tr '\0' '\n' | grep .lease` | )sh"
    R"sh(cut -d '#' -f1 | grep "[{}]\|interface\|domain-name\|dhcp-server-identifier")sh";

// One lease block that names an interface. Server and domain may be empty.
struct DhcpLease {
  KorString interfaceName;
  KorString server;
  KorString domain;
  KorString block;  // kept only for who asks where the values come from
};

struct DhcpLeases {
  KorString output;  // of the command
  std::vector<DhcpLease> leases;
};

// The leases of the running DHCP client in the order of its file.
DhcpLeases ReadDhcpLeases();

// The earliest lease of that interface, even where later ones are newer; null without one.
const DhcpLease* EarliestLease(const std::vector<DhcpLease>& leases,
                               const KorString& interfaceName);

}  // namespace HardwareInventory
