#include "hardware/scan/fake_machine.h"
#include "hardware/scan/scanners.h"

using HardwareInventory::ScanPhysicalDisk;
using scan_test::Names;
using scan_test::Values;

namespace {

class PhysicalDiskScan : public scan_test::ScanTest {
 protected:
  bool ScanLines(const std::string& lines) {
    machine.Prints("/bin/df -TP -B 1000", lines);
    return ScanPhysicalDisk(inventory);
  }
};

}  // namespace

TEST_F(PhysicalDiskScan, DefinesTheAttributesInOrderAndLogsOneLine) {
  EXPECT_TRUE(ScanLines("tmpfs tmpfs 1024000 0 1024000 0% /dev/shm\n"));

  EXPECT_EQ(Classes(), Names{"Disk Drive"});
  EXPECT_EQ(Definitions("Disk Drive"),
            (Names{"Model String", "Size Integer", "Partitions Integer", "InterfaceType String"}));
  EXPECT_EQ(Instances("Disk Drive"), Names{});
  EXPECT_EQ(log.lines, Names{"print Scanning disk drive"});
}

TEST_F(PhysicalDiskScan, PartitionsAreGroupedByDisk) {
  EXPECT_TRUE(
      ScanLines("/dev/sda1 ext3 20158332 1 1 1% /\n"
                "/dev/hdb1 ext3 1000 1 1 1% /old\n"
                "/dev/sda3 ext3 51606140 1 1 1% /home\n"));

  EXPECT_EQ(Instances("Disk Drive"), (Names{"sda", "hdb"}));
  EXPECT_EQ(ValuesOf("Disk Drive", "sda"), (Values{{"Model", "/dev/sda"},
                                                   {"Size", "71764"},
                                                   {"Partitions", "2"},
                                                   {"InterfaceType", "SCSI"}}));
  EXPECT_EQ(
      ValuesOf("Disk Drive", "hdb"),
      (Values{
          {"Model", "/dev/hdb"}, {"Size", "1"}, {"Partitions", "1"}, {"InterfaceType", "IDE"}}));
}

TEST_F(PhysicalDiskScan, SizesAreTruncatedPerPartition) {
  ScanLines("/dev/sda1 ext3 1999 0 0 0% /\n/dev/sda2 ext3 1999 0 0 0% /home\n");

  EXPECT_EQ(ValueOf("Disk Drive", "sda", "Size"), "2");
}

TEST_F(PhysicalDiskScan, PartitionMountedTwiceCountsTwice) {
  ScanLines("/dev/sda1 ext3 5000 0 0 0% /\n/dev/sda1 ext3 5000 0 0 0% /again\n");

  EXPECT_EQ(ValueOf("Disk Drive", "sda", "Partitions"), "2");
  EXPECT_EQ(ValueOf("Disk Drive", "sda", "Size"), "10");
}

TEST_F(PhysicalDiskScan, SmallPartitionsGiveNoSize) {
  ScanLines("/dev/sda1 ext3 999 0 0 0% /\n/dev/sda2 ext3 999 0 0 0% /home\n");

  EXPECT_EQ(ValuesOf("Disk Drive", "sda"),
            (Values{{"Model", "/dev/sda"}, {"Partitions", "2"}, {"InterfaceType", "SCSI"}}));
}

TEST_F(PhysicalDiskScan, MissingBlocksColumnGivesNoSize) {
  ScanLines("/dev/sda1\n/dev/sda2 ext3 - 0\n");

  EXPECT_EQ(ValueOf("Disk Drive", "sda", "Partitions"), "2");
  EXPECT_FALSE(HasValue("Disk Drive", "sda", "Size"));
}

TEST_F(PhysicalDiskScan, InterfaceComesFromTheName) {
  ScanLines(
      "/dev/hda1 ext2 5000 0 0 0% /a\n"
      "/dev/sda1 ext2 5000 0 0 0% /b\n"
      "/dev/eda1 ext2 5000 0 0 0% /c\n"
      "/dev/xda1 ext2 5000 0 0 0% /d\n");

  EXPECT_EQ(ValueOf("Disk Drive", "hda", "InterfaceType"), "IDE");
  EXPECT_EQ(ValueOf("Disk Drive", "sda", "InterfaceType"), "SCSI");
  EXPECT_EQ(ValueOf("Disk Drive", "eda", "InterfaceType"), "ESDI");
  EXPECT_EQ(ValueOf("Disk Drive", "xda", "InterfaceType"), "XT");
}

TEST_F(PhysicalDiskScan, DiskMatchedThroughTheBarHasNoInterface) {
  ScanLines("/dev/|da1 ext2 5000 0 0 0% /a\n");

  EXPECT_EQ(ValuesOf("Disk Drive", "|da"),
            (Values{{"Model", "/dev/|da"}, {"Size", "5"}, {"Partitions", "1"}}));
}

TEST_F(PhysicalDiskScan, OtherFamiliesOfDevicesAreNotListed) {
  EXPECT_TRUE(
      ScanLines("/dev/vda1 ext4 5000 0 0 0% /\n"
                "/dev/mapper/vg-root ext4 5000 0 0 0% /\n"
                "/dev/nvme0n1p1 ext4 5000 0 0 0% /boot\n"
                "/dev/sdb ext4 5000 0 0 0% /whole\n"));

  EXPECT_EQ(Instances("Disk Drive"), Names{});
}

TEST_F(PhysicalDiskScan, SecondScanCountsAfresh) {
  ScanLines("/dev/sda1 ext3 5000 0 0 0% /\n");

  ScanPhysicalDisk(inventory);

  EXPECT_EQ(ValueOf("Disk Drive", "sda", "Partitions"), "1");
  EXPECT_EQ(ValueOf("Disk Drive", "sda", "Size"), "5");
}

TEST_F(PhysicalDiskScan, FailedCommandLeavesTheDefinitions) {
  EXPECT_FALSE(ScanPhysicalDisk(inventory));

  EXPECT_EQ(Definitions("Disk Drive").size(), 4U);
  EXPECT_EQ(Instances("Disk Drive"), Names{});
}
