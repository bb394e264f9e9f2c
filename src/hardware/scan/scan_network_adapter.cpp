#include <vector>

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
};

void SetDhcp(const Interface& interface, const std::vector<DhcpLease>& leases) {
  const DhcpLease* lease = EarliestLease(leases, interface.name);
  if (lease != nullptr) {
    SetValue(interface.configuration, "DHCPServer", lease->server);
    SetValue(interface.configuration, "DNSDomain", lease->domain);
  }
  SetValue(interface.configuration, "DHCPEnabled", lease != nullptr ? "TRUE" : "FALSE");
}

// The name is held to the end of the line only, so that of "eth1" takes the routes of "veth1" too.
void SetGateway(const Interface& interface) {
  const KorString gateways =
      OutputOf("route | grep " + ShellWord(interface.name) +
               R"sh($ | tr -s '[:blank:]' | cut -d ' ' -f2 | grep -v '*')sh");
  if (gateways.IsEmpty()) return;
  SetValue(interface.configuration, "DefaultIPGateway",
           StringTokeniser(gateways, "\n", 0).NextToken());
}

void SetPciDescription(const Interface& interface) {
  const KorString device = OutputOf("lspci -s `file /sys/bus/pci/devices/*/net/" +
                                    ShellWordInBackQuotes(interface.name) + " | cut -d / -f6`");
  if (device.IsEmpty()) return;
  SetValue(interface.configuration, "Description",
           FirstGroup(device, kPciDescriptionPattern, kPcreCaseless).value_or(""));
}

void SetHardwareAddress(const Interface& interface) {
  const std::optional<KorString> address =
      FirstGroup(interface.block, kHardwareAddressPattern, kAnyLine);
  if (!address) return;
  SetValue(interface.adapter, "MACAddress", *address);
  SetValue(interface.configuration, "MACAddress", *address);
}

// An interface without an IPv4 broadcast address shows no address at all, whatever else it has.
void SetAddresses(const Interface& interface) {
  const KorString& block = interface.block;
  KorVector<KorString> ipv4;
  if (FindPcreSimple(block.CStr(), block.GetLength(), kIpv4Pattern, kAnyLine, ipv4) == 0) return;
  KorString address = ipv4[0];
  KorString subnet = ipv4[1];
  KorVector<KorString> ipv6;
  if (FindPcreSimple(block.CStr(), block.GetLength(), kIpv6Pattern, kAnyLine, ipv6) != 0) {
    address += "," + ipv6[0];
    subnet += "," + ipv6[1];
  }
  SetValue(interface.configuration, "IPAddress", address);
  SetValue(interface.configuration, "IPSubnet", subnet);
}

void SetAdapterType(const Interface& interface) {
  if (!SetFirstGroup(interface.adapter, "AdapterType", interface.block, kTypeWithAddressPattern,
                     kAnyLine)) {
    SetFirstGroup(interface.adapter, "AdapterType", interface.block, kTypePattern, kAnyLine);
  }
}

void SetState(const Interface& interface) {
  const KorString& block = interface.block;
  const bool isUp = MatchPcreSimple(block.CStr(), block.GetLength(), kUpPattern, kAnyLine);
  SetValue(interface.adapter, "StatusInfo", isUp ? "Enabled" : "Disabled");
}

void AddInterface(ObjType& adapters, ObjType& configurations, const KorString& block,
                  const std::vector<DhcpLease>& leases) {
  const std::optional<KorString> name = FirstGroup(block, kNamePattern, kAnyLine);
  if (!name) return;
  ObjInst* adapter = adapters.Ensure(*name);
  if (adapter == nullptr) return;
  ObjInst* configuration = configurations.Ensure(*name);
  if (configuration == nullptr) return;

  const Interface interface { *name, block, *adapter, *configuration };
  SetValue(*adapter, "Name", *name);
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
  DefineAttributes(*adapters, kAdapterAttributes);
  DefineAttributes(*configurations, kConfigurationAttributes);

  const std::vector<DhcpLease> leases = ReadDhcpLeases();
  KorString listing;
  if (!CommandToString("/sbin/ifconfig -a", listing)) return false;
  ForEachPiece(listing, "\n\n", [&](const KorString& block) {
    AddInterface(*adapters, *configurations, block, leases);
  });
  return true;
}

}  // namespace HardwareInventory
