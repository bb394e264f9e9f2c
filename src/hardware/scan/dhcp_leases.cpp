#include "hardware/scan/dhcp_leases.h"

#include <optional>

#include "hardware/scan/toolkit.h"

namespace HardwareInventory {

namespace {

constexpr const char* kDhcpcdCommand =
    R"sh(cat `pgrep dhcpcd | xargs -i cat /proc/{}/cmdline | tr '\0' '\n' | grep .lease` | )sh"
    R"sh(cut -d '#' -f1 | grep "[{}]\|interface\|domain-name\|dhcp-server-identifier")sh";

}  // namespace

DhcpLeases ReadDhcpLeases() {
  KorString command = kDhclientCommand;
  DhcpLeases read;
  read.output = OutputOf(command);
  // The dhcpcd pipeline is chosen here and not run: its files have another form, and a machine with
  // dhcpcd alone counts as one without DHCP.
  if (read.output.IsEmpty()) command = kDhcpcdCommand;

  const bool keepsBlocks = KorTrace::Current() != nullptr;
  ForEachPiece(read.output, "}", [&read, keepsBlocks](const KorString& block) {
    const std::optional<KorString> name = FirstGroup(block, kLeaseInterfacePattern, kPcreCaseless);
    if (!name) return;
    read.leases.push_back({*name,
                           FirstGroup(block, kLeaseServerPattern, kPcreCaseless).value_or(""),
                           FirstGroup(block, kLeaseDomainPattern, kPcreCaseless).value_or(""),
                           keepsBlocks ? block : KorString()});
  });
  return read;
}

const DhcpLease* EarliestLease(const std::vector<DhcpLease>& leases,
                               const KorString& interfaceName) {
  for (const DhcpLease& lease : leases) {
    if (lease.interfaceName == interfaceName) return &lease;
  }
  return nullptr;
}

}  // namespace HardwareInventory
