#include "hardware/scan/fake_machine.h"
#include "hardware/scan/scanners.h"

using HardwareInventory::ScanKeyboard;
using scan_test::Names;
using scan_test::Values;

namespace {

class KeyboardScan : public scan_test::ScanTest {
 protected:
  bool ScanFile(const std::string& text) {
    machine.files.insert("/etc/sysconfig/keyboard");
    machine.Prints("cat /etc/sysconfig/keyboard", text);
    return ScanKeyboard(inventory);
  }
};

}  // namespace

TEST_F(KeyboardScan, QuotesAreStripped) {
  EXPECT_TRUE(ScanFile("KEYTABLE=\"de-latin1\"\nMODEL=\"pc105\"\nKEYBOARDTYPE=\"pc\"\n"));

  EXPECT_EQ(Definitions("Keyboard"), (Names{"Name String", "Layout String"}));
  EXPECT_EQ(ValuesOf("Keyboard", "0"), (Values{{"Name", "pc"}, {"Layout", "de-latin1"}}));
  EXPECT_EQ(log.lines, Names{"print Scanning keyboard"});
}

TEST_F(KeyboardScan, KeysMatchInAnyLetterCaseAtTheLineStartOnly) {
  ScanFile("# keys\nkeyboardtype=\"pc\"\n KEYTABLE=\"us\"\n# \"end\"\n");

  EXPECT_EQ(ValuesOf("Keyboard", "0"), (Values{{"Name", "pc"}}));
}

TEST_F(KeyboardScan, UnquotedValueRunsOverLineEnds) {
  ScanFile("KEYBOARDTYPE=pc\nFOO=1\nBAR=2\nKEYTABLE=\"us\"\n# end\n");

  // Up to the last line end before the next quote, which ends it.
  EXPECT_EQ(ValueOf("Keyboard", "0", "Name"), "pc\nFOO=1\nBAR=2");
  EXPECT_EQ(ValueOf("Keyboard", "0", "Layout"), "us");
}

TEST_F(KeyboardScan, UnquotedLastValueRunsToTheEndOfTheText) {
  ScanFile("KEYTABLE=us\nFOO=1\n");

  EXPECT_EQ(ValueOf("Keyboard", "0", "Layout"), "us\nFOO=1");
}

TEST_F(KeyboardScan, EmptyQuotedValueTakesNothingOfItsOwnLine) {
  ScanFile("KEYTABLE=\"\"\nFOO=1\n");

  EXPECT_FALSE(HasValue("Keyboard", "0", "Layout"));
}

TEST_F(KeyboardScan, EmptyFileGivesAnEmptyInstance) {
  EXPECT_TRUE(ScanFile(""));

  EXPECT_EQ(Instances("Keyboard"), Names{"0"});
  EXPECT_EQ(ValuesOf("Keyboard", "0"), Values{});
}

TEST_F(KeyboardScan, MissingFileFailsWithoutReadingIt) {
  EXPECT_FALSE(ScanKeyboard(inventory));

  EXPECT_EQ(machine.ran, Names{});
  EXPECT_EQ(Definitions("Keyboard").size(), 2U);
  EXPECT_EQ(Instances("Keyboard"), Names{});
}

TEST_F(KeyboardScan, UnreadableFileFails) {
  machine.files.insert("/etc/sysconfig/keyboard");
  machine.Prints("cat /etc/sysconfig/keyboard", "", 1);

  EXPECT_FALSE(ScanKeyboard(inventory));

  EXPECT_EQ(Instances("Keyboard"), Names{});
}

TEST_F(KeyboardScan, OnlyLineOfAFileHasNoLineEndAndIsNotFound) {
  EXPECT_TRUE(ScanFile("KEYTABLE=\"us\"\n"));

  EXPECT_FALSE(HasValue("Keyboard", "0", "Layout"));
}
