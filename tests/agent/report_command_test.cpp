// kor-agent report, as a user starts it.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "korcore/obj_inv.h"
#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace {

class ReportCommand : public testing::Test {
 protected:
  ReportCommand() { std::filesystem::create_directories(folder.Path(kStore).Str()); }

  ProgramRun Run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "report");
    arguments.insert(arguments.end(), {"--home", folder.Path("home").Str()});
    return ProgramRun::Of(folder, std::move(arguments));
  }

  static void Fill(ObjInv& document, const char* size) {
    document.SetName("HWINVENTORY");
    document.Ensure("Disk")->Ensure("Size", "Integer");
    document.Ensure("Disk")->Ensure("sda")->Ensure("Size")->SetValue(size);
  }

  KorString Save(const std::string& name, const char* size) const {
    ObjInv document(nullptr);
    Fill(document, size);
    EXPECT_TRUE(document.Save(folder.Path(name)));
    return folder.Path(name);
  }

  static constexpr const char* kStore = "home/data/HardwareInventory";
  static constexpr const char* kLast = "home/data/HardwareInventory/HardwareInventoryLast.xml";
  static constexpr const char* kSent = "home/data/HardwareInventory/HardwareInventorySent.xml";
  const TemporaryFolder folder;
};

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

constexpr const char* kModified = "<ins>600</ins> <del>500</del>";

TEST_F(ReportCommand, MarksWhatChangedSinceTheLastSentInventory) {
  Save(kSent, "500");
  Save(kLast, "600");
  const ProgramRun run = Run({});
  EXPECT_EQ(0, run.status);
  EXPECT_EQ("", run.errors);
  EXPECT_TRUE(run.output.starts_with("<!DOCTYPE html>")) << run.output;
  EXPECT_TRUE(Contains(run.output, "What changed since the inventory last sent (")) << run.output;
  EXPECT_TRUE(Contains(run.output, kModified)) << run.output;
}

TEST_F(ReportCommand, SaysWhyThereIsNothingToCompare) {
  Save(kLast, "600");
  EXPECT_TRUE(Contains(Run({}).output, "No inventory has been sent yet"));
  EXPECT_TRUE(Contains(Run({folder.Path(kLast).Str()}).output, "There is nothing to compare"));
  Save(kSent, "600");
  EXPECT_TRUE(Contains(Run({}).output, "Nothing has changed since the inventory last sent ("));
  std::filesystem::remove(folder.Path(kLast).Str());
  EXPECT_TRUE(Contains(Run({}).output, "This is the inventory last sent"));
}

TEST_F(ReportCommand, ComparesWithTheGivenInventory) {
  const KorString old = Save("old.xml", "500");
  const KorString now = Save("now.xml", "600");
  const ProgramRun run = Run({"--old", old.Str(), now.Str()});
  EXPECT_EQ(0, run.status) << run.errors;
  EXPECT_TRUE(Contains(run.output, kModified)) << run.output;
}

TEST_F(ReportCommand, ShowsTheChangesThatAMergeBringsAlong) {
  ObjInv before(nullptr);
  ObjInv now(nullptr);
  ObjInv difference(nullptr);
  Fill(before, "500");
  Fill(now, "600");
  ASSERT_TRUE(now.Diff(before, difference));
  ASSERT_TRUE(now.Merge(difference));
  now.SetType(3);
  ASSERT_TRUE(now.Save(folder.Path("merge.xml")));
  EXPECT_TRUE(Contains(Run({folder.Path("merge.xml").Str()}).output, kModified));
  ASSERT_TRUE(difference.Save(folder.Path("diff.xml")));
  const ProgramRun refused = Run({folder.Path("diff.xml").Str()});
  EXPECT_EQ(3, refused.status);
  EXPECT_EQ(
      "kor-agent: '" + folder.Path("diff.xml").Str() + "' is a differential, not an inventory\n",
      refused.errors);
}

TEST_F(ReportCommand, WritesTheFileWholeOrNotAtAll) {
  Save(kLast, "600");
  const ProgramRun run = Run({"-o", folder.Path("page.html").Str()});
  EXPECT_EQ(0, run.status);
  EXPECT_EQ("", run.output);
  EXPECT_EQ("", run.errors);
  EXPECT_TRUE(folder.Read("page.html").ends_with("</html>\n"));
  const std::string missing = folder.Path("nowhere/page.html").Str();
  const ProgramRun failed = Run({"-o", missing});
  EXPECT_EQ(4, failed.status);
  EXPECT_TRUE(failed.errors.starts_with("kor-agent: the report cannot be written: " + missing))
      << failed.errors;
}

TEST_F(ReportCommand, DashIsStandardOutput) {
  Save(kLast, "600");
  EXPECT_TRUE(Run({"-o", "-"}).output.starts_with("<!DOCTYPE html>"));
}

TEST_F(ReportCommand, WithoutAnInventoryTheUserIsToldWhatToRun) {
  const ProgramRun run = Run({"-o", folder.Path("page.html").Str()});
  EXPECT_EQ(3, run.status);
  EXPECT_EQ("kor-agent: no inventory has been made in the home '" + folder.Path("home").Str() +
                "' yet; run 'kor-agent inventory'\n",
            run.errors);
  EXPECT_FALSE(std::filesystem::exists(folder.Path("page.html").Str()));
}

TEST_F(ReportCommand, HelpHasAnExample) {
  EXPECT_TRUE(Contains(Run({"--help"}).output, "kor-agent report -o db01.html"));
}

}  // namespace
