#include "hardware/scan/dhcp_leases.h"

#include <optional>

#include "hardware/scan/toolkit.h"

namespace HardwareInventory {

namespace {

// The file that the running client names on its command line, without comments, only the lines
// that matter.
constexpr const char* kDhclientCommand =
    R"sh(cat `pgrep dhclient | xargs -i cat /proc/{}/cmdline | tr '\0' '\n' | grep .lease` | )sh"
    R"sh(cut -d '#' -f1 | grep "[{}]\|interface\|domain-name\|dhcp-server-identifier")sh";
constexpr const char* kDhcpcdCommand =
    R"sh(cat `pgrep dhcpcd | xargs -i cat /proc/{}/cmdline | tr '\0' '\n' | grep .lease` | )sh"
    R"sh(cut -d '#' -f1 | grep "[{}]\|interface\|domain-name\|dhcp-server-identifier")sh";

constexpr const char* kInterfacePattern = R"re(interface\s+"([^"]+)")re";
constexpr const char* kDomainPattern = R"re(domain-name\s+"([^"]+)")re";
constexpr const char* kServerPattern = R"re(dhcp-server-identifier\s+([^\s;]+)\s*;)re";

}  // namespace

std::vector<DhcpLease> ReadDhcpLeases() {
  KorString command = kDhclientCommand;
  const KorString output = OutputOf(command);
  // The dhcpcd pipeline is chosen here and not run: its files have another form, and a machine with
  // dhcpcd alone counts as one without DHCP.
  if (output.IsEmpty()) command = kDhcpcdCommand;

  std::vector<DhcpLease> leases;
  ForEachPiece(output, "}", [&leases](const KorString& block) {
    const std::optional<KorString> name = FirstGroup(block, kInterfacePattern, kPcreCaseless);
    if (!name) return;
    leases.push_back({*name, FirstGroup(block, kServerPattern, kPcreCaseless).value_or(""),
                      FirstGroup(block, kDomainPattern, kPcreCaseless).value_or("")});
  });
  return leases;
}

const DhcpLease* EarliestLease(const std::vector<DhcpLease>& leases,
                               const KorString& interfaceName) {
  for (const DhcpLease& lease : leases) {
    if (lease.interfaceName == interfaceName) return &lease;
  }
  return nullptr;
}

}  // namespace HardwareInventory
