#include <gtest/gtest.h>

#include <atomic>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "hardware/filter/hw_filter.h"
#include "hardware/filter/hw_filter_codes.h"
#include "hardware/module/globals.h"
#include "kor/thread.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

using namespace std::string_literals;
using HardwareInventory::debugInv;
using HardwareInventory::HwFilter;
using HardwareInventory::HwFilterAttr;
using HardwareInventory::HwFilterGivenUp;
using HardwareInventory::HwFilterLimits;
using HardwareInventory::kFilterAccept;
using HardwareInventory::kFilterHasAction;
using HardwareInventory::kFilterHasMatch;
using HardwareInventory::kFilterHasMatchName;
using HardwareInventory::kFilterHasModifyName;
using HardwareInventory::kFilterHasModifyValue;
using HardwareInventory::kFilterMatchPattern;
using HardwareInventory::kFilterNotEqual;
using Values = std::vector<std::pair<std::string, std::string>>;

const char* const kNoChange = "There was no change within the last loop. No more pass is required";

// A rule list that runs over one instance of one class with a definition for each value.
class Translation {
 public:
  Translation(std::initializer_list<Values::value_type> values) {
    ObjType* type = inventory.Ensure("Class");
    ObjInst* instance = type->Ensure("0");
    for (const auto& [name, value] : values) {
      ObjTypeAttr* definition = type->Ensure(KorString(name), "String");
      definition->SetUnit("unit");
      definition->SetDesc("description");
      instance->Ensure(KorString(name))->SetValue(KorString(value));
    }
  }

  ObjType& Type() { return *inventory.Objects().Get("Class"); }
  ObjInst& Instance() { return *Type().Instances().Get("0"); }

  // Loads the rules and runs them.
  void Run(const std::string& rules, const std::string& maxPass = "1") {
    TemporaryFolder folder;
    HwFilter filter;
    {
      const CapturedLog loading(debugInv);
      ASSERT_TRUE(filter.Load(folder.Write("filter.xml", "<HWINVCONFIG><TRANSLATEHWLIST maxpass='" +
                                                             maxPass + "'>" + rules +
                                                             "</TRANSLATEHWLIST></HWINVCONFIG>")));
    }
    Run(filter);
  }
  void Run(const HwFilter& filter) {
    const CapturedLog log(debugInv);
    filter.ProcessAttrs(inventory);
    for (const CapturedLog::Entry& entry : log.Entries()) {
      EXPECT_EQ(entry.level, KorLogLevel::kTrace) << entry.text;
      messages.push_back(entry.text);
    }
  }

  Values Result() {
    Values values;
    for (const ObjInstAttr* attribute : Instance().Attributes()) {
      values.emplace_back(attribute->GetName().Str(), attribute->GetValue().Str());
    }
    return values;
  }

  ObjInv inventory{nullptr};
  std::vector<std::string> messages;
};

// A rule "r" on attributes of this name; the content follows the condition.
std::string RuleFor(const std::string& name, const std::string& content) {
  return "<TRANSLATEHW label='r'><MATCHHW><ATTRNAME value='text' case='1'>" + name +
         "</ATTRNAME></MATCHHW>" + content + "</TRANSLATEHW>";
}
std::string RejectWhere(const std::string& conditions) {
  return "<TRANSLATEHW label='r'><MATCHHW>" + conditions +
         "</MATCHHW><ACTION>Reject</ACTION></TRANSLATEHW>";
}
std::string ValueRewrite(const std::string& name, const std::string& attrValue) {
  return RuleFor(name, "<ACTION>Accept</ACTION><MODIFYHW>" + attrValue + "</MODIFYHW>");
}
std::string Rename(const std::string& name, const std::string& newName) {
  return RuleFor(
      name, "<ACTION>Accept</ACTION><MODIFYHW><ATTRNAME>" + newName + "</ATTRNAME></MODIFYHW>");
}

// Which of the attributes "Apple", "apple" and "Pear" the conditions reject.
std::vector<std::string> Rejected(const std::string& conditions) {
  Translation translation{{"Apple", "Red"}, {"apple", "green"}, {"Pear", "Green"}};
  translation.Run(RejectWhere(conditions));
  std::vector<std::string> rejected;
  for (const char* name : {"Apple", "apple", "Pear"}) {
    if (translation.Instance().Attributes().Get(name) == nullptr) rejected.emplace_back(name);
  }
  return rejected;
}
using Names = std::vector<std::string>;

TEST(FilterEngine, TextConditionComparesTheWholeName) {
  EXPECT_EQ(Rejected("<ATTRNAME value='text' case='1'>Apple</ATTRNAME>"), Names{"Apple"});
  EXPECT_EQ(Rejected("<ATTRNAME value='text' case='1'>App</ATTRNAME>"), Names{});
  EXPECT_EQ(Rejected("<ATTRNAME value='text' case='0'>APPLE</ATTRNAME>"),
            (Names{"Apple", "apple"}));
}

TEST(FilterEngine, PatternConditionMatchesTheWholeName) {
  EXPECT_EQ(Rejected("<ATTRNAME case='1'>A*</ATTRNAME>"), Names{"Apple"});
  EXPECT_EQ(Rejected("<ATTRNAME>p?</ATTRNAME>"), Names{});
  EXPECT_EQ(Rejected("<ATTRNAME>p?a?</ATTRNAME>"), Names{"Pear"});
}

TEST(FilterEngine, RegexConditionSearchesAnywhere) {
  EXPECT_EQ(Rejected("<ATTRNAME value='regex' case='1'>e.r</ATTRNAME>"), Names{"Pear"});
  EXPECT_EQ(Rejected("<ATTRNAME value='regex' case='1'>^p</ATTRNAME>"), Names{});
}

TEST(FilterEngine, ConditionsWithoutLetterCaseIgnoreIt) {
  EXPECT_EQ(Rejected("<ATTRNAME value='text'>APPLE</ATTRNAME>"), (Names{"Apple", "apple"}));
  EXPECT_EQ(Rejected("<ATTRNAME value='regex'>^P</ATTRNAME>"), Names{"Pear"});
  EXPECT_EQ(Rejected("<ATTRNAME>a*</ATTRNAME>"), (Names{"Apple", "apple"}));
}

TEST(FilterEngine, NotEqualAppliesToEveryAttributeThatDoesNotMatch) {
  EXPECT_EQ(Rejected("<ATTRNAME value='text' operator='ne'>pear</ATTRNAME>"),
            (Names{"Apple", "apple"}));
  EXPECT_EQ(Rejected("<ATTRNAME value='text' operator='eq'>pear</ATTRNAME>"), Names{"Pear"});
}

TEST(FilterEngine, AllConditionsMustHold) {
  EXPECT_EQ(Rejected("<ATTRNAME>a*</ATTRNAME><ATTRVALUE>green</ATTRVALUE>"), Names{"apple"});
  EXPECT_EQ(Rejected("<ATTRVALUE>green</ATTRVALUE>"), (Names{"apple", "Pear"}));
}

TEST(FilterEngine, TheValueConditionHasNothingOfTheNameCondition) {
  EXPECT_EQ(Rejected("<ATTRNAME operator='ne' case='1'>Pear</ATTRNAME>"
                     "<ATTRVALUE>GREEN</ATTRVALUE>"),
            Names{"apple"});
}

TEST(FilterEngine, EmptyPatternMatchesEverything) {
  EXPECT_EQ(Rejected("<ATTRNAME/>"), (Names{"Apple", "apple", "Pear"}));
  EXPECT_EQ(Rejected("<ATTRNAME operator='ne'/>"), Names{});
  EXPECT_EQ(Rejected("<ATTRVALUE value='text'/>"), Names{});
}

TEST(FilterEngine, RegexThatDoesNotCompileMatchesNothingSoItsNegationHolds) {
  const CapturedLog frameworkLog(KorFrameworkLog());
  EXPECT_EQ(Rejected("<ATTRNAME value='regex'>(</ATTRNAME>"), Names{});
  EXPECT_EQ(Rejected("<ATTRNAME value='regex' operator='ne'>(</ATTRNAME>"),
            (Names{"Apple", "apple", "Pear"}));
}

TEST(FilterEngine, TranslationThatNeverEndsIsCancelled) {
  class Endless : public KorThread {
   public:
    ~Endless() override { Cancel(60'000, true); }
    std::atomic<bool> wasCancelled = false;

   protected:
    void ThreadMain() override {
      Translation translation{{"A", "1"}};
      try {
        translation.Run(ValueRewrite("A", "<ATTRVALUE>2</ATTRVALUE>"), "99999999999");
      } catch (const KorThreadCancelled&) {
        wasCancelled = true;
        throw;
      }
    }
  };
  Endless thread;
  ASSERT_TRUE(thread.Start());
  // Without force: the translation looks by itself.
  EXPECT_TRUE(thread.Cancel(60'000, false));
  EXPECT_TRUE(thread.wasCancelled);
}

// What the translation is given up with; empty when it is not.
std::string GivenUp(Translation& translation, const std::string& rules, HwFilterLimits limits,
                    const std::string& maxPass = "4294967295") {
  const CapturedLog log(debugInv);
  const TemporaryFolder folder;
  HwFilter filter;
  EXPECT_TRUE(filter.Load(folder.Write("filter.xml", "<HWINVCONFIG><TRANSLATEHWLIST maxpass='" +
                                                         maxPass + "'>" + rules +
                                                         "</TRANSLATEHWLIST></HWINVCONFIG>")));
  try {
    filter.ProcessAttrs(translation.inventory, limits);
  } catch (const HwFilterGivenUp& error) {
    return error.what();
  }
  return "";
}

TEST(FilterEngine, TranslationEndsWhereTheInventoryBecomesTooLarge) {
  Translation translation{{"A", "x"}, {"B", std::string(1000, 'y')}};

  EXPECT_EQ(
      GivenUp(translation,
              ValueRewrite("A", "<ATTRVALUE value='regex' match='^(.*)$'>$1$1</ATTRVALUE>"),
              {.bytesOfValues = 2000}),
      "the translation makes the inventory larger than 2000 bytes and is given up in pass 10");

  EXPECT_EQ(translation.Result()[0].second, std::string(1024, 'x'));
}

TEST(FilterEngine, ValuesMayShrinkAndOthersGrow) {
  Translation translation{{"A", std::string(1000, 'x')}, {"B", "y"}};

  EXPECT_EQ(GivenUp(translation,
                    ValueRewrite("A", "<ATTRVALUE>z</ATTRVALUE>") +
                        ValueRewrite("B", "<ATTRVALUE>" + std::string(1499, 'y') + "</ATTRVALUE>"),
                    {.bytesOfValues = 1500}, "2"),
            "");

  EXPECT_EQ(translation.Result()[1].second, std::string(1499, 'y'));
}

TEST(FilterEngine, ValuesThatAreRejectedCountNoMore) {
  Translation translation{{"A", std::string(700, 'x')}, {"B", std::string(350, 'y')}};

  EXPECT_EQ(GivenUp(translation,
                    "<TRANSLATEHW><MATCHHW><ATTRNAME>A</ATTRNAME></MATCHHW><ACTION>Reject</ACTION>"
                    "</TRANSLATEHW>" +
                        ValueRewrite("B",
                                     "<ATTRVALUE value='regex' match='^(.*)$'>$1$1"
                                     "</ATTRVALUE>"),
                    {.bytesOfValues = 1500}, "2"),
            "");

  EXPECT_EQ(translation.Result().back().second, std::string(1400, 'y'));
}

TEST(FilterEngine, TranslationEndsWhereItTakesTooLong) {
  Translation translation{{"A", "1"}};

  const std::string text =
      GivenUp(translation, ValueRewrite("A", "<ATTRVALUE>2</ATTRVALUE>"), {.milliseconds = 20});

  EXPECT_TRUE(text.starts_with(
      "the translation takes more than 20 ms of the processor and is given up in pass "))
      << text;
  EXPECT_GT(std::stoul(text.substr(text.rfind(' '))), 1U);
}

TEST(FilterEngine, TranslationEndsAmongTheRulesOfOneValue) {
  Translation translation{{"A", "1"}};
  std::string rules;
  for (const char* text : {"2", "3", "4"}) {
    rules += ValueRewrite("A", "<ATTRVALUE>" + std::string(text) + "</ATTRVALUE>");
  }

  EXPECT_EQ(GivenUp(translation, rules, {.milliseconds = 0}),
            "the translation takes more than 0 ms of the processor and is given up in pass 1");

  EXPECT_EQ(translation.Result()[0].second, "2");
}

TEST(FilterEngine, RuleWithoutConditionNeverApplies) {
  EXPECT_EQ(Rejected(""), Names{});
  Translation translation{{"A", "1"}};
  translation.Run("<TRANSLATEHW><ACTION>Reject</ACTION></TRANSLATEHW>");
  EXPECT_EQ(translation.Result(), (Values{{"A", "1"}}));
}

TEST(FilterEngine, RejectionIsTracedWithNameAndLabel) {
  Translation translation{{"A", "1"}, {"B", "2"}};
  translation.Run(RuleFor("A", "<ACTION>Reject</ACTION>"));
  EXPECT_EQ(translation.Result(), (Values{{"B", "2"}}));
  EXPECT_EQ(translation.messages,
            (Names{"Processing attribute filter pass 1",
                   "Attribute 'A' has been rejected by filter 'r'", kNoChange}));
}

// A rule made by other means than a file.
HwFilterAttr* AddRule(HwFilter& filter, uint32_t flags) {
  auto* rule = new HwFilterAttr;
  rule->GetName() = "made";
  rule->GetFlags() = flags;
  filter.AttrAdd(rule);
  filter.GetHwListMaxPass() = 1;
  return rule;
}

TEST(FilterEngine, RuleWithoutActionRejects) {
  HwFilter filter;
  AddRule(filter, kFilterHasMatch | kFilterHasMatchName)->GetMatchNameData() = "A";
  Translation translation{{"A", "1"}};
  translation.Run(filter);
  EXPECT_TRUE(translation.Result().empty());
  EXPECT_EQ(translation.messages[1],
            "Attribute 'A' has been rejected by unqualified filter 'made'");
}

TEST(FilterEngine, ChildrenCountOnlyWithTheirParents) {
  HwFilter filter;
  AddRule(filter, kFilterHasMatchName)->GetMatchNameData() = "A";
  HwFilterAttr* rule = AddRule(filter, kFilterHasMatch | kFilterHasMatchName | kFilterHasAction |
                                           kFilterHasModifyName | kFilterHasModifyValue);
  rule->GetMatchNameData() = "A";
  rule->GetAction() = kFilterAccept;
  Translation translation{{"A", "1"}};
  translation.Run(filter);
  EXPECT_EQ(translation.Result(), (Values{{"A", "1"}}));
}

TEST(FilterEngine, ActionOtherThanAcceptRejects) {
  HwFilter filter;
  AddRule(filter, kFilterHasMatch | kFilterHasMatchName | kFilterHasAction)->GetMatchNameData() =
      "A";
  Translation translation{{"A", "1"}};
  translation.Run(filter);
  EXPECT_TRUE(translation.Result().empty());
  EXPECT_EQ(translation.messages[1], "Attribute 'A' has been rejected by filter 'made'");
}

TEST(FilterEngine, MethodsNoneAndPatternAreConvertedWhenTheyMatch) {
  for (const uint32_t method : {0U, kFilterMatchPattern}) {
    HwFilter filter;
    HwFilterAttr* rule = AddRule(filter, kFilterHasMatch | kFilterHasMatchName | kFilterHasAction);
    rule->GetMatchNameValue() = method;
    rule->GetMatchNameData() = "a?";
    Translation translation{{"A", "1"}, {"AB", "2"}};
    translation.Run(filter);
    EXPECT_EQ(translation.Result(), (Values{{"A", "1"}})) << method;
  }
}

TEST(FilterEngine, UnknownMethodSkipsTheRuleNegatedOrNot) {
  for (const uint32_t comparison : {0U, kFilterNotEqual}) {
    HwFilter filter;
    HwFilterAttr* rule = AddRule(filter, kFilterHasMatch | kFilterHasMatchName | kFilterHasAction);
    rule->GetMatchNameValue() = 4;
    rule->GetMatchNameOperator() = comparison;
    rule->GetMatchNameData() = "A";
    Translation translation{{"A", "1"}};
    translation.Run(filter);
    EXPECT_EQ(translation.Result(), (Values{{"A", "1"}}));
  }
}

TEST(FilterEngine, AcceptingRuleWithoutRewriteChangesNothing) {
  Translation translation{{"A", "1"}};
  translation.Run(RuleFor("A", "<ACTION>Accept</ACTION>"), "5");
  EXPECT_EQ(translation.Result(), (Values{{"A", "1"}}));
  EXPECT_EQ(translation.messages, (Names{"Processing attribute filter pass 1", kNoChange}));
}

TEST(FilterEngine, ValueIsReplacedAndTrimmedAndKeepsItsCommas) {
  Translation translation{{"A", "1"}};
  translation.Run(ValueRewrite("A", "<ATTRVALUE>  x, y\n</ATTRVALUE>"));
  EXPECT_EQ(translation.Result(), (Values{{"A", "x, y"}}));
}

TEST(FilterEngine, MethodsNoneAndTextReplaceAlike) {
  for (const char* method : {"none", "text"}) {
    Translation translation{{"A", "1"}};
    translation.Run(
        ValueRewrite("A", "<ATTRVALUE match='1' value='"s + method + "'>$1\\0</ATTRVALUE>"));
    EXPECT_EQ(translation.Result(), (Values{{"A", "$1\\0"}})) << method;
  }
}

TEST(FilterEngine, ValueMayBecomeEmpty) {
  Translation translation{{"A", "1"}};
  translation.Run(ValueRewrite("A", "<ATTRVALUE/>"));
  EXPECT_EQ(translation.Result(), (Values{{"A", ""}}));
}

TEST(FilterEngine, RegexRewriteReplacesEveryMatchWithItsGroups) {
  Translation translation{{"A", "eth0 eth1"}};
  translation.Run(
      ValueRewrite("A", R"(<ATTRVALUE value='regex' match='eth(\d)'>en$1\1</ATTRVALUE>)"));
  EXPECT_EQ(translation.Result(), (Values{{"A", "en00 en11"}}));
}

TEST(FilterEngine, RegexRewriteWithoutLetterCaseIsSensitive) {
  const auto rewritten = [](const std::string& letterCase) {
    Translation translation{{"A", "aA"}};
    translation.Run(
        ValueRewrite("A", "<ATTRVALUE value='regex' match='a' " + letterCase + ">x</ATTRVALUE>"));
    return translation.Result()[0].second;
  };
  EXPECT_EQ(rewritten(""), "xA");
  EXPECT_EQ(rewritten("case='1'"), "xA");
  EXPECT_EQ(rewritten("case='0'"), "xx");
}

TEST(FilterEngine, LaterRulesSeeTheNewValue) {
  Translation translation{{"A", "1"}};
  translation.Run(ValueRewrite("A", "<ATTRVALUE value='regex' match='$'>2</ATTRVALUE>") +
                  ValueRewrite("A", "<ATTRVALUE value='regex' match='$'>3</ATTRVALUE>") +
                  "<TRANSLATEHW label='r'><MATCHHW><ATTRVALUE>123</ATTRVALUE></MATCHHW>"
                  "<ACTION>Accept</ACTION><MODIFYHW><ATTRVALUE>done</ATTRVALUE></MODIFYHW>"
                  "</TRANSLATEHW>");
  EXPECT_EQ(translation.Result(), (Values{{"A", "done"}}));
}

TEST(FilterEngine, EveryRewriteCountsAsAChangeAlsoToTheSameText) {
  Translation translation{{"A", "same"}, {"B", "2"}};
  translation.Run(ValueRewrite("A", "<ATTRVALUE>same</ATTRVALUE>"), "3");
  const std::string change =
      "There was 1 change(s) within the last loop. More pass would be required";
  EXPECT_EQ(translation.messages, (Names{"Processing attribute filter pass 1", change,
                                         "Processing attribute filter pass 2", change,
                                         "Processing attribute filter pass 3", change}));
}

TEST(FilterEngine, RejectedAttributesAreNoChange) {
  Translation translation{{"A", "1"}};
  translation.Run(
      ValueRewrite("A", "<ATTRVALUE>2</ATTRVALUE>") + RuleFor("A", "<ACTION>Reject</ACTION>"), "5");
  EXPECT_TRUE(translation.Result().empty());
  EXPECT_EQ(translation.messages,
            (Names{"Processing attribute filter pass 1",
                   "Attribute 'A' has been rejected by filter 'r'", kNoChange}));
}

TEST(FilterEngine, WithoutPassesNothingHappensAndNothingIsSaid) {
  Translation translation{{"A", "1"}};
  translation.Run(RuleFor("A", "<ACTION>Reject</ACTION>"), "0");
  EXPECT_EQ(translation.Result(), (Values{{"A", "1"}}));
  EXPECT_TRUE(translation.messages.empty());
}

TEST(FilterEngine, RenamedAttributeKeepsItsNameWhereNoneHasTheNewOne) {
  Translation translation{{"Old", "1"}, {"Other", "2"}};
  translation.Run(Rename("Old", "New"));
  EXPECT_EQ(translation.Result(), (Values{{"Old", "1"}, {"Other", "2"}}));
  EXPECT_EQ(translation.messages,
            (Names{"Processing attribute filter pass 1",
                   "Failed to rename attribute from 'New' to 'Old' (0x1)",
                   "There was 1 change(s) within the last loop. More pass would be required"}));
}

TEST(FilterEngine, AttributeOfTheNewNameBecomesADuplicateAndIsDeleted) {
  Translation translation{{"Old", "1"}, {"New", "2"}, {"Other", "3"}};
  translation.Run(Rename("Old", "New"));
  EXPECT_EQ(translation.Result(), (Values{{"Old", "1"}, {"Other", "3"}}));
  EXPECT_EQ(translation.messages[1], "Attribute name 'New' renamed 'Old' becomes duplicated");
}

// Two attributes that are to be renamed alike: the second entry finds what the first one left.
TEST(FilterEngine, RenameEntriesApplyOneAfterAnother) {
  Translation translation{{"A", "1"}, {"B", "2"}, {"New", "3"}};
  translation.Run(Rename("A", "New") + Rename("B", "New"));
  EXPECT_EQ(translation.Result(), (Values{{"A", "1"}, {"B", "2"}}));
  EXPECT_EQ(translation.messages[1], "Attribute name 'New' renamed 'A' becomes duplicated");
  EXPECT_EQ(translation.messages[2], "Failed to rename attribute from 'New' to 'B' (0x1)");
}

// The new name "New;X" makes the entry "Old;New;X", which is cut at its last ";".
TEST(FilterEngine, NewNameWithASemicolonIsCutAtItsOwnLastOne) {
  Translation translation{{"Old", "1"}, {"X", "2"}};
  translation.Run(Rename("Old", "New;X"));
  EXPECT_EQ(translation.Result(), (Values{{"Old", "1"}, {"Old;New", "2"}}));
  const ObjTypeAttr* definition = translation.Type().Attributes().Get("Old;New");
  ASSERT_NE(definition, nullptr);
  EXPECT_EQ(definition->GetType(), KorString("String"));
  EXPECT_EQ(definition->GetUnit(), KorString("unit"));
  EXPECT_EQ(definition->GetDesc(), KorString("description"));
  EXPECT_NE(translation.Type().Attributes().Get("X"), nullptr);
}

TEST(FilterEngine, RenamedValueAndClonedDefinitionGoToTheEnd) {
  Translation translation{{"X", "2"}, {"Old", "1"}, {"Z", "3"}};
  translation.Run(Rename("Old", "New;X"));
  EXPECT_EQ(translation.Result(), (Values{{"Old", "1"}, {"Z", "3"}, {"Old;New", "2"}}));
  Names definitions;
  for (const ObjTypeAttr* attr : translation.Type().Attributes()) {
    definitions.push_back(attr->GetName().Str());
  }
  EXPECT_EQ(definitions, (Names{"X", "Old", "Z", "Old;New"}));
}

TEST(FilterEngine, ExistingDefinitionOfTheTargetIsKept) {
  Translation translation{{"Old", "1"}, {"X", "2"}};
  translation.Type().Ensure("Old;New", "Integer");
  translation.Run(Rename("Old", "New;X"));
  EXPECT_EQ(translation.Result(), (Values{{"Old", "1"}, {"Old;New", "2"}}));
  EXPECT_EQ(translation.Type().Attributes().Get("Old;New")->GetType(), KorString("Integer"));
}

TEST(FilterEngine, RenameWithoutDefinitionLosesTheAttribute) {
  Translation translation{{"Old", "1"}};
  translation.Instance().Ensure("X")->SetValue("2");
  translation.Run(Rename("Old", "New;X"));
  EXPECT_EQ(translation.Result(), (Values{{"Old", "1"}}));
  EXPECT_EQ(translation.messages[1], "Failed to rename attribute from 'X' to 'Old;New' (0x2)");
}

TEST(FilterEngine, EntryWithAnEmptyPartIsSkipped) {
  Translation translation{{"Old", "1"}};
  translation.Run(Rename("Old", "New;"));
  EXPECT_EQ(translation.Result(), (Values{{"Old", "1"}}));
  EXPECT_EQ(translation.messages.size(), 2U);
}

TEST(FilterEngine, RenameToTheSameNameIsAChangeButNoRename) {
  Translation translation{{"Old", "1"}, {"Other", "2"}};
  translation.Run(Rename("Old", " Old "));
  EXPECT_EQ(translation.Result(), (Values{{"Old", "1"}, {"Other", "2"}}));
  EXPECT_EQ(translation.messages,
            (Names{"Processing attribute filter pass 1",
                   "There was 1 change(s) within the last loop. More pass would be required"}));
}

TEST(FilterEngine, CommasAreRemovedFromNewNames) {
  Translation translation{{"Old", "1"}, {"ab c", "2"}};
  translation.Run(Rename("Old", " a,b c, "));
  EXPECT_EQ(translation.messages[1], "Attribute name 'ab c' renamed 'Old' becomes duplicated");
}

TEST(FilterEngine, CommasAreRemovedAfterTrimming) {
  Translation translation{{"Old", "1"}, {" b", "2"}};
  translation.Run(Rename("Old", ", b"));
  EXPECT_EQ(translation.messages[1], "Attribute name ' b' renamed 'Old' becomes duplicated");
}

TEST(FilterEngine, EmptyNewNameRejects) {
  for (const char* newName : {"", " , ", ","}) {
    Translation translation{{"Old", "1"}};
    translation.Run(RuleFor("Old", "<ACTION>Accept</ACTION><MODIFYHW><ATTRNAME value='none'>"s +
                                       newName + "</ATTRNAME><ATTRVALUE>x</ATTRVALUE></MODIFYHW>"));
    EXPECT_TRUE(translation.Result().empty()) << newName;
    EXPECT_EQ(
        translation.messages,
        (Names{"Processing attribute filter pass 1",
               "Attribute 'Old' has been rejected because modified name is empty", kNoChange}));
  }
}

TEST(FilterEngine, LaterRulesMatchTheOldNameAndReplaceTheNewOne) {
  Translation translation{{"Old", "1"}, {"Second", "2"}};
  translation.Run(Rename("Old", "First") + RuleFor("First", "<ACTION>Reject</ACTION>") +
                  Rename("Old", "Second"));
  EXPECT_EQ(translation.Result(), (Values{{"Old", "1"}}));
  EXPECT_EQ(translation.messages[1], "Attribute name 'Second' renamed 'Old' becomes duplicated");
}

TEST(FilterEngine, RegexRenameWorksOnTheCurrentName) {
  Translation translation{{"OldName", "1"}, {"NewName", "2"}};
  translation.Run(RuleFor("OldName",
                          "<ACTION>Accept</ACTION><MODIFYHW>"
                          "<ATTRNAME value='regex' match='^old' case='0'>New</ATTRNAME>"
                          "</MODIFYHW>"));
  EXPECT_EQ(translation.messages[1],
            "Attribute name 'NewName' renamed 'OldName' becomes duplicated");
}

TEST(FilterEngine, RejectsComeBeforeRenames) {
  Translation translation{{"Old", "1"}, {"New", "2"}};
  translation.Run(Rename("Old", "New") + RuleFor("New", "<ACTION>Reject</ACTION>"));
  EXPECT_EQ(translation.Result(), (Values{{"Old", "1"}}));
  EXPECT_EQ(translation.messages[2], "Failed to rename attribute from 'New' to 'Old' (0x1)");
}

TEST(FilterEngine, ProcessAttrGivesTheNewNameAndLeavesTheOld) {
  TemporaryFolder folder;
  const CapturedLog log(debugInv);
  HwFilter filter;
  ASSERT_TRUE(
      filter.Load(folder.Write("f.xml", "<HWINVCONFIG><TRANSLATEHWLIST>" + Rename("Old", "New") +
                                            "</TRANSLATEHWLIST></HWINVCONFIG>")));
  ObjInstAttr attribute("Old");
  bool modified = false;
  KorString name("left over");
  EXPECT_TRUE(filter.ProcessAttr(&attribute, modified, name));
  EXPECT_TRUE(modified);
  EXPECT_EQ(name, KorString("New"));
  EXPECT_EQ(attribute.GetName(), KorString("Old"));
  ObjInstAttr other("Other");
  EXPECT_TRUE(filter.ProcessAttr(&other, modified, name));
  EXPECT_FALSE(modified);
  EXPECT_EQ(name, KorString());
}

TEST(FilterEngine, EveryInstanceOfEveryClassIsTranslated) {
  Translation translation{{"A", "1"}};
  translation.Type().Ensure("1")->Ensure("A")->SetValue("2");
  translation.inventory.Ensure("Other")->Ensure("0")->Ensure("A")->SetValue("3");
  translation.Run(ValueRewrite("A", "<ATTRVALUE>x</ATTRVALUE>"));
  EXPECT_EQ(translation.Type().Instances().Get("1")->Attributes().Get("A")->GetValue(),
            KorString("x"));
  EXPECT_EQ(translation.messages[1],
            "There was 3 change(s) within the last loop. More pass would be required");
}

TEST(FilterEngine, WhatIsToBeRenamedInOneInstanceIsForgottenInTheNext) {
  Translation translation{{"Old", "1"}};
  translation.Type().Ensure("1")->Ensure("Other")->SetValue("2");
  translation.Run(Rename("Old", "New"));
  EXPECT_EQ(translation.messages,
            (Names{"Processing attribute filter pass 1",
                   "Failed to rename attribute from 'New' to 'Old' (0x1)",
                   "There was 1 change(s) within the last loop. More pass would be required"}));
}

TEST(FilterEngine, WhatIsRejectedInOneInstanceStaysInTheNext) {
  Translation translation{{"A", "x"}};
  translation.Type().Ensure("1")->Ensure("A")->SetValue("y");
  translation.Run(RejectWhere("<ATTRVALUE>x</ATTRVALUE>"));
  EXPECT_EQ(translation.Result(), Values{});
  EXPECT_NE(translation.Type().Instances().Get("1")->Attributes().Get("A"), nullptr);
}

}  // namespace
