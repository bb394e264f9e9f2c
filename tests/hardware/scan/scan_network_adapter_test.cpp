#include "hardware/scan/fake_machine.h"
#include "hardware/scan/scanners.h"

using HardwareInventory::ScanNetworkAdapter;
using scan_test::Names;
using scan_test::Values;

namespace {

const std::string kDhclient =
    R"sh(cat `pgrep dhclient | xargs -i cat /proc/{}/cmdline | tr '\0' '\n' | grep .lease` | )sh"
    R"sh(cut -d '#' -f1 | grep "[{}]\|interface\|domain-name\|dhcp-server-identifier")sh";
const std::string kDhcpcd =
    R"sh(cat `pgrep dhcpcd | xargs -i cat /proc/{}/cmdline | tr '\0' '\n' | grep .lease` | )sh"
    R"sh(cut -d '#' -f1 | grep "[{}]\|interface\|domain-name\|dhcp-server-identifier")sh";
const std::string kIfconfig = "/sbin/ifconfig -a";
const std::string kRouteOfEth0 =
    R"sh(route | grep eth0$ | tr -s '[:blank:]' | cut -d ' ' -f2 | grep -v '*')sh";
const std::string kPciOfEth0 =
    R"sh(lspci -s `file /sys/bus/pci/devices/*/net/eth0 | cut -d / -f6`)sh";

const std::string kEth0 =
    "eth0      Link encap:Ethernet  HWaddr 00:1a:2b:3c:4d:5e  \n"
    "          inet addr:192.168.1.5  Bcast:192.168.1.255  Mask:255.255.255.0\n"
    "          inet6 addr: fe80::21a:2bff:fe3c:4d5e/64 Scope:Link\n"
    "          UP BROADCAST RUNNING MULTICAST  MTU:1500  Metric:1\n"
    "          RX packets:10 errors:0 dropped:0 overruns:0 frame:0\n";
const std::string kLo =
    "lo        Link encap:Local Loopback  \n"
    "          inet addr:127.0.0.1  Mask:255.0.0.0\n"
    "          inet6 addr: ::1/128 Scope:Host\n"
    "          UP LOOPBACK RUNNING  MTU:65536  Metric:1\n"
    "          RX packets:4 errors:0 dropped:0 overruns:0 frame:0\n";

class NetworkAdapterScan : public scan_test::ScanTest {
 protected:
  bool Scan(const std::string& listing) {
    machine.Prints(kIfconfig, listing);
    return ScanNetworkAdapter(inventory);
  }
  std::string Adapter(const char* attribute, const char* name = "eth0") {
    return ValueOf("Network Adapter", name, attribute);
  }
  std::string Configuration(const char* attribute, const char* name = "eth0") {
    return ValueOf("Network Adapter Configuration", name, attribute);
  }
};

}  // namespace

TEST_F(NetworkAdapterScan, DefinesBothClassesWithOneIpAddressAndLogsOneLine) {
  EXPECT_TRUE(Scan(""));

  EXPECT_EQ(Classes(), (Names{"Network Adapter", "Network Adapter Configuration"}));
  EXPECT_EQ(Definitions("Network Adapter"),
            (Names{"Name String", "AdapterType String", "MACAddress String", "StatusInfo String"}));
  EXPECT_EQ(Definitions("Network Adapter Configuration"),
            (Names{"DefaultIPGateway String", "Description String", "IPAddress String",
                   "MACAddress String", "IPSubnet String", "DHCPEnabled String",
                   "DHCPServer String", "DNSDomain String"}));
  EXPECT_EQ(log.lines, Names{"print Scanning network adapter"});
}

TEST_F(NetworkAdapterScan, InterfaceGetsAllItsValues) {
  machine.Prints(kDhclient,
                 "lease {\n  interface \"eth0\";\n"
                 "  option dhcp-server-identifier 192.168.1.2;\n"
                 "  option domain-name-servers 192.168.1.3;\n"
                 "  option domain-name \"office.example\";\n}\n");
  machine.Prints(kRouteOfEth0, "192.168.1.1\n");
  machine.Prints(kPciOfEth0, "02:00.0 Ethernet controller: Example Networks EN-1000 (rev 02)\n");

  EXPECT_TRUE(Scan(kEth0 + "\n"));

  EXPECT_EQ(ValuesOf("Network Adapter", "eth0"), (Values{{"Name", "eth0"},
                                                         {"MACAddress", "00:1a:2b:3c:4d:5e  "},
                                                         {"AdapterType", "Ethernet  "},
                                                         {"StatusInfo", "Enabled"}}));
  EXPECT_EQ(ValuesOf("Network Adapter Configuration", "eth0"),
            (Values{{"DHCPServer", "192.168.1.2"},
                    {"DNSDomain", "office.example"},
                    {"DHCPEnabled", "TRUE"},
                    {"DefaultIPGateway", "192.168.1.1"},
                    {"Description", "Example Networks EN-1000 (rev 02)"},
                    {"MACAddress", "00:1a:2b:3c:4d:5e  "},
                    {"IPAddress", "192.168.1.5,fe80::21a:2bff:fe3c:4d5e"},
                    {"IPSubnet", "255.255.255.0,64"}}));
}

TEST_F(NetworkAdapterScan, RunsExactlyTheseCommandsInOrder) {
  Scan(kEth0 + "\n");

  EXPECT_EQ(machine.ran, (Names{kDhclient, kIfconfig, kRouteOfEth0, kPciOfEth0}));
}

TEST_F(NetworkAdapterScan, NameThatIsNotPlainIsQuotedForEachPlace) {
  Scan("`a\\b` Link encap:Ethernet  HWaddr 00:1a\n  UP \n\n");

  EXPECT_EQ(machine.ran[2],
            R"sh(route | grep '`a\b`'$ | tr -s '[:blank:]' | cut -d ' ' -f2 | grep -v '*')sh");
  EXPECT_EQ(machine.ran[3],
            R"sh(lspci -s `file /sys/bus/pci/devices/*/net/'\`a\\b\`' | cut -d / -f6`)sh");
}

TEST_F(NetworkAdapterScan, LoopbackUsesTheFallbackTypeAndHasNoAddresses) {
  EXPECT_TRUE(Scan(kEth0 + "\n" + kLo + "\n"));

  EXPECT_EQ(Instances("Network Adapter"), (Names{"eth0", "lo"}));
  EXPECT_EQ(
      ValuesOf("Network Adapter", "lo"),
      (Values{{"Name", "lo"}, {"AdapterType", "Local Loopback  "}, {"StatusInfo", "Enabled"}}));
  EXPECT_EQ(ValuesOf("Network Adapter Configuration", "lo"), (Values{{"DHCPEnabled", "FALSE"}}));
}

TEST_F(NetworkAdapterScan, Ipv4AloneHasNoComma) {
  Scan(
      "eth0      Link encap:Ethernet  HWaddr 00:1a:2b:3c:4d:5e\n"
      "          inet addr:10.0.0.7  Bcast:10.255.255.255  Mask:255.0.0.0\n"
      "          UP BROADCAST  MTU:1500  Metric:1\n\n");

  EXPECT_EQ(Configuration("IPAddress"), "10.0.0.7");
  EXPECT_EQ(Configuration("IPSubnet"), "255.0.0.0");
}

TEST_F(NetworkAdapterScan, Ipv6AloneHasNoAddress) {
  Scan(
      "eth0      Link encap:Ethernet  HWaddr 00:1a:2b:3c:4d:5e\n"
      "          inet6 addr: 2001:db8::5/64 Scope:Global\n"
      "          UP BROADCAST  MTU:1500  Metric:1\n\n");

  EXPECT_EQ(Configuration("IPAddress"), "<absent>");
  EXPECT_EQ(Configuration("IPSubnet"), "<absent>");
}

TEST_F(NetworkAdapterScan, FirstIpv6AddressCounts) {
  Scan(
      "eth0      Link encap:Ethernet  HWaddr 00:1a:2b:3c:4d:5e\n"
      "          inet addr:10.0.0.7  Bcast:10.255.255.255  Mask:255.0.0.0\n"
      "          inet6 addr: 2001:db8::5/48 Scope:Global\n"
      "          inet6 addr: fe80::5/64 Scope:Link\n"
      "          UP BROADCAST  MTU:1500  Metric:1\n\n");

  EXPECT_EQ(Configuration("IPAddress"), "10.0.0.7,2001:db8::5");
  EXPECT_EQ(Configuration("IPSubnet"), "255.0.0.0,48");
}

TEST_F(NetworkAdapterScan, InterfaceThatIsDownIsDisabled) {
  Scan(
      "eth0      Link encap:Ethernet  HWaddr 00:1a:2b:3c:4d:5e\n"
      "          BROADCAST MULTICAST  MTU:1500  Metric:1\n\n");

  EXPECT_EQ(Adapter("StatusInfo"), "Disabled");
}

TEST_F(NetworkAdapterScan, HardwareAddressOnTheLastLineOfABlockIsNotFound) {
  Scan("eth0      Link encap:Ethernet  HWaddr 00:1a:2b:3c:4d:5e\n\n" + kLo);

  EXPECT_EQ(Adapter("MACAddress"), "<absent>");
  EXPECT_EQ(Adapter("AdapterType"), "<absent>");
}

TEST_F(NetworkAdapterScan, NewerListingFormatGivesNoInstances) {
  EXPECT_TRUE(
      Scan("eth0: flags=4163<UP,BROADCAST,RUNNING,MULTICAST>  mtu 1500\n"
           "        inet 192.168.1.5  netmask 255.255.255.0  broadcast 192.168.1.255\n"
           "        ether 00:1a:2b:3c:4d:5e  txqueuelen 1000  (Ethernet)\n\n"));

  EXPECT_EQ(Instances("Network Adapter"), Names{});
  EXPECT_EQ(Instances("Network Adapter Configuration"), Names{});
}

TEST_F(NetworkAdapterScan, FailedListingComesAfterTheLeasesAndKeepsTheDefinitions) {
  EXPECT_FALSE(ScanNetworkAdapter(inventory));

  EXPECT_EQ(machine.ran, (Names{kDhclient, kIfconfig}));
  EXPECT_EQ(Definitions("Network Adapter").size(), 4U);
  EXPECT_EQ(Definitions("Network Adapter Configuration").size(), 8U);
  EXPECT_EQ(Instances("Network Adapter"), Names{});
}

TEST_F(NetworkAdapterScan, EarliestLeaseOfAnInterfaceWins) {
  machine.Prints(kDhclient,
                 "lease {\n  interface \"eth0\";\n  option dhcp-server-identifier 10.0.0.1;\n}\n"
                 "lease {\n  interface \"eth0\";\n  option dhcp-server-identifier 10.0.0.2;\n"
                 "  option domain-name \"late.example\";\n}\n");

  Scan(kEth0 + "\n");

  EXPECT_EQ(Configuration("DHCPServer"), "10.0.0.1");
  EXPECT_EQ(Configuration("DNSDomain"), "");
}

TEST_F(NetworkAdapterScan, LeaseWithoutDomainOrServerSetsThemEmpty) {
  machine.Prints(kDhclient, "lease {\n  interface \"eth0\";\n}\n");

  Scan(kEth0 + "\n");

  EXPECT_EQ(Configuration("DHCPEnabled"), "TRUE");
  EXPECT_EQ(Configuration("DHCPServer"), "");
  EXPECT_EQ(Configuration("DNSDomain"), "");
}

TEST_F(NetworkAdapterScan, LeaseWithoutInterfaceLeavesTheOthersAligned) {
  machine.Prints(kDhclient,
                 "lease {\n  option dhcp-server-identifier 10.0.0.1;\n"
                 "  option domain-name \"nobody.example\";\n}\n"
                 "lease {\n  interface \"wlan0\";\n}\n"
                 "lease {\n  interface \"eth0\";\n  option dhcp-server-identifier 10.0.0.3;\n"
                 "  option domain-name \"third.example\";\n}\n");

  Scan(kEth0 + "\n");

  EXPECT_EQ(Configuration("DHCPServer"), "10.0.0.3");
  EXPECT_EQ(Configuration("DNSDomain"), "third.example");
}

TEST_F(NetworkAdapterScan, LeaseInterfacesAreComparedExactly) {
  machine.Prints(kDhclient,
                 "lease {\n  interface \"ETH0\";\n}\nlease {\n  interface \"eth\";\n}\n");

  Scan(kEth0 + "\n");

  EXPECT_EQ(Configuration("DHCPEnabled"), "FALSE");
  EXPECT_EQ(Configuration("DHCPServer"), "<absent>");
  EXPECT_EQ(Configuration("DNSDomain"), "<absent>");
}

TEST_F(NetworkAdapterScan, LeaseKeysMatchInAnyLetterCase) {
  machine.Prints(kDhclient,
                 "lease {\n  INTERFACE \"eth0\";\n  option DHCP-Server-Identifier 10.0.0.1 ;\n}\n");

  Scan(kEth0 + "\n");

  EXPECT_EQ(Configuration("DHCPServer"), "10.0.0.1");
}

TEST_F(NetworkAdapterScan, LeasesCountWhateverTheStatusOfThePipeline) {
  machine.results[kDhclient] = {KorCommandResult::Outcome::kKilled, 15,
                                "lease {\n  interface \"eth0\";\n}\n"};

  Scan(kEth0 + "\n");

  EXPECT_EQ(Configuration("DHCPEnabled"), "TRUE");
}

TEST_F(NetworkAdapterScan, DhcpcdIsNotAsked) {
  machine.Prints(kDhclient, "", 1);
  machine.Prints(kDhcpcd, "lease {\n  interface \"eth0\";\n}\n");

  Scan(kEth0 + "\n");

  EXPECT_EQ(machine.TimesRan(kDhcpcd), 0U);
  EXPECT_EQ(Configuration("DHCPEnabled"), "FALSE");
  EXPECT_EQ(Configuration("DHCPServer"), "<absent>");
  EXPECT_EQ(Configuration("DNSDomain"), "<absent>");
}

TEST_F(NetworkAdapterScan, NoRouteNoGateway) {
  machine.Prints(kRouteOfEth0, "", 1);

  Scan(kEth0 + "\n");

  EXPECT_EQ(Configuration("DefaultIPGateway"), "<absent>");
}

TEST_F(NetworkAdapterScan, FirstOfSeveralGatewaysWins) {
  machine.Prints(kRouteOfEth0, "192.168.1.1\n10.0.0.1\n");

  Scan(kEth0 + "\n");

  EXPECT_EQ(Configuration("DefaultIPGateway"), "192.168.1.1");
}

TEST_F(NetworkAdapterScan, UnreadablePciLineSetsAnEmptyDescription) {
  machine.Prints(kPciOfEth0, "no such thing\n");

  Scan(kEth0 + "\n");

  EXPECT_EQ(Configuration("Description"), "");
}

TEST_F(NetworkAdapterScan, PciDescriptionEndsWithItsLine) {
  machine.Prints(kPciOfEth0,
                 "02:00.0 Ethernet controller: Example EN-1000: dual\n"
                 "02:00.1 Ethernet controller: Example EN-2000\n");

  Scan(kEth0 + "\n");

  EXPECT_EQ(Configuration("Description"), "Example EN-1000: dual");
}

TEST_F(NetworkAdapterScan, ListingWithCarriageReturnsIsOneBlock) {
  // "\r\n\r\n" is no blank line, so all interfaces are one paragraph that begins with the first.
  Scan(
      "eth0      Link encap:Ethernet  HWaddr 00:1a:2b:3c:4d:5e\r\n          UP  MTU:1500\r\n\r\n"
      "lo        Link encap:Local Loopback\r\n          UP  MTU:1500\r\n");

  EXPECT_EQ(Instances("Network Adapter"), Names{"eth0"});
  EXPECT_EQ(Adapter("MACAddress"), "00:1a:2b:3c:4d:5e\r");
}
