// Machines far larger than usual: everything is found and nothing is asked more often than needed.

#include <string>

#include "hardware/scan/fake_machine.h"
#include "hardware/scan/scanners.h"

using HardwareInventory::ScanLogicalDisk;
using HardwareInventory::ScanNetworkAdapter;
using HardwareInventory::ScanPhysicalDisk;
using HardwareInventory::ScanProcessor;

namespace {

class LargeMachineScan : public scan_test::ScanTest {};

}  // namespace

TEST_F(LargeMachineScan, FourThousandProcessors) {
  std::string text;
  for (int i = 0; i < 4096; ++i) {
    text += "processor\t: " + std::to_string(i) +
            "\nvendor_id\t: ExampleCorp\nmodel name\t: Example CPU\nphysical id\t: " +
            std::to_string(i / 64) + "\nflags\t\t: " + std::string(1200, 'f') + "\n\n";
  }
  machine.Prints("cat /proc/cpuinfo", text);

  EXPECT_TRUE(ScanProcessor(inventory));

  EXPECT_EQ(Instances("Processor").size(), 4096U);
  EXPECT_EQ(ValueOf("Processor", "4095", "UniqueId"), "63");
  EXPECT_EQ(machine.ran.size(), 1U);
}

TEST_F(LargeMachineScan, TwoThousandMounts) {
  std::string text = "Filesystem Type 1kB-blocks Used Available Capacity Mounted on\n";
  for (int i = 0; i < 2000; ++i) {
    text += "/dev/sd" + std::string(1, static_cast<char>('a' + i % 26)) +
            std::to_string(i / 26 + 1) + " ext4 5000 1000 4000 20% /mnt/" + std::to_string(i) +
            "\n";
  }
  machine.Prints("/bin/df -TP -B 1000", text);

  EXPECT_TRUE(ScanLogicalDisk(inventory));
  EXPECT_TRUE(ScanPhysicalDisk(inventory));

  EXPECT_EQ(Instances("Logical Disk").size(), 2000U);
  EXPECT_EQ(Instances("Disk Drive").size(), 26U);
  // 2000 mounts are 76 for each letter and one more for the first 24.
  EXPECT_EQ(ValueOf("Disk Drive", "sda", "Partitions"), "77");
  EXPECT_EQ(ValueOf("Disk Drive", "sdz", "Size"), "380");
}

TEST_F(LargeMachineScan, FiveHundredInterfaces) {
  std::string text;
  for (int i = 0; i < 500; ++i) {
    text += "eth" + std::to_string(i) +
            "    Link encap:Ethernet  HWaddr 00:1a:2b:3c:4d:5e\n"
            "          inet addr:10.0.0.7  Bcast:10.255.255.255  Mask:255.0.0.0\n"
            "          UP BROADCAST  MTU:1500  Metric:1\n\n";
  }
  machine.Prints("/sbin/ifconfig -a", text);

  EXPECT_TRUE(ScanNetworkAdapter(inventory));

  EXPECT_EQ(Instances("Network Adapter").size(), 500U);
  EXPECT_EQ(ValueOf("Network Adapter Configuration", "eth499", "IPAddress"), "10.0.0.7");
  EXPECT_EQ(machine.ran.size(), 2U + 2U * 500U);
}
