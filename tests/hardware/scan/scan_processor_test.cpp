#include "hardware/scan/fake_machine.h"
#include "hardware/scan/scanners.h"

using HardwareInventory::ScanProcessor;
using scan_test::Names;
using scan_test::Values;

namespace {

class ProcessorScan : public scan_test::ScanTest {};

}  // namespace

TEST_F(ProcessorScan, DefinesTheAttributesInOrderAndLogsOneLine) {
  machine.Prints("cat /proc/cpuinfo", "");

  EXPECT_TRUE(ScanProcessor(inventory));

  EXPECT_EQ(Classes(), Names{"Processor"});
  EXPECT_EQ(Definitions("Processor"),
            (Names{"ProcessorId String", "UniqueId String", "Manufacturer String", "Name String",
                   "Description String", "Family Integer", "CurrentClockSpeed Integer",
                   "Stepping String"}));
  EXPECT_EQ(Instances("Processor"), Names{});
  EXPECT_EQ(log.lines, Names{"print Scanning processor"});
}

TEST_F(ProcessorScan, EachLogicalProcessorIsAnInstance) {
  machine.Prints("cat /proc/cpuinfo",
                 "processor\t: 0\n"
                 "vendor_id\t: ExampleCorp\n"
                 "cpu family\t: 6\n"
                 "model\t\t: 45\n"
                 "model name\t: Example CPU 2.40GHz\n"
                 "stepping\t: 7\n"
                 "cpu MHz\t\t: 2394.230\n"
                 "physical id\t: 0\n"
                 "flags\t\t: fpu vme\n"
                 "\n"
                 "processor\t: 1\n"
                 "vendor_id\t: ExampleCorp\n"
                 "physical id\t: 0\n"
                 "flags\t\t: fpu vme\n"
                 "\n");

  EXPECT_TRUE(ScanProcessor(inventory));

  EXPECT_EQ(Instances("Processor"), (Names{"0", "1"}));
  EXPECT_EQ(ValuesOf("Processor", "0"), (Values{{"ProcessorId", "0"},
                                                {"UniqueId", "0"},
                                                {"Manufacturer", "ExampleCorp"},
                                                {"Name", "Example CPU 2.40GHz"},
                                                {"Description", "Example CPU 2.40GHz"},
                                                {"Family", "6"},
                                                {"CurrentClockSpeed", "2394.230"},
                                                {"Stepping", "7"}}));
  EXPECT_EQ(ValuesOf("Processor", "1"),
            (Values{{"ProcessorId", "1"}, {"UniqueId", "0"}, {"Manufacturer", "ExampleCorp"}}));
}

TEST_F(ProcessorScan, TrailingBlanksOfTheModelNameStay) {
  machine.Prints("cat /proc/cpuinfo",
                 "processor\t: 0\n"
                 "model name\t: Xeon CPU E5-2650 2.00GHz  \n"
                 "flags\t\t: fpu\n\n");

  ScanProcessor(inventory);

  EXPECT_EQ(ValueOf("Processor", "0", "Name"), "Xeon CPU E5-2650 2.00GHz  ");
  EXPECT_EQ(ValueOf("Processor", "0", "Description"), "Xeon CPU E5-2650 2.00GHz  ");
}

TEST_F(ProcessorScan, WithoutPackageNumberThereIsNoUniqueId) {
  machine.Prints("cat /proc/cpuinfo", "processor\t: 0\nvendor_id\t: ExampleCorp\nfoo: 1\n\n");

  ScanProcessor(inventory);

  EXPECT_FALSE(HasValue("Processor", "0", "UniqueId"));
}

TEST_F(ProcessorScan, LastLineOfAParagraphIsNotFound) {
  machine.Prints("cat /proc/cpuinfo",
                 "processor\t: 0\n"
                 "stepping\t: 7\n"
                 "\n"
                 "processor\t: 1\n"
                 "stepping\t: 7\n");

  ScanProcessor(inventory);

  EXPECT_FALSE(HasValue("Processor", "0", "Stepping"));
  // The very last line of the output keeps its line end.
  EXPECT_EQ(ValueOf("Processor", "1", "Stepping"), "7");
}

TEST_F(ProcessorScan, ParagraphWithNothingButItsNumberIsNoInstance) {
  machine.Prints("cat /proc/cpuinfo", "processor\t: 0\n\nprocessor\t: 1\n\n");

  EXPECT_TRUE(ScanProcessor(inventory));

  EXPECT_EQ(Instances("Processor"), Names{});
}

TEST_F(ProcessorScan, ParagraphOfGeneralInformationIsSkipped) {
  machine.Prints("cat /proc/cpuinfo",
                 "processor\t: 0\n"
                 "BogoMIPS\t: 38.40\n"
                 "\n"
                 "Hardware\t: Example Board\n"
                 "Revision\t: a02082\n"
                 "model name\t: Example Board\n");

  EXPECT_TRUE(ScanProcessor(inventory));

  EXPECT_EQ(Instances("Processor"), Names{"0"});
}

TEST_F(ProcessorScan, KeysAreFoundInAnyLetterCaseAtTheLineStartOnly) {
  machine.Prints("cat /proc/cpuinfo",
                 "Processor : 3\n"
                 " vendor_id : Indented\n"
                 "CPU mhz : 800\n"
                 "end : 1\n\n");

  ScanProcessor(inventory);

  EXPECT_EQ(ValuesOf("Processor", "3"),
            (Values{{"ProcessorId", "3"}, {"CurrentClockSpeed", "800"}}));
}

TEST_F(ProcessorScan, FailedCommandLeavesTheDefinitions) {
  EXPECT_FALSE(ScanProcessor(inventory));

  EXPECT_EQ(Definitions("Processor").size(), 8U);
  EXPECT_EQ(Instances("Processor"), Names{});
}
