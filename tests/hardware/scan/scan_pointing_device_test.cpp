#include "hardware/scan/fake_machine.h"
#include "hardware/scan/scanners.h"

using HardwareInventory::ScanPointingDevice;
using scan_test::Names;
using scan_test::Values;

namespace {

class PointingDeviceScan : public scan_test::ScanTest {
 protected:
  bool ScanFile(const std::string& text) {
    machine.files.insert("/etc/sysconfig/mouse");
    machine.Prints("cat /etc/sysconfig/mouse", text);
    return ScanPointingDevice(inventory);
  }
};

}  // namespace

TEST_F(PointingDeviceScan, FullNameIsTheName) {
  EXPECT_TRUE(ScanFile("MOUSETYPE=\"imps2\"\nFULLNAME=\"Generic - PS/2 Mouse\"\nX=\"no\"\n"));

  EXPECT_EQ(Classes(), Names{"Pointing Device"});
  EXPECT_EQ(Definitions("Pointing Device"), Names{"Name String"});
  EXPECT_EQ(ValuesOf("Pointing Device", "0"), (Values{{"Name", "Generic - PS/2 Mouse"}}));
  EXPECT_EQ(log.lines, Names{"print Scanning pointing device"});
}

TEST_F(PointingDeviceScan, BlanksAroundTheEqualsSignAndInsideTheQuotes) {
  ScanFile("MOUSETYPE=x\nfullname = \" Wheel \"\n");

  // Blanks before an opening quote are passed over, those behind it are the value's.
  EXPECT_EQ(ValueOf("Pointing Device", "0", "Name"), " Wheel ");
}

TEST_F(PointingDeviceScan, AbsentKeyLeavesAnEmptyInstance) {
  EXPECT_TRUE(ScanFile("MOUSETYPE=\"imps2\"\nDEVICE=x\n"));

  EXPECT_EQ(ValuesOf("Pointing Device", "0"), Values{});
}

TEST_F(PointingDeviceScan, MissingFileFailsWithoutReadingIt) {
  EXPECT_FALSE(ScanPointingDevice(inventory));

  EXPECT_EQ(machine.ran, Names{});
  EXPECT_EQ(Definitions("Pointing Device"), Names{"Name String"});
  EXPECT_EQ(Instances("Pointing Device"), Names{});
}

TEST_F(PointingDeviceScan, UnreadableFileFails) {
  machine.files.insert("/etc/sysconfig/mouse");
  machine.Prints("cat /etc/sysconfig/mouse", "", 1);

  EXPECT_FALSE(ScanPointingDevice(inventory));

  EXPECT_EQ(Instances("Pointing Device"), Names{});
}
