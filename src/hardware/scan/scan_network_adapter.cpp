#include <array>
#include <string_view>

#include "hardware/module/globals.h"
#include "hardware/scan/dhcp_leases.h"
#include "hardware/scan/scanners.h"
#include "hardware/scan/toolkit.h"
#include "kor/command.h"

namespace HardwareInventory {

namespace {

constexpr AttributeRow kAdapterAttributes[] = {
    {"Name", kString},
    {"AdapterType", kString},
    {"MACAddress", kString},
    {"StatusInfo", kString},
};

// "IPAddress" stands here twice, as it always has; the second finds the first.
constexpr AttributeRow kConfigurationAttributes[] = {
    {"DefaultIPGateway", kString}, {"Description", kString}, {"IPAddress", kString},
    {"MACAddress", kString},       {"IPSubnet", kString},    {"IPAddress", kString},
    {"DHCPEnabled", kString},      {"DHCPServer", kString},  {"DNSDomain", kString},
};

constexpr const char* kListingCommand = "/sbin/ifconfig -a";

constexpr const char* kNamePattern = R"re(^([^\s]+)\s+Link)re";
constexpr const char* kTypeWithAddressPattern = R"re(Link encap\s*:\s*(.+)\s*HWaddr.+\n)re";
constexpr const char* kTypePattern = R"re(Link encap\s*:\s*([^\n]+)\n)re";
constexpr const char* kHardwareAddressPattern = R"re(HWaddr\s+([^\n]+)\n)re";
constexpr const char* kUpPattern = R"re(^\s+UP\s+)re";
constexpr const char* kIpv4Pattern =
    R"re(inet addr\s*:\s*([.0-9]+)\s*Bcast:\s*[.0-9]+\s*Mask:\s*([.0-9]+))re";
constexpr const char* kIpv6Pattern = R"re(inet6 addr\s*:\s*([:0-9a-f]+)/([:0-9a-f]+))re";
constexpr const char* kPciDescriptionPattern = R"re(^[^:]+:[^:]+:\s+(.*))re";

// One interface's paragraph of the listing and where its values go.
struct Interface {
  const KorString& name;
  const KorString& block;
  ObjInst& adapter;
  ObjInst& configuration;

  KorTraceSource Searched(std::string_view pattern) const {
    return Printed{kListingCommand, block}.Searched(pattern, kAnyLine);
  }
};

void SetLease(ObjInst& configuration, const DhcpLease& lease) {
  const Printed printed{kDhclientCommand, lease.block};
  SetValue(configuration, "DHCPServer", lease.server,
           {printed.Searched(kLeaseServerPattern, kPcreCaseless)},
           lease.server.IsEmpty() ? kEmptyWithoutMatch : nullptr);
  SetValue(configuration, "DNSDomain", lease.domain,
           {printed.Searched(kLeaseDomainPattern, kPcreCaseless)},
           lease.domain.IsEmpty() ? kEmptyWithoutMatch : nullptr);
  SetValue(configuration, "DHCPEnabled", "TRUE",
           {printed.Searched(kLeaseInterfacePattern, kPcreCaseless)},
           "TRUE when a lease of dhclient names the interface");
}

void SetDhcp(const Interface& interface, const DhcpLeases& leases) {
  if (const DhcpLease* lease = EarliestLease(leases.leases, interface.name)) {
    SetLease(interface.configuration, *lease);
    return;
  }
  constexpr const char* kNoLease = "no lease of dhclient names the interface";
  const KorTraceSource source = Printed{kDhclientCommand, leases.output}.Whole();
  TellAbsent(interface.configuration, "DHCPServer", {source}, kNoLease);
  TellAbsent(interface.configuration, "DNSDomain", {source}, kNoLease);
  SetValue(interface.configuration, "DHCPEnabled", "FALSE", {source}, kNoLease);
}

// The name is held to the end of the line only, so that of "eth1" takes the routes of "veth1" too.
void SetGateway(const Interface& interface) {
  const KorString command = "route | grep " + ShellWord(interface.name) +
                            R"sh($ | tr -s '[:blank:]' | cut -d ' ' -f2 | grep -v '*')sh";
  const KorString gateways = OutputOf(command);
  const KorTraceSource source = Printed{command.View(), gateways}.Whole();
  if (gateways.IsEmpty()) {
    TellAbsent(interface.configuration, "DefaultIPGateway", {source}, kNothingPrinted);
    return;
  }
  SetValue(interface.configuration, "DefaultIPGateway", StringTokeniser(gateways, "\n").NextToken(),
           {source}, "the first line");
}

void SetPciDescription(const Interface& interface) {
  const KorString command = "lspci -s `file /sys/bus/pci/devices/*/net/" +
                            ShellWordInBackQuotes(interface.name) + " | cut -d / -f6`";
  const KorString device = OutputOf(command);
  const Printed printed{command.View(), device};
  if (device.IsEmpty()) {
    TellAbsent(interface.configuration, "Description", {printed.Whole()}, kNothingPrinted);
    return;
  }
  const std::optional<KorString> description =
      FirstGroup(device, kPciDescriptionPattern, kPcreCaseless);
  SetValue(interface.configuration, "Description", description.value_or(""),
           {printed.Searched(kPciDescriptionPattern, kPcreCaseless)},
           description ? nullptr : kEmptyWithoutMatch);
}

void SetHardwareAddress(const Interface& interface) {
  const std::optional<KorString> address =
      FirstGroup(interface.block, kHardwareAddressPattern, kAnyLine);
  const KorTraceSource source = interface.Searched(kHardwareAddressPattern);
  if (!address) {
    TellAbsent(interface.adapter, "MACAddress", {source});
    TellAbsent(interface.configuration, "MACAddress", {source});
    return;
  }
  SetValue(interface.adapter, "MACAddress", *address, {source});
  SetValue(interface.configuration, "MACAddress", *address, {source});
}

// An interface without an IPv4 broadcast address shows no address at all, whatever else it has.
void SetAddresses(const Interface& interface) {
  const KorString& block = interface.block;
  const KorTraceSource source = interface.Searched(kIpv4Pattern);
  KorVector<KorString> ipv4;
  if (FindPcreSimple(block.CStr(), block.GetLength(), kIpv4Pattern, kAnyLine, ipv4) == 0) {
    TellAbsent(interface.configuration, "IPAddress", {source});
    TellAbsent(interface.configuration, "IPSubnet", {source});
    return;
  }
  KorString address = ipv4[0];
  KorString subnet = ipv4[1];
  KorVector<KorString> ipv6;
  if (FindPcreSimple(block.CStr(), block.GetLength(), kIpv6Pattern, kAnyLine, ipv6) != 0) {
    address += "," + ipv6[0];
    subnet += "," + ipv6[1];
  }
  const KorTraceSource source6 = interface.Searched(kIpv6Pattern);
  SetValue(interface.configuration, "IPAddress", address, {source, source6},
           "group 1 of the first, and of the second after a comma where it is found");
  SetValue(interface.configuration, "IPSubnet", subnet, {source, source6},
           "group 2 of the first, and of the second after a comma where it is found");
}

void SetAdapterType(const Interface& interface) {
  const Printed printed{kListingCommand, interface.block};
  if (!SetFirstGroup(interface.adapter, "AdapterType", printed, kTypeWithAddressPattern,
                     kAnyLine)) {
    SetFirstGroup(interface.adapter, "AdapterType", printed, kTypePattern, kAnyLine);
  }
}

void SetState(const Interface& interface) {
  const KorString& block = interface.block;
  const bool isUp = MatchPcreSimple(block.CStr(), block.GetLength(), kUpPattern, kAnyLine);
  SetValue(interface.adapter, "StatusInfo", isUp ? "Enabled" : "Disabled",
           {interface.Searched(kUpPattern)}, "Enabled when the pattern is found, else Disabled");
}

void AddInterface(ObjType& adapters, ObjType& configurations, const KorString& block,
                  const DhcpLeases& leases) {
  const std::optional<KorString> name = FirstGroup(block, kNamePattern, kAnyLine);
  const KorTraceSource source = Printed{kListingCommand, block}.Searched(kNamePattern, kAnyLine);
  if (!name) {
    TellTextSkipped(adapters, source);
    TellTextSkipped(configurations, source);
    return;
  }
  ObjInst* adapter = EnsureInstance(adapters, *name);
  if (adapter == nullptr) return;
  ObjInst* configuration = EnsureInstance(configurations, *name);
  if (configuration == nullptr) return;

  const Interface interface { *name, block, *adapter, *configuration };
  SetValue(*adapter, "Name", *name, {source});
  SetDhcp(interface, leases);
  SetGateway(interface);
  SetPciDescription(interface);
  SetHardwareAddress(interface);
  SetAddresses(interface);
  SetAdapterType(interface);
  SetState(interface);
}

}  // namespace

bool ScanNetworkAdapter(ObjInv& inventory) {
  debugInv.PrintWithNL("Scanning network adapter");
  ObjType* adapters = inventory.Ensure("Network Adapter");
  if (adapters == nullptr) return false;
  ObjType* configurations = inventory.Ensure("Network Adapter Configuration");
  if (configurations == nullptr) return false;
  TellClasses(std::array<std::string_view, 2>{"Network Adapter", "Network Adapter Configuration"});
  DefineAttributes(*adapters, kAdapterAttributes);
  DefineAttributes(*configurations, kConfigurationAttributes);

  const DhcpLeases leases = ReadDhcpLeases();
  KorString listing;
  if (!CommandToString(kListingCommand, listing)) return false;
  ForEachPiece(listing, "\n\n", [&](const KorString& block) {
    AddInterface(*adapters, *configurations, block, leases);
  });
  return true;
}

}  // namespace HardwareInventory
