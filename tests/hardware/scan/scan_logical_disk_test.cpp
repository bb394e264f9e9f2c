#include "hardware/scan/fake_machine.h"
#include "hardware/scan/scanners.h"

using HardwareInventory::ScanLogicalDisk;
using scan_test::Names;
using scan_test::Values;

namespace {

const std::string kHeading =
    "Filesystem     Type   1kB-blocks     Used Available Capacity Mounted on\n";

class LogicalDiskScan : public scan_test::ScanTest {
 protected:
  bool ScanLines(const std::string& lines) {
    machine.Prints("/bin/df -TP -B 1000", kHeading + lines);
    return ScanLogicalDisk(inventory);
  }
};

}  // namespace

TEST_F(LogicalDiskScan, DefinesTheAttributesInOrderAndLogsOneLine) {
  machine.Prints("/bin/df -TP -B 1000", "");

  EXPECT_TRUE(ScanLogicalDisk(inventory));

  EXPECT_EQ(Classes(), Names{"Logical Disk"});
  EXPECT_EQ(Definitions("Logical Disk"),
            (Names{"Name String",
                   "Physical Disk String (The physical disk on which the partition is located)",
                   "File System Name String (The name of the file system on the disk)",
                   "Size Integer", "FreeSpace Integer",
                   "Free Percentage Integer \"%\" (The available capacity expressed as percentage)",
                   "Type String (String value identifying the type of the media)"}));
  EXPECT_EQ(Instances("Logical Disk"), Names{});
  EXPECT_EQ(log.lines, Names{"print Scanning logical disk"});
}

TEST_F(LogicalDiskScan, PartitionGetsAllItsValues) {
  EXPECT_TRUE(ScanLines("/dev/sda1 ext3 20158332 3472648 15661684 19% /\n"));

  EXPECT_EQ(Instances("Logical Disk"), Names{"sda1"});
  EXPECT_EQ(ValuesOf("Logical Disk", "sda1"), (Values{{"Name", "/dev/sda1"},
                                                      {"Physical Disk", "/dev/sda"},
                                                      {"Type", "Disk"},
                                                      {"File System Name", "ext3"},
                                                      {"Size", "20158"},
                                                      {"FreeSpace", "15661"},
                                                      {"Free Percentage", "77"}}));
}

TEST_F(LogicalDiskScan, PercentageComesFromTheTruncatedSizes) {
  // Of the untruncated numbers it would be 66.
  ScanLines("/dev/sda1 ext3 2999 0 1999 1% /\n");

  EXPECT_EQ(ValueOf("Logical Disk", "sda1", "Size"), "2");
  EXPECT_EQ(ValueOf("Logical Disk", "sda1", "FreeSpace"), "1");
  EXPECT_EQ(ValueOf("Logical Disk", "sda1", "Free Percentage"), "50");
}

TEST_F(LogicalDiskScan, FewFreeBlocksAreAbsentWithThePercentage) {
  ScanLines("/dev/sda1 ext3 20158332 20157333 999 100% /\n");

  EXPECT_EQ(ValueOf("Logical Disk", "sda1", "Size"), "20158");
  EXPECT_FALSE(HasValue("Logical Disk", "sda1", "FreeSpace"));
  EXPECT_FALSE(HasValue("Logical Disk", "sda1", "Free Percentage"));
}

TEST_F(LogicalDiskScan, TinyPartitionHasNeitherSizeNorPercentage) {
  ScanLines("/dev/sda1 ext3 999 0 5000 0% /\n");

  EXPECT_FALSE(HasValue("Logical Disk", "sda1", "Size"));
  EXPECT_EQ(ValueOf("Logical Disk", "sda1", "FreeSpace"), "5");
  EXPECT_FALSE(HasValue("Logical Disk", "sda1", "Free Percentage"));
}

TEST_F(LogicalDiskScan, OneUnitIsEnoughForAPercentage) {
  ScanLines(
      "/dev/sda1 ext3 1999 0 1000 0% /\n"
      "/dev/sda2 ext3 4000 0 1000 0% /few\n");

  EXPECT_EQ(ValueOf("Logical Disk", "sda1", "Free Percentage"), "100");
  EXPECT_EQ(ValueOf("Logical Disk", "sda2", "Free Percentage"), "25");
}

TEST_F(LogicalDiskScan, LaterMountOfAPartitionReplacesTheEarlier) {
  ScanLines(
      "/dev/sda1 ext3 20158332 3472648 15661684 19% /\n"
      "/dev/sda1 xfs 40000000 0 20000000 50% /mnt\n");

  EXPECT_EQ(Instances("Logical Disk"), Names{"sda1"});
  EXPECT_EQ(ValueOf("Logical Disk", "sda1", "File System Name"), "xfs");
  EXPECT_EQ(ValueOf("Logical Disk", "sda1", "Size"), "40000");
  EXPECT_EQ(ValueOf("Logical Disk", "sda1", "Free Percentage"), "50");
}

TEST_F(LogicalDiskScan, EarlierValueStaysWhereTheLaterLineHasNone) {
  ScanLines(
      "/dev/sda1 ext3 20158332 3472648 15661684 19% /\n"
      "/dev/sda1 ext3 20158332 20158332 0 100% /mnt\n");

  EXPECT_EQ(ValueOf("Logical Disk", "sda1", "FreeSpace"), "15661");
}

TEST_F(LogicalDiskScan, OtherFamiliesOfDevicesAreNotListed) {
  EXPECT_TRUE(
      ScanLines("tmpfs tmpfs 1024000 0 1024000 0% /dev/shm\n"
                "/dev/vda1 ext4 1024000 0 1024000 0% /\n"
                "/dev/mapper/vg-root ext4 1024000 0 1024000 0% /\n"
                "/dev/md0 ext4 1024000 0 1024000 0% /srv\n"
                "/dev/nvme0n1p1 ext4 1024000 0 1024000 0% /boot\n"
                "/dev/sdb ext4 1024000 0 1024000 0% /whole\n"
                "/dev/SDA1 ext4 1024000 0 1024000 0% /case\n"
                "server:/dev/sda1 nfs 1024000 0 1024000 0% /net\n"));

  EXPECT_EQ(Instances("Logical Disk"), Names{});
}

TEST_F(LogicalDiskScan, AllFourFamiliesAndTheBarAreListed) {
  ScanLines(
      "/dev/hdb2 ext2 5000 0 5000 0% /a\n"
      "/dev/sdc3 ext2 5000 0 5000 0% /b\n"
      "/dev/eda1 ext2 5000 0 5000 0% /c\n"
      "/dev/xda1 ext2 5000 0 5000 0% /d\n"
      "/dev/|da1 ext2 5000 0 5000 0% /e\n");

  EXPECT_EQ(Instances("Logical Disk"), (Names{"hdb2", "sdc3", "eda1", "xda1", "|da1"}));
  EXPECT_EQ(ValueOf("Logical Disk", "hdb2", "Physical Disk"), "/dev/hdb");
  EXPECT_EQ(ValueOf("Logical Disk", "|da1", "Name"), "/dev/|da1");
}

TEST_F(LogicalDiskScan, MissingColumnsAreAbsent) {
  ScanLines("/dev/sda1\n/dev/sda2 ext3\n/dev/sda3 ext3 9000\n/dev/sda4 ext3 9000 - - - /\n");

  EXPECT_EQ(ValuesOf("Logical Disk", "sda1"),
            (Values{{"Name", "/dev/sda1"}, {"Physical Disk", "/dev/sda"}, {"Type", "Disk"}}));
  EXPECT_FALSE(HasValue("Logical Disk", "sda2", "File System Name"));
  EXPECT_EQ(ValueOf("Logical Disk", "sda3", "Size"), "9");
  EXPECT_FALSE(HasValue("Logical Disk", "sda4", "FreeSpace"));
}

TEST_F(LogicalDiskScan, BlanksAroundALineDoNotMatter) {
  ScanLines("  /dev/sda1 ext3 20158332 3472648 15661684 19% / \r\n");

  EXPECT_EQ(Instances("Logical Disk"), Names{"sda1"});
}

TEST_F(LogicalDiskScan, OneUnreadableMountDoesNotHideTheOthers) {
  machine.Prints("/bin/df -TP -B 1000", kHeading + "/dev/sda1 ext3 9000 0 9000 0% /\n", 1);

  EXPECT_TRUE(ScanLogicalDisk(inventory));

  EXPECT_EQ(Instances("Logical Disk"), Names{"sda1"});
}

TEST_F(LogicalDiskScan, FailedCommandLeavesTheDefinitions) {
  EXPECT_FALSE(ScanLogicalDisk(inventory));

  EXPECT_EQ(Definitions("Logical Disk").size(), 7U);
  EXPECT_EQ(Instances("Logical Disk"), Names{});
}
