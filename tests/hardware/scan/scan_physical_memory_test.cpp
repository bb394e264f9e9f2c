#include "hardware/scan/fake_machine.h"
#include "hardware/scan/scanners.h"

using HardwareInventory::ScanPhysicalMemory;
using scan_test::Names;
using scan_test::Values;

namespace {

class PhysicalMemoryScan : public scan_test::ScanTest {
 protected:
  // The values of a machine with this total.
  Values ScanTotal(const std::string& total) {
    inventory.Clear();
    machine.Prints("cat /proc/meminfo", "MemTotal: " + total + "\nMemFree: 12 kB\n");
    EXPECT_TRUE(ScanPhysicalMemory(inventory));
    return ValuesOf("Physical Memory", "0");
  }
};

}  // namespace

TEST_F(PhysicalMemoryScan, MemoryAndSwapAreMegabytes) {
  machine.Prints("cat /proc/meminfo",
                 "MemTotal:        2055148 kB\n"
                 "MemFree:          104004 kB\n"
                 "SwapCached:            4 kB\n"
                 "SwapTotal:       4194300 kB\n"
                 "SwapFree:        4194000 kB\n");

  EXPECT_TRUE(ScanPhysicalMemory(inventory));

  EXPECT_EQ(
      Definitions("Physical Memory"),
      (Names{"Capacity Integer", "Swap Space Integer \"MB\" (Available swap memory, in MB)"}));
  EXPECT_EQ(ValuesOf("Physical Memory", "0"),
            (Values{{"Capacity", "2006"}, {"Swap Space", "4095"}}));
  EXPECT_EQ(log.lines, Names{"print Scanning physical memory"});
}

TEST_F(PhysicalMemoryScan, OnlySwapSpaceCarriesUnitAndDescription) {
  machine.Prints("cat /proc/meminfo", "MemTotal: 1 kB\n");

  ScanPhysicalMemory(inventory);

  EXPECT_EQ(Definitions("Physical Memory")[0], "Capacity Integer");
}

TEST_F(PhysicalMemoryScan, ZeroSwapIsAbsentWhileItsDefinitionStays) {
  machine.Prints("cat /proc/meminfo", "MemTotal: 2055148 kB\nSwapTotal: 0 kB\nX: 1\n");

  EXPECT_TRUE(ScanPhysicalMemory(inventory));

  EXPECT_FALSE(HasValue("Physical Memory", "0", "Swap Space"));
  EXPECT_EQ(Definitions("Physical Memory").size(), 2U);
}

TEST_F(PhysicalMemoryScan, UnitsAreConverted) {
  EXPECT_EQ(ScanTotal("3145728 B"), (Values{{"Capacity", "3"}}));
  EXPECT_EQ(ScanTotal("2055148 KB"), (Values{{"Capacity", "2006"}}));
  EXPECT_EQ(ScanTotal("17 mB"), (Values{{"Capacity", "17"}}));
  EXPECT_EQ(ScanTotal("2 GB"), (Values{{"Capacity", "2048"}}));
  EXPECT_EQ(ScanTotal("3 Tb"), (Values{{"Capacity", "3145728"}}));
}

TEST_F(PhysicalMemoryScan, BytesBelowAMegabyteAreAbsent) {
  EXPECT_EQ(ScanTotal("1048575 b"), Values{});
  EXPECT_EQ(ScanTotal("1023 kB"), Values{});
}

TEST_F(PhysicalMemoryScan, UnknownUnitIsAbsent) {
  EXPECT_EQ(ScanTotal("524288 pages"), Values{});
}

TEST_F(PhysicalMemoryScan, TotalIsFoundOnTheLastLineOfSeveral) {
  machine.Prints("cat /proc/meminfo", "MemFree: 1 kB\nMemTotal: 4096 kB\n");

  ScanPhysicalMemory(inventory);

  EXPECT_EQ(ValueOf("Physical Memory", "0", "Capacity"), "4");
}

TEST_F(PhysicalMemoryScan, MissingLinesLeaveAnEmptyInstance) {
  machine.Prints("cat /proc/meminfo", "");

  EXPECT_TRUE(ScanPhysicalMemory(inventory));

  EXPECT_EQ(Instances("Physical Memory"), Names{"0"});
  EXPECT_EQ(ValuesOf("Physical Memory", "0"), Values{});
}

TEST_F(PhysicalMemoryScan, FailedCommandLeavesTheDefinitions) {
  EXPECT_FALSE(ScanPhysicalMemory(inventory));

  EXPECT_EQ(Definitions("Physical Memory").size(), 2U);
  EXPECT_EQ(Instances("Physical Memory"), Names{});
}
