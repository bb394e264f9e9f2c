// What a user sees on a terminal, of a width and with colours.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "korcore/obj_inv.h"
#include "support/temporary_folder.h"
#include "support/terminal_run.h"

namespace {

class Terminal : public testing::Test {
 protected:
  Terminal() {
    ObjInv document(nullptr);
    document.SetName("HWINVENTORY");
    ObjType* disks = document.Ensure("Disk");
    disks->Ensure("Size", "Integer")->SetUnit("MB");
    disks->Ensure("Model", "String");
    disks->Ensure("sda")->Ensure("Size")->SetValue("71764");
    disks->Ensure("sda")->Ensure("Model")->SetValue("Northgate Spinning Disk Of The Old Kind");
    disks->Ensure("sdb")->Ensure("Size")->SetValue("500");
    EXPECT_TRUE(document.Save(folder.Path("disks.xml")));
  }

  TerminalRun Show(unsigned short columns, std::vector<std::string> settings = {}) const {
    return TerminalRun::Of(columns, {"show", folder.Path("disks.xml").Str()}, settings);
  }

  const TemporaryFolder folder;
};

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

constexpr const char* kNoColour = "NO_COLOR=1";

constexpr const char* kTableOf80 =
    "Disk\n"
    "====\n"
    "#    Size (MB)  Model\n"
    "---  ---------  ---------------------------------------\n"
    "sda      71764  Northgate Spinning Disk Of The Old Kind\n"
    "sdb        500\n";

constexpr const char* kTableOf40 =
    "Disk\n"
    "====\n"
    "#    Size (MB)  Model\n"
    "---  ---------  ------------------------\n"
    "sda      71764  Northgate Spinning Disk\n"
    "                Of The Old Kind\n"
    "sdb        500\n";

TEST_F(Terminal, TablesFitItsWidth) {
  EXPECT_EQ(kTableOf80, Show(200, {kNoColour}).output);
  EXPECT_EQ(kTableOf80, Show(80, {kNoColour}).output);
  EXPECT_EQ(kTableOf40, Show(40, {kNoColour}).output);
}

TEST_F(Terminal, ColumnsOfTheEnvironmentCountMore) {
  EXPECT_EQ(kTableOf40, Show(200, {kNoColour, "COLUMNS=40"}).output);
  EXPECT_EQ(kTableOf40, Show(40, {kNoColour, "COLUMNS=wide"}).output);
}

TEST_F(Terminal, ColoursAreThereUnlessRefused) {
  EXPECT_TRUE(Contains(Show(80).output, "\x1b[1mDisk\x1b[0m\n"));
  EXPECT_FALSE(Contains(Show(80, {kNoColour}).output, "\x1b"));
  EXPECT_TRUE(Contains(Show(80, {"NO_COLOR="}).output, "\x1b[1m"));
}

TEST_F(Terminal, RunEndsWithItsGapsAndItsFiles) {
  const KorString machine = folder.Write(
      "some.machine", "kor-recording 1\ncommand dmidecode -qs bios-vendor\nexit 127\n");
  const TerminalRun run =
      TerminalRun::Of(80, {"inventory", "--replay", machine.Str(), "--home",
                           folder.Path("home").Str(), "--module", KOR_MODULE_FILE});
  EXPECT_EQ(0, run.status) << run.output;
  EXPECT_TRUE(Contains(run.output, " classes, ")) << run.output;
  EXPECT_TRUE(Contains(run.output, "kor-agent: BIOS: dmidecode was not there\n")) << run.output;
  EXPECT_TRUE(Contains(run.output, "kor-agent: the inventory is in '" + folder.Path("home").Str()))
      << run.output;
  EXPECT_FALSE(Contains(run.output, "nothing found")) << run.output;
  EXPECT_FALSE(Contains(run.output, "scans that failed")) << run.output;
}

TEST_F(Terminal, ReportGoesToAFileInstead) {
  const TerminalRun run =
      TerminalRun::Of(80, {"report", folder.Path("disks.xml").Str()}, {}, folder.Path().Str());
  EXPECT_EQ(0, run.status);
  EXPECT_TRUE(folder.Read("kor-agent-report.html").starts_with("<!DOCTYPE html>"));
  EXPECT_TRUE(Contains(run.output, "kor-agent: the report is in '")) << run.output;
  EXPECT_FALSE(Contains(run.output, "<html")) << run.output;
}

}  // namespace
