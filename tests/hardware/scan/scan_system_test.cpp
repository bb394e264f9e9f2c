#include <array>

#include "hardware/scan/fake_machine.h"
#include "hardware/scan/scanners.h"

using HardwareInventory::ScanSystem;
using scan_test::Names;
using scan_test::Values;

namespace {

constexpr std::array kBiosCommands = {
    "dmidecode -qs bios-vendor",
    "dmidecode -qs bios-release-date",
    "dmidecode -qs system-serial-number",
    "dmidecode -qs bios-version",
    "dmidecode -t 0",
};
constexpr std::array kLaterProductCommands = {
    "dmidecode -qs system-product-name",
    "dmidecode -qs system-uuid",
    "dmidecode -qs system-manufacturer",
    "dmidecode -qs system-version",
};

class SystemScan : public scan_test::ScanTest {
 protected:
  SystemScan() {
    machine.Prints("cat /proc/uptime", "354871.53 1401231.10\n");
    machine.Prints("/bin/uname -r", "4.19.0-example\n");
    machine.Prints("dmidecode -qs bios-vendor", "Firmware Works\n");
    machine.Prints("dmidecode -qs bios-release-date", "01/15/2010\n");
    machine.Prints("dmidecode -qs system-serial-number", "SN-0042\n");
    machine.Prints("dmidecode -qs bios-version", "B7.1\n");
    machine.Prints("dmidecode -t 0",
                   "# dmidecode 3.4\n"
                   "Getting SMBIOS data from sysfs.\n"
                   "SMBIOS 2.7 present.\n\n"
                   "Handle 0x0000, DMI type 0, 24 bytes\n"
                   "BIOS Information\n"
                   "\tVendor: Firmware Works\n"
                   "\tBIOS Revision: 4.6\n\n");
    machine.Prints("dmidecode -qs system-product-name", "Tower 9\n");
    machine.Prints("dmidecode -qs system-uuid", "00112233-4455-6677-8899-aabbccddeeff\n");
    machine.Prints("dmidecode -qs system-manufacturer", "Machine Works\n");
    machine.Prints("dmidecode -qs system-version", "rev 3\n");
  }
};

}  // namespace

TEST_F(SystemScan, MakesFiveClassesInOrderAndLogsOneLine) {
  EXPECT_TRUE(ScanSystem(inventory));

  EXPECT_EQ(Classes(), (Names{"OS Performance", "Computer System", "Operating System", "BIOS",
                              "Computer System Product"}));
  EXPECT_EQ(log.lines, (Names{"print Scanning system"}));
}

TEST_F(SystemScan, DefinesTheAttributesInOrder) {
  ScanSystem(inventory);

  EXPECT_EQ(Definitions("OS Performance"), (Names{"SystemUpTime Integer"}));
  EXPECT_EQ(Definitions("Computer System"), (Names{"Name String"}));
  EXPECT_EQ(Definitions("Operating System"), (Names{"Caption String", "CSDVersion String"}));
  EXPECT_EQ(Definitions("BIOS"),
            (Names{"Manufacturer String", "ReleaseDate String", "SerialNumber String",
                   "SMBIOSBIOSVersion String", "SMBIOSMajorVersion Integer",
                   "SMBIOSMinorVersion Integer", "SMBIOSPresent String", "Version String"}));
  EXPECT_EQ(Definitions("Computer System Product"),
            (Names{"IdentifyingNumber String", "Name String", "UUID String", "Vendor String",
                   "Version String"}));
}

TEST_F(SystemScan, SetsEveryValueOnInstanceZero) {
  ScanSystem(inventory);

  EXPECT_EQ(ValuesOf("OS Performance", "0"), (Values{{"SystemUpTime", "354871"}}));
  EXPECT_EQ(ValuesOf("Computer System", "0"), (Values{{"Name", "host.example"}}));
  EXPECT_EQ(ValuesOf("Operating System", "0"),
            (Values{{"Caption", "Example Linux 7 (Seven)"}, {"CSDVersion", "4.19.0-example"}}));
  EXPECT_EQ(ValuesOf("BIOS", "0"), (Values{{"Manufacturer", "Firmware Works"},
                                           {"ReleaseDate", "01/15/2010 00:00:00"},
                                           {"SerialNumber", "SN-0042"},
                                           {"SMBIOSBIOSVersion", "B7.1"},
                                           {"SMBIOSMajorVersion", "2"},
                                           {"SMBIOSMinorVersion", "7"},
                                           {"SMBIOSPresent", "TRUE"},
                                           {"Version", "4.6"}}));
  EXPECT_EQ(ValuesOf("Computer System Product", "0"),
            (Values{{"IdentifyingNumber", "SN-0042"},
                    {"Name", "Tower 9"},
                    {"UUID", "00112233-4455-6677-8899-aabbccddeeff"},
                    {"Vendor", "Machine Works"},
                    {"Version", "rev 3"}}));
}

TEST_F(SystemScan, RunsItsCommandsInOrderWithTheSerialNumberTwice) {
  ScanSystem(inventory);

  EXPECT_EQ(
      machine.ran,
      (Names{"cat /proc/uptime", "/bin/uname -r", "dmidecode -qs bios-vendor",
             "dmidecode -qs bios-release-date", "dmidecode -qs system-serial-number",
             "dmidecode -qs bios-version", "dmidecode -t 0", "dmidecode -qs system-serial-number",
             "dmidecode -qs system-product-name", "dmidecode -qs system-uuid",
             "dmidecode -qs system-manufacturer", "dmidecode -qs system-version"}));
}

TEST_F(SystemScan, UpTimeIsCutNotRounded) {
  machine.Prints("cat /proc/uptime", " 354871.99 1.00\n");

  ScanSystem(inventory);

  EXPECT_EQ(ValueOf("OS Performance", "0", "SystemUpTime"), "354871");
}

TEST_F(SystemScan, UpTimeMustStandAtTheBeginning) {
  machine.Prints("cat /proc/uptime", "up\n354871.99 1.00\n");

  EXPECT_TRUE(ScanSystem(inventory));

  EXPECT_EQ(Instances("OS Performance"), Names{});
}

TEST_F(SystemScan, UnreadableUpTimeLeavesTheClassWithoutInstance) {
  machine.results.erase("cat /proc/uptime");

  EXPECT_TRUE(ScanSystem(inventory));

  EXPECT_EQ(Definitions("OS Performance").size(), 1U);
  EXPECT_EQ(Instances("OS Performance"), Names{});
}

TEST_F(SystemScan, OnlyTheKernelReleaseIsTrimmed) {
  machine.Prints("/bin/uname -r", " 4.19.0-example \n\n");
  machine.Prints("dmidecode -qs bios-vendor", "  Firmware Works  \n");
  machine.Prints("dmidecode -qs system-version", " \n");

  ScanSystem(inventory);

  EXPECT_EQ(ValueOf("Operating System", "0", "CSDVersion"), "4.19.0-example");
  EXPECT_EQ(ValueOf("BIOS", "0", "Manufacturer"), "  Firmware Works  ");
  EXPECT_EQ(ValueOf("Computer System Product", "0", "Version"), " ");
}

TEST_F(SystemScan, FailedKernelReleaseIsSkipped) {
  machine.results.erase("/bin/uname -r");

  EXPECT_TRUE(ScanSystem(inventory));

  EXPECT_EQ(ValuesOf("Operating System", "0"), (Values{{"Caption", "Example Linux 7 (Seven)"}}));
}

TEST_F(SystemScan, BiosSerialNumberIsTheSystemsNotTheBoards) {
  machine.Prints("dmidecode -qs baseboard-serial-number", "BOARD-1\n");
  machine.Prints("dmidecode -qs chassis-serial-number", "CHASSIS-1\n");

  ScanSystem(inventory);

  EXPECT_EQ(ValueOf("BIOS", "0", "SerialNumber"), "SN-0042");
}

TEST_F(SystemScan, WithoutHeaderAndRevisionTheValuesAreThereAndEmpty) {
  machine.Prints("dmidecode -t 0", "BIOS Information\n\tVendor: Firmware Works\n");

  EXPECT_TRUE(ScanSystem(inventory));

  EXPECT_EQ(ValueOf("BIOS", "0", "SMBIOSMajorVersion"), "");
  EXPECT_EQ(ValueOf("BIOS", "0", "SMBIOSMinorVersion"), "");
  EXPECT_EQ(ValueOf("BIOS", "0", "SMBIOSPresent"), "FALSE");
  EXPECT_EQ(ValueOf("BIOS", "0", "Version"), "");
}

TEST_F(SystemScan, HeaderAndRevisionAreFoundInAnyLetterCase) {
  machine.Prints("dmidecode -t 0", "smbios 3.12 PRESENT.\n\tbios revision: 5.x-Rel\n");

  ScanSystem(inventory);

  EXPECT_EQ(ValueOf("BIOS", "0", "SMBIOSMinorVersion"), "12");
  EXPECT_EQ(ValueOf("BIOS", "0", "Version"), "5.x-Rel");
}

TEST_F(SystemScan, WithoutDmidecodeTheFirstThreeClassesAreComplete) {
  for (const char* command : kBiosCommands) machine.results.erase(command);
  for (const char* command : kLaterProductCommands) machine.results.erase(command);

  EXPECT_FALSE(ScanSystem(inventory));

  EXPECT_EQ(Classes(), (Names{"OS Performance", "Computer System", "Operating System", "BIOS"}));
  EXPECT_EQ(ValueOf("OS Performance", "0", "SystemUpTime"), "354871");
  EXPECT_EQ(ValueOf("Operating System", "0", "CSDVersion"), "4.19.0-example");
  EXPECT_EQ(Definitions("BIOS").size(), 8U);
  EXPECT_EQ(Instances("BIOS"), Names{});
}

TEST_F(SystemScan, AnyBiosCommandThatFailsEndsTheScanAtOnce) {
  for (const char* command : kBiosCommands) {
    SCOPED_TRACE(command);
    const KorCommandResult kept = machine.results[command];
    machine.Prints(command, "", 1);
    machine.ran.clear();
    inventory.Clear();

    EXPECT_FALSE(ScanSystem(inventory));

    EXPECT_EQ(machine.ran.back(), command);
    EXPECT_EQ(Classes().back(), "BIOS");
    EXPECT_EQ(Instances("BIOS"), Names{});
    machine.results[command] = kept;
  }
}

TEST_F(SystemScan, AnyProductCommandThatFailsLeavesBiosComplete) {
  for (const char* command : kLaterProductCommands) {
    SCOPED_TRACE(command);
    const KorCommandResult kept = machine.results[command];
    machine.Prints(command, "", 1);
    machine.ran.clear();
    inventory.Clear();

    EXPECT_FALSE(ScanSystem(inventory));

    EXPECT_EQ(machine.ran.back(), command);
    EXPECT_EQ(ValuesOf("BIOS", "0").size(), 8U);
    EXPECT_EQ(Definitions("Computer System Product").size(), 5U);
    EXPECT_EQ(Instances("Computer System Product"), Names{});
    machine.results[command] = kept;
  }
}

TEST_F(SystemScan, SecondScanOfADocumentReplacesTheValues) {
  ScanSystem(inventory);
  machine.Prints("cat /proc/uptime", "400000.00 1.00\n");

  ScanSystem(inventory);

  EXPECT_EQ(Classes().size(), 5U);
  EXPECT_EQ(Instances("BIOS"), Names{"0"});
  EXPECT_EQ(ValuesOf("OS Performance", "0"), (Values{{"SystemUpTime", "400000"}}));
}
