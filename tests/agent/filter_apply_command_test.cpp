// kor-agent filter apply, as a user starts it.

#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "kor/file.h"
#include "korcore/obj_inv.h"
#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace {

class FilterApply : public testing::Test {
 protected:
  FilterApply() {
    ObjInv document(nullptr);
    document.SetName("HWINVENTORY");
    document.Ensure("Disk")->Ensure("Size", "Integer");
    document.Ensure("Disk")->Ensure("Model", "String");
    ObjInst* disk = document.Ensure("Disk")->Ensure("sda");
    disk->Ensure("Size")->SetValue("500");
    disk->Ensure("Model")->SetValue("To Be Filled By O.E.M.");
    EXPECT_TRUE(document.Save(source));
  }

  ProgramRun Apply(const KorString& with, const KorString& from, const KorString& to) const {
    return ProgramRun::Of(
        folder, {"filter", "apply", with.Str(), from.Str(), to.Str(), "--module", KOR_MODULE_FILE});
  }

  const TemporaryFolder folder;
  const KorString source = folder.Path("source.xml");
  const KorString destination = folder.Path("destination.xml");
  const KorString rules = folder.Write("rules.xml", R"(<HWINVCONFIG><TRANSLATEHWLIST maxpass="1">
      <TRANSLATEHW label="placeholders"><MATCHHW><ATTRVALUE>To Be Filled*</ATTRVALUE></MATCHHW>
      <ACTION>Accept</ACTION><MODIFYHW><ATTRVALUE></ATTRVALUE></MODIFYHW></TRANSLATEHW>
      </TRANSLATEHWLIST></HWINVCONFIG>)");
};

TEST_F(FilterApply, WritesTheRewrittenInventory) {
  const ProgramRun run = Apply(rules, source, destination);

  EXPECT_EQ(0, run.status) << run.errors;
  EXPECT_EQ("", run.output);
  EXPECT_EQ("", run.errors);
  ObjInv result(nullptr);
  ASSERT_TRUE(result.Parse(destination, nullptr));
  const ObjInst* disk = result.Objects().Get("Disk")->Instances().Get("sda");
  EXPECT_EQ("", disk->Attributes().Get("Model")->GetValue());
  EXPECT_EQ("500", disk->Attributes().Get("Size")->GetValue());
}

TEST_F(FilterApply, ExplainsWhatEachRuleDid) {
  const KorString several =
      folder.Write("several.xml", R"(<HWINVCONFIG><TRANSLATEHWLIST maxpass="2">
<TRANSLATEHW label="round"><MATCHHW><ATTRNAME value="text">Size</ATTRNAME></MATCHHW>
<ACTION>Accept</ACTION><MODIFYHW>
<ATTRVALUE value="regex" match="00$"> hundred</ATTRVALUE></MODIFYHW></TRANSLATEHW>
<TRANSLATEHW label="name"><MATCHHW><ATTRVALUE value="text">5 hundred</ATTRVALUE></MATCHHW>
<ACTION>Accept</ACTION><MODIFYHW><ATTRNAME>Capacity</ATTRNAME></MODIFYHW></TRANSLATEHW>
<TRANSLATEHW label="placeholders"><MATCHHW><ATTRVALUE>To Be Filled*</ATTRVALUE></MATCHHW>
<ACTION>Reject</ACTION></TRANSLATEHW></TRANSLATEHWLIST></HWINVCONFIG>)");

  const ProgramRun run =
      ProgramRun::Of(folder, {"filter", "apply", several.Str(), source.Str(), destination.Str(),
                              "--explain", "--module", KOR_MODULE_FILE});

  EXPECT_EQ(0, run.status);
  EXPECT_EQ("", run.errors);
  EXPECT_EQ(run.output,
            "Disk / sda / Size\n"
            "  pass 1    \"round\" (several.xml:2): 500 -> 5 hundred\n"
            "            \"name\" (several.xml:5): asks for the name Capacity\n"
            "            keeps its name: "
            "there is no attribute 'Capacity'\n"
            "  pass 2    \"round\" (several.xml:2): 5 hundred -> 5 hundred\n"
            "            \"name\" (several.xml:5): asks for the name Capacity\n"
            "            keeps its name: "
            "there is no attribute 'Capacity'\n"
            "\n"
            "Disk / sda / Model\n"
            "  pass 1    \"placeholders\" (several.xml:7): rejected: its action is Reject\n");
  const std::string explained = folder.Read("destination.xml");
  EXPECT_EQ(0, Apply(several, source, destination).status);
  EXPECT_EQ(explained, folder.Read("destination.xml"));
}

TEST_F(FilterApply, ExplainsThatNothingWasDone) {
  const KorString none = folder.Write("none.xml", "<HWINVCONFIG></HWINVCONFIG>");

  const ProgramRun run =
      ProgramRun::Of(folder, {"filter", "apply", none.Str(), source.Str(), destination.Str(),
                              "--explain", "--module", KOR_MODULE_FILE});

  EXPECT_EQ(0, run.status);
  EXPECT_EQ("no rule changed or rejected anything\n", run.output);
}

TEST_F(FilterApply, SignalEndsALongTranslation) {
  const KorString endless =
      folder.Write("endless.xml", R"(<HWINVCONFIG><TRANSLATEHWLIST maxpass="4294967295">
      <TRANSLATEHW label="again"><MATCHHW><ATTRNAME>Model</ATTRNAME></MATCHHW>
      <ACTION>Accept</ACTION><MODIFYHW><ATTRVALUE>x</ATTRVALUE></MODIFYHW></TRANSLATEHW>
      </TRANSLATEHWLIST></HWINVCONFIG>)");
  folder.Write("destination.xml", "before");
  // The action removes the destination first, and then is at it for a while.
  std::thread interrupter([this] {
    while (FileExists(destination)) std::this_thread::sleep_for(std::chrono::milliseconds(5));
    kill(ProgramRun::Latest(), SIGINT);
  });

  const ProgramRun run = Apply(endless, source, destination);

  interrupter.join();
  EXPECT_EQ(128 + SIGINT, run.status) << run.errors;
  EXPECT_FALSE(FileExists(destination));
}

TEST_F(FilterApply, SourceThatIsTheDestinationIsLeftAlone) {
  const std::string before = folder.Read("source.xml");

  const ProgramRun run = Apply(rules, source, source);

  EXPECT_EQ(1, run.status);
  EXPECT_EQ(before, folder.Read("source.xml"));
  EXPECT_NE(std::string::npos, run.errors.find("name another destination")) << run.errors;
}

TEST_F(FilterApply, MissingSourceIsNamed) {
  const ProgramRun run = Apply(rules, folder.Path("nowhere.xml"), destination);

  EXPECT_EQ(1, run.status);
  EXPECT_NE(std::string::npos, run.errors.find("nowhere.xml")) << run.errors;
}

TEST_F(FilterApply, MissingRulesAreNamed) {
  const ProgramRun run = Apply(folder.Path("norules.xml"), source, destination);

  EXPECT_EQ(1, run.status);
  EXPECT_NE(std::string::npos, run.errors.find("norules.xml: No such file or directory"))
      << run.errors;
}

}  // namespace
