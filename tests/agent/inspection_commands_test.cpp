// kor-agent show, diff and query, as a user starts them.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <string>
#include <utility>
#include <vector>

#include "korcore/obj_inv.h"
#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace {

// A home with an inventory that was made by nobody: no module is needed to look at it.
class Inspection : public testing::Test {
 protected:
  Inspection() {
    std::filesystem::create_directories(folder.Path("home/data/HardwareInventory").Str());
  }

  ProgramRun Run(std::vector<std::string> arguments) const {
    arguments.insert(arguments.end(), {"--home", folder.Path("home").Str()});
    return ProgramRun::Of(folder, std::move(arguments));
  }

  KorString Stored(const std::string& name) const {
    return folder.Path("home/data/HardwareInventory/HardwareInventory" + name);
  }

  void Fill(ObjInv& document, const char* size) const {
    document.SetName("HWINVENTORY");
    document.Ensure("Disk")->Ensure("Size", "Integer");
    document.Ensure("Disk")->Ensure("sda")->Ensure("Size")->SetValue(size);
  }

  KorString Store(const std::string& name, const char* size) const {
    ObjInv document(nullptr);
    Fill(document, size);
    EXPECT_TRUE(document.Save(Stored(name)));
    return Stored(name);
  }

  std::string NothingMade() const {
    return "kor-agent: no inventory has been made in the home '" + folder.Path("home").Str() +
           "' yet; run 'kor-agent inventory'\n";
  }

  const TemporaryFolder folder;
};

TEST_F(Inspection, ShowsTheLatestInventory) {
  Store("Sent.xml", "500");
  Store("Last.xml", "600");
  const ProgramRun run = Run({"show"});
  EXPECT_EQ(0, run.status);
  EXPECT_EQ("Disk\n====\n#    Size\n---  ----\nsda  600\n", run.output);
  EXPECT_EQ("", run.errors);
}

TEST_F(Inspection, OnceSentTheLatestInventoryIsTheSentOne) {
  Store("Sent.xml", "500");
  EXPECT_EQ("Disk\n====\n#    Size\n---  ----\nsda  500\n", Run({"show"}).output);
}

TEST_F(Inspection, ShowsTheInventoryLastSent) {
  Store("Sent.xml", "500");
  Store("Last.xml", "600");
  const ProgramRun run = Run({"show", "--sent", "--format", "json"});
  EXPECT_NE(std::string::npos, run.output.find("\"Size\": \"500\"")) << run.output;
}

TEST_F(Inspection, ShowsAFileAsItsXml) {
  Store("Last.xml", "600");
  const ProgramRun run = Run({"show", "--format", "xml", Stored("Last.xml").Str()});
  EXPECT_EQ(folder.Read("home/data/HardwareInventory/HardwareInventoryLast.xml"), run.output);
}

TEST_F(Inspection, ShowsADifferentialAsWhatChanged) {
  ObjInv before(nullptr);
  ObjInv now(nullptr);
  ObjInv difference(nullptr);
  Fill(before, "500");
  Fill(now, "600");
  ASSERT_TRUE(now.Diff(before, difference));
  ASSERT_TRUE(difference.Save(Stored("Diff.xml")));
  EXPECT_EQ("~ Disk\n~   #sda\n~     Size: 500 -> 600\n",
            Run({"show", Stored("Diff.xml").Str()}).output);
  const ProgramRun compared = Run({"diff", Stored("Diff.xml").Str(), Stored("Diff.xml").Str()});
  EXPECT_EQ(3, compared.status);
  EXPECT_EQ("kor-agent: '" + Stored("Diff.xml").Str() + "' is a differential, not an inventory\n",
            compared.errors);
}

TEST_F(Inspection, ShowsTheNewInventoryOfAMerge) {
  ObjInv before(nullptr);
  ObjInv now(nullptr);
  ObjInv difference(nullptr);
  Fill(before, "500");
  before.Ensure("Tape");
  Fill(now, "600");
  ASSERT_TRUE(now.Diff(before, difference));
  ASSERT_TRUE(now.Merge(difference));
  now.SetType(3);
  ASSERT_TRUE(now.Save(Stored("Upld.xml")));
  EXPECT_EQ("Disk\n====\n#    Size\n---  ----\nsda  600\n",
            Run({"show", Stored("Upld.xml").Str()}).output);
  Store("Last.xml", "600");
  EXPECT_EQ(0, Run({"diff", Stored("Upld.xml").Str(), Stored("Last.xml").Str()}).status);
}

TEST_F(Inspection, FileThatIsNoInventoryIsRefusedWithItsLine) {
  const KorString file = folder.Write("cut.xml", "<inventory format=\"1\" name=\"a\">\n<clas");
  const ProgramRun run = Run({"show", file.Str()});
  EXPECT_EQ(3, run.status);
  EXPECT_EQ("", run.output);
  EXPECT_EQ("kor-agent: Failed to read inventory '" + file.Str() + "': line 2: unclosed token\n",
            run.errors);
}

TEST_F(Inspection, WithoutAnInventoryTheUserIsToldWhatToRun) {
  for (const std::vector<std::string>& command :
       std::vector<std::vector<std::string>>{{"show"}, {"diff"}, {"query", "select 1"}}) {
    const ProgramRun run = Run(command);
    EXPECT_EQ(3, run.status);
    EXPECT_EQ(NothingMade(), run.errors);
    EXPECT_EQ("", run.output);
  }
  Store("Last.xml", "600");
  const std::string nothingSent = "kor-agent: no inventory has been sent in the home '" +
                                  folder.Path("home").Str() +
                                  "' yet; run 'kor-agent inventory --upload'\n";
  EXPECT_EQ(nothingSent, Run({"show", "--sent"}).errors);
  EXPECT_EQ(nothingSent, Run({"diff"}).errors);
}

TEST_F(Inspection, HomeIsNeitherMadeNorClaimed) {
  const ProgramRun run = ProgramRun::Of(folder, {"show", "--home", folder.Path("elsewhere").Str()});
  EXPECT_EQ(3, run.status);
  EXPECT_FALSE(std::filesystem::exists(folder.Path("elsewhere").Str()));
}

TEST_F(Inspection, DiffComparesTheSentWithTheLatestInventory) {
  Store("Sent.xml", "500");
  Store("Last.xml", "600");
  const ProgramRun run = Run({"diff"});
  EXPECT_EQ(1, run.status);
  EXPECT_EQ("--- " + Stored("Sent.xml").Str() + "\n+++ " + Stored("Last.xml").Str() +
                "\n~ Disk\n~   #sda\n~     Size: 500 -> 600\n",
            run.output);
  EXPECT_EQ("", run.errors);
}

TEST_F(Inspection, DiffOfEqualInventoriesIsSilent) {
  Store("Sent.xml", "500");
  const ProgramRun run = Run({"diff"});
  EXPECT_EQ(0, run.status);
  EXPECT_EQ("", run.output);
  EXPECT_EQ("", run.errors);
}

TEST_F(Inspection, DiffTakesFilesAndJson) {
  const std::string before = Store("Sent.xml", "500").Str();
  const std::string now = Store("Last.xml", "600").Str();
  const ProgramRun run = Run({"diff", now, before, "--format", "json"});
  EXPECT_EQ(1, run.status);
  EXPECT_NE(std::string::npos, run.output.find("\"old\": \"600\",\n")) << run.output;
  EXPECT_EQ(1, Run({"diff", before}).status);
  EXPECT_EQ(0, Run({"diff", now}).status);
  EXPECT_EQ(3, Run({"diff", now, folder.Path("missing.xml").Str()}).status);
}

TEST_F(Inspection, QueryAsksTheDump) {
  ObjInv document(nullptr);
  Fill(document, "500");
  ASSERT_TRUE(document.Dump(Stored("Last.sqlite3")));
  const ProgramRun run = Run({"query", "select * from \"Disk\""});
  EXPECT_EQ(0, run.status) << run.errors;
  EXPECT_EQ("Instance  Size\n--------  ----\nsda       500\n", run.output);
  EXPECT_EQ("Instance,Size\nsda,500\n",
            Run({"query", "select * from Disk", "--format", "csv"}).output);
}

TEST_F(Inspection, QueryThatFailsIsOneLine) {
  ASSERT_TRUE(ObjInv(nullptr).Dump(Stored("Last.sqlite3")));
  ProgramRun run = Run({"query", "select \"\x1b[31m\n\" from elsewhere"});
  EXPECT_EQ(1, run.status);
  EXPECT_EQ("kor-agent: no such table: elsewhere\n", run.errors);
  run = Run({"query", "drop table class"});
  EXPECT_EQ(1, run.status);
  EXPECT_EQ("kor-agent: The query does more than read the inventory dump\n", run.errors);
}

TEST_F(Inspection, QueryThatGivesTooMuchSaysSo) {
  ASSERT_TRUE(ObjInv(nullptr).Dump(Stored("Last.sqlite3")));
  const ProgramRun run =
      Run({"query",
           "with recursive n(i) as (select 1 union all select i + 1 from n where i < 10001) "
           "select i from n",
           "--format", "csv"});
  EXPECT_EQ(0, run.status);
  EXPECT_EQ("kor-agent: the result is cut off at the limits of a query; there is more than this\n",
            run.errors);
  EXPECT_EQ("10000\n", run.output.substr(run.output.size() - 6));
}

}  // namespace
