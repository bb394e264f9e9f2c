#include "hardware/scan/fake_machine.h"
#include "hardware/scan/scanners.h"

using HardwareInventory::ScanDesktopMonitor;
using HardwareInventory::ScanVideoController;
using scan_test::Names;
using scan_test::Values;

namespace {

const std::string kListing = R"sh(lspci | grep "VGA\|Video")sh";
const std::string kConfiguration =
    R"sh(cat /etc/X11/xorg.conf | cut -d '#' -f1 | tr -s '[:space:]')sh";
const std::string kServer = R"sh(pgrep -f "bin/X |bin/X$")sh";
const std::string kNvidiaVersion = "cat /proc/driver/nvidia/version";

std::string MemoryLog(const std::string& keyword) {
  return "grep Memory /var/log/Xorg.0.log* | grep -i " + keyword;
}

const std::string kGeForce =
    "01:00.0 VGA compatible controller: NVIDIA Corporation GT218 [GeForce 210] (rev a2)\n";
const std::string kIllustra = "00:02.0 VGA compatible controller: Illustra Graphics 9 (rev 02)\n";

const std::string kGeForceSections =
    "Section \"ServerLayout\"\n Identifier \"Layout0\"\nEndSection\n"
    "Section \"Device\"\n Identifier \"Device0\"\n Driver \"nvidia\"\n"
    " VendorName \"NVIDIA Corporation\"\n BoardName \"GeForce 210\"\nEndSection\n"
    "Section \"Screen\"\n Identifier \"Screen0\"\n Device \"Device0\"\n DefaultDepth 24\n"
    " Option \"metamodes\" \"DFP-0: 1920x1080_60 +0+0, DFP-0: 1280x1024_75 +0+0\"\n"
    " SubSection \"Display\"\n Depth 24\n EndSubSection\nEndSection\n";

std::string Device(const std::string& lines) {
  return "Section \"Device\"\n" + lines + "EndSection\n";
}
std::string Screen(const std::string& lines) {
  return "Section \"Screen\"\n" + lines + "EndSection\n";
}

class VideoControllerScan : public scan_test::ScanTest {
 protected:
  bool Scan(const std::string& listing, const std::string& configuration = "") {
    machine.Prints(kListing, listing);
    machine.Prints(kConfiguration, configuration);
    return ScanVideoController(inventory);
  }
  std::string Value(const char* attribute, const char* instance = "0") {
    return ValueOf("Video Controller", instance, attribute);
  }
};

}  // namespace

TEST_F(VideoControllerScan, DefinesTheAttributesInOrderAndLogsOneLine) {
  EXPECT_TRUE(ScanVideoController(inventory));

  EXPECT_EQ(
      Definitions("Video Controller"),
      (Names{"AdapterCompatibility String", "AdapterRAM Integer", "Availability String",
             "CurrentBitsPerPixel Integer", "CurrentHorizontalResolution Integer",
             "CurrentRefreshRate Integer", "CurrentVerticalResolution Integer",
             "Description String", "DriverDate String", "DriverVersion String", "Name String",
             "VideoArchitecture String", "VideoModeDescription String", "VideoProcessor String"}));
  EXPECT_EQ(Instances("Video Controller"), Names{});
  EXPECT_EQ(log.lines, Names{"print Scanning video controller"});
}

TEST_F(VideoControllerScan, AdapterWithEverythingGetsAllItsValues) {
  machine.Prints(MemoryLog("NVIDIA"),
                 "/var/log/Xorg.0.log:[    22.1] (--) NVIDIA(0): Memory: 524288 kBytes\n");
  machine.Prints(kServer, "812\n");
  machine.Prints(kNvidiaVersion,
                 "NVRM version: NVIDIA UNIX x86_64 Kernel Module  304.88  "
                 "Wed Mar 27 14:26:46 PDT 2013\nGCC version:  gcc version 4.7.2\n");

  EXPECT_TRUE(Scan(kGeForce, kGeForceSections));

  EXPECT_EQ(ValuesOf("Video Controller", "0"),
            (Values{{"AdapterRAM", "512"},
                    {"AdapterCompatibility", "nvidia"},
                    {"VideoProcessor", "GeForce 210"},
                    {"CurrentBitsPerPixel", "24"},
                    {"CurrentHorizontalResolution", "1920"},
                    {"CurrentRefreshRate", "60"},
                    {"CurrentVerticalResolution", "1080"},
                    {"VideoModeDescription", "1920x1080_60"},
                    {"Description", "NVIDIA Corporation GT218 [GeForce 210] (rev a2)"},
                    {"Name", "NVIDIA Corporation GT218 [GeForce 210]"},
                    {"VideoArchitecture", "VGA"},
                    {"Availability", "Enabled"},
                    {"DriverDate", "Wed Mar 27 14:26:46 PDT 2013"},
                    {"DriverVersion", "304.88"}}));
}

TEST_F(VideoControllerScan, RunsExactlyTheseCommandsInOrder) {
  Scan(kGeForce, kGeForceSections);

  EXPECT_EQ(machine.ran,
            (Names{kListing, kConfiguration, MemoryLog("NVIDIA"), kServer, kNvidiaVersion}));
}

TEST_F(VideoControllerScan, ConfigurationIsReadOncePerAdapter) {
  Scan(kIllustra + kGeForce);

  EXPECT_EQ(machine.TimesRan(kConfiguration), 2U);
}

TEST_F(VideoControllerScan, WithoutConfigurationTheListingsValuesStay) {
  EXPECT_TRUE(Scan(kIllustra));

  EXPECT_EQ(ValuesOf("Video Controller", "0"),
            (Values{{"Description", "Illustra Graphics 9 (rev 02)"},
                    {"Name", "Illustra Graphics 9"},
                    {"VideoArchitecture", "VGA"},
                    {"Availability", "Unknown"}}));
}

TEST_F(VideoControllerScan, DescriptionIsCutAtItsOwnColon) {
  Scan("00:02.0 VGA compatible controller: Illustra: Graphics 9\n");

  EXPECT_EQ(Value("Description"), "Illustra");
}

TEST_F(VideoControllerScan, LineWithoutDescriptionHasEmptyTexts) {
  Scan("Video\n");

  EXPECT_EQ(ValuesOf("Video Controller", "0"), (Values{{"Description", ""},
                                                       {"Name", ""},
                                                       {"VideoArchitecture", ""},
                                                       {"Availability", "Unknown"}}));
}

TEST_F(VideoControllerScan, VideoClassWithoutVgaHasAnEmptyArchitecture) {
  Scan("00:03.0 Video controller: Illustra VGA 9\n");

  EXPECT_TRUE(HasValue("Video Controller", "0", "VideoArchitecture"));
  EXPECT_EQ(Value("VideoArchitecture"), "");
}

TEST_F(VideoControllerScan, ArchitectureIsCaseSensitive) {
  Scan("00:03.0 vga Video controller: Illustra\n");

  EXPECT_EQ(Value("VideoArchitecture"), "");
}

TEST_F(VideoControllerScan, EachKeywordOfTheNameSelectsADevice) {
  for (const char* keyword : {"NVIDIA", "Corporation", "GT218", "GeForce", "210"}) {
    SCOPED_TRACE(keyword);
    inventory.Clear();
    machine.ran.clear();

    Scan(kGeForce, Device(" Driver \"drv\"\n BoardName \"x " + std::string(keyword) + "y\"\n"));

    EXPECT_EQ(machine.TimesRan(MemoryLog(keyword)), 1U);
    EXPECT_EQ(Value("AdapterCompatibility"), "drv");
  }
}

TEST_F(VideoControllerScan, KeywordsHaveAllDigitsAndLetters) {
  const std::string keyword = "0123456789abcdefghijklmnopqrstuvwxyz";

  Scan("01:00.0 VGA compatible controller: " + keyword + "\n",
       Device(" BoardName \"" + keyword + "\"\n"));

  EXPECT_EQ(machine.TimesRan(MemoryLog(keyword)), 1U);
}

TEST_F(VideoControllerScan, NameThatIsNotClosedIsNone) {
  Scan(kGeForce, Device(" Driver \"nvidia\n"));

  EXPECT_EQ(machine.TimesRan(MemoryLog("NVIDIA")), 0U);
}

TEST_F(VideoControllerScan, TheFirstKeywordThatMatchesServesTheLog) {
  Scan(kGeForce, Device(" BoardName \"210\"\n VendorName \"the nViDiA company\"\n"));

  EXPECT_EQ(machine.TimesRan(MemoryLog("NVIDIA")), 1U);
  EXPECT_EQ(machine.TimesRan(MemoryLog("210")), 0U);
}

TEST_F(VideoControllerScan, VendorNameIsNotStored) {
  Scan(kGeForce, Device(" VendorName \"nvidia\"\n"));

  EXPECT_EQ(Value("AdapterCompatibility"), "<absent>");
  EXPECT_EQ(Value("VideoProcessor"), "<absent>");
}

TEST_F(VideoControllerScan, DeviceThatMatchesNothingIsPassedOver) {
  Scan(kIllustra, Device(" Identifier \"Illustra\"\n Driver \"other\"\n") +
                      Device(" Driver \"illustra\"\n") + Device(" Driver \"illustra2\"\n"));

  EXPECT_EQ(Value("AdapterCompatibility"), "illustra");
}

TEST_F(VideoControllerScan, SectionsOfOtherKindsAreNotDevices) {
  Scan(kIllustra,
       "Section \"Monitor\"\n VendorName \"Illustra\"\nEndSection\n"
       "Section \"device\"\n Driver \"illustra\"\nEndSection\n");

  EXPECT_EQ(Value("AdapterCompatibility"), "<absent>");
}

TEST_F(VideoControllerScan, MemoryIsWholeMegabytes) {
  const std::string device = Device(" Driver \"illustra\"\n");
  for (const auto& [line, megabytes] :
       {std::pair("Memory: 524288 kBytes\n", "512"), std::pair("Memory: 1024 kB\n", "1"),
        std::pair("memory: 2047kb\n", "1"), std::pair("Memory: 1023 kB\n", "0"),
        std::pair("Memory: 0 kB\n", "0"), std::pair("VideoRAM\n", "<absent>")}) {
    SCOPED_TRACE(line);
    inventory.Clear();
    machine.Prints(MemoryLog("Illustra"), line);

    Scan(kIllustra, device);

    EXPECT_EQ(Value("AdapterRAM"), megabytes);
  }
}

TEST_F(VideoControllerScan, FirstModeCounts) {
  Scan(kGeForce,
       Device(" Identifier \"D\"\n Driver \"nvidia\"\n") +
           Screen(
               " Device \"D\"\n Option \"metamodes\" \"DFP-0: 1920x1080_60 +0+0; 800x600_75\"\n"));

  EXPECT_EQ(Value("CurrentHorizontalResolution"), "1920");
  EXPECT_EQ(Value("CurrentVerticalResolution"), "1080");
  EXPECT_EQ(Value("CurrentRefreshRate"), "60");
  EXPECT_EQ(Value("VideoModeDescription"), "1920x1080_60");
}

TEST_F(VideoControllerScan, ScreenPatternsAreCaseSensitive) {
  Scan(kGeForce, Device(" Identifier \"D\"\n Driver \"nvidia\"\n") +
                     Screen(" Device \"D\"\n depth 24\n Option \"MetaModes\" \"1920x1080_60\"\n"));

  EXPECT_EQ(Value("CurrentBitsPerPixel"), "<absent>");
  EXPECT_EQ(Value("VideoModeDescription"), "<absent>");
}

TEST_F(VideoControllerScan, ScreenOfAnotherDeviceSetsNothing) {
  Scan(kGeForce, Device(" Identifier \"Device0\"\n Driver \"nvidia\"\n") +
                     Screen(" Device \"Device1\"\n Depth 24\n") +
                     Screen(" Device \"Device0 b\"\n Depth 24\n"));

  EXPECT_EQ(Value("CurrentBitsPerPixel"), "<absent>");
}

TEST_F(VideoControllerScan, OnlyScreenSectionsTellOfTheScreen) {
  Scan(kGeForce, Device(" Identifier \"D\"\n Driver \"nvidia\"\n") +
                     Screen(" Device \"D\"\n Depth 16\n") +
                     "Section \"Monitor\"\n Device \"D\"\n Depth 24\nEndSection\n");

  EXPECT_EQ(Value("CurrentBitsPerPixel"), "16");
}

TEST_F(VideoControllerScan, LastScreenOfTheDeviceWins) {
  Scan(kGeForce, Screen(" Device \"D\"\n Depth 8\n Option \"metamodes\" \"a 640x480_60\"\n") +
                     Device(" Identifier \"D\"\n Driver \"nvidia\"\n") +
                     Screen(" Device \"D\"\n Depth 16\n"));

  EXPECT_EQ(Value("CurrentBitsPerPixel"), "16");
  EXPECT_EQ(Value("VideoModeDescription"), "640x480_60");
}

TEST_F(VideoControllerScan, IdentifierGoesIntoThePatternUnescaped) {
  Scan(kGeForce, Device(" Identifier \"Card.\"\n Driver \"nvidia\"\n") +
                     Screen(" Device \"Card9\"\n Depth 24\n"));

  EXPECT_EQ(Value("CurrentBitsPerPixel"), "24");
}

TEST_F(VideoControllerScan, DeviceWithoutIdentifierHasNoScreens) {
  Scan(kGeForce, Device(" Driver \"nvidia\"\n") + Screen(" Device \"\"\n Depth 24\n"));

  EXPECT_EQ(Value("AdapterCompatibility"), "nvidia");
  EXPECT_EQ(Value("CurrentBitsPerPixel"), "<absent>");
}

TEST_F(VideoControllerScan, TwoAdaptersMaySelectTheSameDevice) {
  Scan(
      "00:02.0 VGA compatible controller: Illustra Graphics 9\n"
      "01:00.0 VGA compatible controller: Illustra Graphics 12\n",
      Device(" Driver \"illustra\"\n"));

  EXPECT_EQ(Instances("Video Controller"), (Names{"0", "1"}));
  EXPECT_EQ(Value("AdapterCompatibility", "0"), "illustra");
  EXPECT_EQ(Value("AdapterCompatibility", "1"), "illustra");
  EXPECT_EQ(Value("Name", "1"), "Illustra Graphics 12");
}

TEST_F(VideoControllerScan, NvidiaWithoutReadableVersionHasEmptyDriverValues) {
  machine.Prints(kNvidiaVersion, "NVRM version: unknown\nGCC version: 4\n");

  Scan(kGeForce);

  EXPECT_TRUE(HasValue("Video Controller", "0", "DriverDate"));
  EXPECT_EQ(Value("DriverDate"), "");
  EXPECT_TRUE(HasValue("Video Controller", "0", "DriverVersion"));
  EXPECT_EQ(Value("DriverVersion"), "");
}

TEST_F(VideoControllerScan, OtherAdaptersHaveNoDriverValues) {
  machine.Prints(kNvidiaVersion, "Module  304.88  Wed Mar 27 14:26:46 PDT 2013\nx\n");

  Scan(kIllustra);

  EXPECT_EQ(Value("DriverDate"), "<absent>");
  EXPECT_EQ(machine.TimesRan(kNvidiaVersion), 0U);
}

TEST_F(VideoControllerScan, SecondScanCountsFromZeroAgain) {
  Scan(kIllustra);

  ScanVideoController(inventory);

  EXPECT_EQ(Instances("Video Controller"), Names{"0"});
}

TEST_F(VideoControllerScan, DesktopMonitorAlwaysFailsAndTouchesNothing) {
  EXPECT_FALSE(ScanDesktopMonitor(inventory));

  EXPECT_EQ(Classes(), Names{});
  EXPECT_EQ(machine.ran, Names{});
  EXPECT_EQ(log.lines, Names{});
}
