// Scans while memory for the document cannot be had.

#include "hardware/memory/refused_memory.h"
#include "hardware/scan/fake_machine.h"
#include "hardware/scan/scanners.h"
#include "hardware/scan/toolkit.h"
#include "kor/shortage.h"

#include <new>

namespace {

using scan_test::Names;
using Scan = bool (*)(ObjInv& inventory);

class ScanWithoutMemory : public scan_test::ScanTest {
 protected:
  ScanWithoutMemory() {
    machine.Prints("cat /proc/uptime", "4711.08 9000.00\n");
    machine.Prints("/bin/uname -r", "6.1.0\n");
    for (const char* command :
         {"dmidecode -qs bios-vendor", "dmidecode -qs bios-release-date",
          "dmidecode -qs system-serial-number", "dmidecode -qs bios-version", "dmidecode -t 0",
          "dmidecode -qs system-product-name", "dmidecode -qs system-uuid",
          "dmidecode -qs system-manufacturer", "dmidecode -qs system-version"}) {
      machine.Prints(command, "text");
    }
    for (const char* path : {"/etc/sysconfig/keyboard", "/etc/sysconfig/mouse"}) {
      machine.files.insert(path);
      machine.Prints(std::string("cat ") + path, "KEYTABLE=\"fr\"\nFULLNAME=\"Mouse\"\nEND=1\n");
    }
    machine.Prints("/bin/df -TP -B 1000", "/dev/sda1 ext4 80000 20000 60000 25% /\n");
    machine.Prints("/sbin/ifconfig -a", "eth0      Link encap:Ethernet\n");
    machine.Prints(R"sh(lspci | grep "VGA\|Video")sh", "01:00.0 VGA controller: Board\n");
    machine.Prints("cat /proc/meminfo", "MemTotal: 2054352 kB\nSwapTotal: 0 kB\n");
    machine.Prints("cat /proc/cpuinfo", "processor : 0\nmodel name : Example 9\nend\n\n");
  }

  bool Run(Scan scan, size_t refusedSize) {
    const RefusedMemory refused(refusedSize);
    return scan(inventory);
  }
  size_t CountInstances() const {
    size_t count = 0;
    for (const ObjType* type : inventory.Objects()) count += type->Instances().Count();
    return count;
  }
  size_t CountValues() const {
    size_t count = 0;
    for (const ObjType* type : inventory.Objects()) {
      for (const ObjInst* instance : type->Instances()) count += instance->Attributes().Count();
    }
    return count;
  }
};

constexpr Scan kScans[] = {
    HardwareInventory::ScanSystem,         HardwareInventory::ScanKeyboard,
    HardwareInventory::ScanLogicalDisk,    HardwareInventory::ScanPhysicalDisk,
    HardwareInventory::ScanNetworkAdapter, HardwareInventory::ScanVideoController,
    HardwareInventory::ScanPointingDevice, HardwareInventory::ScanPhysicalMemory,
    HardwareInventory::ScanProcessor,
};

}  // namespace

TEST_F(ScanWithoutMemory, WithMemoryEveryScannerSucceeds) {
  for (const Scan scan : kScans) EXPECT_TRUE(Run(scan, 0));
  EXPECT_EQ(CountInstances(), 14U);
}

TEST_F(ScanWithoutMemory, AScannerFailsWithoutItsClass) {
  for (const Scan scan : kScans) EXPECT_FALSE(Run(scan, sizeof(ObjType)));
  EXPECT_EQ(Classes(), Names());
  EXPECT_EQ(machine.ran, Names());
}

TEST_F(ScanWithoutMemory, TheVideoScannerSaysThatItHasNoClass) {
  Run(HardwareInventory::ScanVideoController, sizeof(ObjType));
  EXPECT_EQ(log.lines,
            (Names{"print Scanning video controller", "print Ensure video controller fails"}));
}

// Each of the system's classes in turn, the ones before it being there already.
TEST_F(ScanWithoutMemory, TheSystemScanEndsAtTheClassThatCannotBeHad) {
  const Names names = {"OS Performance", "Computer System", "Operating System", "BIOS",
                       "Computer System Product"};
  for (const std::string& name : names) {
    EXPECT_FALSE(Run(HardwareInventory::ScanSystem, sizeof(ObjType))) << name;
    inventory.Ensure(KorString(name));
  }
  EXPECT_TRUE(Run(HardwareInventory::ScanSystem, sizeof(ObjType)));
  EXPECT_EQ(Classes(), names);
}

TEST_F(ScanWithoutMemory, TheNetworkScanNeedsBothClasses) {
  inventory.Ensure("Network Adapter");
  EXPECT_FALSE(Run(HardwareInventory::ScanNetworkAdapter, sizeof(ObjType)));
  EXPECT_EQ(Definitions("Network Adapter"), Names());
}

TEST_F(ScanWithoutMemory, WithoutInstancesTheClassesStayEmpty) {
  for (const Scan scan :
       {HardwareInventory::ScanSystem, HardwareInventory::ScanLogicalDisk,
        HardwareInventory::ScanPhysicalDisk, HardwareInventory::ScanNetworkAdapter,
        HardwareInventory::ScanVideoController, HardwareInventory::ScanProcessor}) {
    EXPECT_TRUE(Run(scan, sizeof(ObjInst)));
  }
  for (const Scan scan : {HardwareInventory::ScanKeyboard, HardwareInventory::ScanPointingDevice,
                          HardwareInventory::ScanPhysicalMemory}) {
    EXPECT_FALSE(Run(scan, sizeof(ObjInst)));
  }
  EXPECT_EQ(Classes().size(), 14U);
  EXPECT_EQ(CountInstances(), 0U);
}

TEST_F(ScanWithoutMemory, AnInterfaceNeedsBothInstances) {
  inventory.Ensure("Network Adapter")->Ensure("eth0");
  EXPECT_TRUE(Run(HardwareInventory::ScanNetworkAdapter, sizeof(ObjInst)));
  EXPECT_EQ(CountInstances(), 1U);
  EXPECT_EQ(CountValues(), 0U);
}

TEST_F(ScanWithoutMemory, WithoutValuesTheInstancesStayEmpty) {
  for (const Scan scan : kScans) Run(scan, 0);
  for (ObjType* type : inventory.Objects()) {
    for (ObjInst* instance : type->Instances()) instance->Attributes().Clear();
  }

  for (const Scan scan : kScans) EXPECT_TRUE(Run(scan, sizeof(ObjInstAttr)));
  EXPECT_EQ(CountInstances(), 14U);
  EXPECT_EQ(CountValues(), 0U);
}

TEST_F(ScanWithoutMemory, DefinitionsThatCannotBeMadeAreSkipped) {
  EXPECT_TRUE(Run(HardwareInventory::ScanPhysicalMemory, sizeof(ObjTypeAttr)));
  EXPECT_EQ(Definitions("Physical Memory"), Names());
  EXPECT_EQ(ValueOf("Physical Memory", "0", "Capacity"), "2006");
}

// An inventory that lacks something must not be taken for the whole.
TEST_F(ScanWithoutMemory, WhatIsLeftOutIsNoted) {
  for (const size_t size : {sizeof(ObjType), sizeof(ObjInst), sizeof(ObjInstAttr)}) {
    const KorShortageWatch shortage;
    Run(HardwareInventory::ScanVideoController, size);
    EXPECT_THROW(shortage.ThrowIfNoted(), std::bad_alloc) << size;
  }
  const KorShortageWatch shortage;
  Run(HardwareInventory::ScanVideoController, 0);
  EXPECT_NO_THROW(shortage.ThrowIfNoted());
}
