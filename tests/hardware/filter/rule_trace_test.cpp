// What the rules tell a listener (kor/trace.h).

#include "hardware/filter/rule_trace.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hardware/filter/hw_filter.h"
#include "hardware/filter/hw_filter_codes.h"
#include "hardware/module/globals.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

using HardwareInventory::debugInv;
using HardwareInventory::HwFilter;
using Lines = std::vector<std::string>;

// Writes down in short what it is told.
class Notes : public KorTrace {
 public:
  Notes() : before(SetCurrent(this)) {}
  ~Notes() override { SetCurrent(before); }

  void OnPass(uint32_t number) override { lines.push_back("pass " + std::to_string(number)); }
  void OnRulesFor(std::string_view className, std::string_view instance) override {
    lines.push_back(std::string(className) + "/" + std::string(instance));
  }
  void OnRule(const KorTraceRule& rule) override {
    std::string line = std::string(rule.attribute) + ": '" + std::string(rule.label) + "' line " +
                       std::to_string(rule.line) + " (" + std::string(rule.condition) + ") '" +
                       std::string(rule.before) + "'";
    if (rule.after != nullptr) line += " -> '" + rule.after->Str() + "'";
    if (rule.newName != nullptr) line += " name '" + rule.newName->Str() + "'";
    if (rule.rejectedBecause != nullptr) line += std::string(" rejected: ") + rule.rejectedBecause;
    lines.push_back(line);
  }
  void OnRename(const KorTraceRename& rename) override {
    std::string line = "rename " + std::string(rename.from) + " to " + std::string(rename.to);
    if (rename.failure != nullptr) line += std::string(": ") + rename.failure;
    if (rename.isLost) line += ", lost";
    lines.push_back(line);
  }

  Lines lines;

 private:
  KorTrace* before;
};

// What the rules of the filter tell.
Lines Tell(ObjInv& inventory, const HwFilter& filter) {
  const CapturedLog log(debugInv);
  const Notes notes;
  filter.ProcessAttrs(inventory);
  return notes.lines;
}

// What one pass of the rules tells; the rules stand from line 2 on.
Lines Tell(ObjInv& inventory, const std::string& rules) {
  const TemporaryFolder folder;
  const CapturedLog log(debugInv);
  HwFilter filter;
  EXPECT_TRUE(
      filter.Load(folder.Write("rules.xml", "<HWINVCONFIG><TRANSLATEHWLIST maxpass='1'>\n" + rules +
                                                "\n</TRANSLATEHWLIST></HWINVCONFIG>")));
  return Tell(inventory, filter);
}

// The new name is cut at its semicolon: Model becomes "Size;New".
const char* const kRenameWithSemicolon = R"(<TRANSLATEHW label="name">
<MATCHHW><ATTRNAME value="text">Size</ATTRNAME></MATCHHW>
<ACTION>Accept</ACTION><MODIFYHW><ATTRNAME>New;Model</ATTRNAME></MODIFYHW></TRANSLATEHW>)";

class RuleTraces : public testing::Test {
 protected:
  RuleTraces() {
    inventory.Ensure("Disk")->Ensure("Size", "Integer");
    ObjInst* disk = inventory.Ensure("Disk")->Ensure("sda");
    disk->Ensure("Size")->SetValue("500");
    disk->Ensure("Model")->SetValue("none");
  }

  ObjInv inventory{nullptr};
};

}  // namespace

TEST_F(RuleTraces, RewriteTellsTheValueBeforeAndAfter) {
  const Lines lines = Tell(inventory, R"(<TRANSLATEHW label="blank">
<MATCHHW><ATTRNAME value="text">Model</ATTRNAME><ATTRVALUE value="regex">^n</ATTRVALUE></MATCHHW>
<ACTION>Accept</ACTION><MODIFYHW><ATTRVALUE>unknown</ATTRVALUE></MODIFYHW></TRANSLATEHW>)");

  EXPECT_EQ(lines, (Lines{"pass 1", "Disk/sda",
                          "Model: 'blank' line 2 (name is 'Model', value matches '^n') 'none' -> "
                          "'unknown'"}));
}

TEST_F(RuleTraces, RejectionSaysWhy) {
  const Lines lines = Tell(inventory, R"(<TRANSLATEHW label="drop">
<MATCHHW><ATTRNAME value="text" operator="ne">Size</ATTRNAME></MATCHHW>
<ACTION>Reject</ACTION></TRANSLATEHW>
<TRANSLATEHW label="empty"><MATCHHW><ATTRNAME value="text">Size</ATTRNAME></MATCHHW>
<ACTION>Accept</ACTION><MODIFYHW><ATTRNAME>,</ATTRNAME></MODIFYHW></TRANSLATEHW>)");

  EXPECT_EQ(lines, (Lines{"pass 1", "Disk/sda",
                          "Size: 'empty' line 5 (name is 'Size') '500' name '' rejected: the new "
                          "name is empty",
                          "Model: 'drop' line 2 (name is not 'Size') 'none' rejected: its action "
                          "is Reject"}));
}

TEST_F(RuleTraces, RejectionForLackOfAnActionSaysSo) {
  using namespace HardwareInventory;
  auto* rule = new HwFilterAttr;
  rule->GetName() = "made";
  rule->GetFlags() = kFilterHasMatch | kFilterHasMatchName;
  rule->MatchName().method = kFilterMatchText;
  rule->MatchName().data = "Model";
  HwFilter filter;
  ASSERT_TRUE(filter.AttrAdd(rule));
  filter.GetHwListMaxPass() = 1;

  EXPECT_EQ(Tell(inventory, filter), (Lines{"pass 1", "Disk/sda",
                                            "Model: 'made' line 0 (name is 'Model') 'none' "
                                            "rejected: it has no action"}));
}

TEST_F(RuleTraces, NegatedExpressionIsToldAsOne) {
  const Lines lines = Tell(inventory, R"(<TRANSLATEHW label="drop">
<MATCHHW><ATTRNAME value="regex" operator="ne">^S</ATTRNAME></MATCHHW>
<ACTION>Reject</ACTION></TRANSLATEHW>)");

  EXPECT_EQ(lines, (Lines{"pass 1", "Disk/sda",
                          "Model: 'drop' line 2 (name does not match '^S') 'none' rejected: its "
                          "action is Reject"}));
}

TEST_F(RuleTraces, RenameTellsWhatBecameOfIt) {
  const Lines lines = Tell(inventory, R"(<TRANSLATEHW label="name">
<MATCHHW><ATTRNAME value="text">Size</ATTRNAME></MATCHHW>
<ACTION>Accept</ACTION><MODIFYHW><ATTRNAME>Capacity</ATTRNAME></MODIFYHW></TRANSLATEHW>)");

  EXPECT_EQ(lines, (Lines{"pass 1", "Disk/sda",
                          "Size: 'name' line 2 (name is 'Size') '500' name 'Capacity'",
                          "rename Capacity to Size: there is no attribute of that name"}));
}

TEST_F(RuleTraces, RenameToANameThatIsTakenLosesTheOther) {
  const Lines lines = Tell(inventory, R"(<TRANSLATEHW label="name">
<MATCHHW><ATTRNAME value="text">Size</ATTRNAME></MATCHHW>
<ACTION>Accept</ACTION><MODIFYHW><ATTRNAME>Model</ATTRNAME></MODIFYHW></TRANSLATEHW>)");

  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[3], "rename Model to Size: there is one of that name, lost");
  EXPECT_EQ(inventory.Objects().Get("Disk")->Instances().Get("sda")->Attributes().Get("Model"),
            nullptr);
}

TEST_F(RuleTraces, RenameWithoutDefinitionLosesTheAttribute) {
  const Lines lines = Tell(inventory, kRenameWithSemicolon);

  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[3], "rename Model to Size;New: its class has no definition of it, lost");
}

TEST_F(RuleTraces, RenameThatIsDoneIsTold) {
  inventory.Ensure("Disk")->Ensure("Model", "String");

  const Lines lines = Tell(inventory, kRenameWithSemicolon);

  ASSERT_EQ(lines.size(), 4U);
  EXPECT_EQ(lines[3], "rename Model to Size;New");
}
