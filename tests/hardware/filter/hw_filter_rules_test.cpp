#include <gtest/gtest.h>

#include <string>

#include "hardware/filter/hw_filter.h"
#include "hardware/module/globals.h"
#include "kor/regex.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

using HardwareInventory::debugInv;
using HardwareInventory::HwFilter;
using HardwareInventory::HwFilterAttr;

// The rules of a list with this content, with the warnings of the reading.
class Rules {
 public:
  explicit Rules(const std::string& list) {
    TemporaryFolder folder;
    CapturedLog log(debugInv);
    succeeded = filter.Load(folder.Write("filter.xml", "<HWINVCONFIG><TRANSLATEHWLIST>" + list +
                                                           "</TRANSLATEHWLIST></HWINVCONFIG>"));
    for (const CapturedLog::Entry& entry : log.Entries()) {
      if (entry.level == KorLogLevel::kWarning) warnings += entry.text + "\n";
    }
  }

  HwFilter filter;
  bool succeeded = false;
  std::string warnings;
};

// One rule "r" with this content that accepts.
Rules Rule(const std::string& content) {
  return Rules("<TRANSLATEHW label='r'><ACTION>Accept</ACTION>" + content + "</TRANSLATEHW>");
}

TEST(FilterRules, EveryFieldHasItsPlace) {
  const Rules rules(R"(
    <TRANSLATEHW label="all of it">
      <MATCHHW>
        <ATTRNAME value="text" operator="ne" case="yes">a</ATTRNAME>
        <ATTRVALUE value="regex" operator="eq" case="0">b+</ATTRVALUE>
      </MATCHHW>
      <ACTION>Accept</ACTION>
      <MODIFYHW>
        <ATTRNAME value="none" match="m" case="1">c</ATTRNAME>
        <ATTRVALUE value="regex" match="n" case="False">d</ATTRVALUE>
      </MODIFYHW>
    </TRANSLATEHW>)");
  EXPECT_EQ(rules.warnings, "");
  ASSERT_EQ(rules.filter.AttrCount(), 1U);
  HwFilterAttr& rule = *rules.filter.AttrGet(0);
  EXPECT_EQ(rule.GetFlags(), 0xFEU);
  EXPECT_EQ(rule.GetName(), KorString("all of it"));
  EXPECT_EQ(rule.GetAction(), 1U);
  EXPECT_EQ(rule.GetMatchNameValue(), 1U);
  EXPECT_EQ(rule.GetMatchNameOperator(), 2U);
  EXPECT_EQ(rule.GetMatchNameCase(), 1U);
  EXPECT_EQ(rule.GetMatchNameData(), KorString("a"));
  EXPECT_EQ(rule.GetMatchValueValue(), 3U);
  EXPECT_EQ(rule.GetMatchValueOperator(), 1U);
  EXPECT_EQ(rule.GetMatchValueCase(), 2U);
  EXPECT_EQ(rule.GetMatchValueData(), KorString("b+"));
  EXPECT_EQ(rule.GetModifyNameValue(), 1U);
  EXPECT_EQ(rule.GetModifyNameMatch(), KorString("m"));
  EXPECT_EQ(rule.GetModifyNameCase(), 1U);
  EXPECT_EQ(rule.GetModifyNameData(), KorString("c"));
  EXPECT_EQ(rule.GetModifyValueValue(), 3U);
  EXPECT_EQ(rule.GetModifyValueMatch(), KorString("n"));
  EXPECT_EQ(rule.GetModifyValueCase(), 2U);
  EXPECT_EQ(rule.GetModifyValueData(), KorString("d"));
}

TEST(FilterRules, FlagsAreSetByPresenceWhetherOrNotThereIsContent) {
  const auto flags = [](const char* content) -> uint32_t {
    const Rules rules = Rule(content);
    return rules.filter.AttrCount() == 1 ? rules.filter.AttrGet(0)->GetFlags() : 0;
  };
  EXPECT_EQ(flags(""), 0x10U);
  EXPECT_EQ(flags("<MATCHHW/>"), 0x12U);
  EXPECT_EQ(flags("<MATCHHW><ATTRNAME/></MATCHHW>"), 0x16U);
  EXPECT_EQ(flags("<MATCHHW><ATTRVALUE/></MATCHHW>"), 0x1AU);
  EXPECT_EQ(flags("<MODIFYHW/>"), 0x30U);
  EXPECT_EQ(flags("<MODIFYHW><ATTRNAME/></MODIFYHW>"), 0x70U);
  EXPECT_EQ(flags("<MODIFYHW><ATTRVALUE/></MODIFYHW>"), 0xB0U);
}

TEST(FilterRules, WhatIsNotSaidTakesItsDefault) {
  const Rules rules = Rule("");
  ASSERT_EQ(rules.filter.AttrCount(), 1U);
  HwFilterAttr& rule = *rules.filter.AttrGet(0);
  EXPECT_EQ(rule.GetMatchNameValue(), 3U);
  EXPECT_EQ(rule.GetMatchNameOperator(), 0U);
  EXPECT_EQ(rule.GetMatchNameCase(), 0U);
  EXPECT_EQ(rule.GetMatchValueValue(), 3U);
  EXPECT_EQ(rule.GetModifyNameValue(), 2U);
  EXPECT_EQ(rule.GetModifyNameCase(), 0U);
  EXPECT_EQ(rule.GetModifyValueValue(), 2U);
}

TEST(FilterRules, WithoutMethodAConditionIsAPatternAndStoredAsRegex) {
  const Rules rules =
      Rule("<MATCHHW><ATTRNAME>Cap*</ATTRNAME><ATTRVALUE value='Pattern'>?</ATTRVALUE></MATCHHW>");
  ASSERT_EQ(rules.filter.AttrCount(), 1U);
  EXPECT_EQ(rules.filter.AttrGet(0)->GetMatchNameValue(), 3U);
  EXPECT_EQ(rules.filter.AttrGet(0)->GetMatchNameData(), PatternToRegex("Cap*"));
  EXPECT_NE(rules.filter.AttrGet(0)->GetMatchNameData(), KorString("Cap*"));
  EXPECT_EQ(rules.filter.AttrGet(0)->GetMatchValueValue(), 3U);
  EXPECT_EQ(rules.filter.AttrGet(0)->GetMatchValueData(), PatternToRegex("?"));
}

TEST(FilterRules, EmptyPatternIsNotConverted) {
  const Rules rules = Rule("<MATCHHW><ATTRNAME value='pattern'></ATTRNAME></MATCHHW>");
  ASSERT_EQ(rules.filter.AttrCount(), 1U);
  EXPECT_EQ(rules.filter.AttrGet(0)->GetMatchNameValue(), 3U);
  EXPECT_EQ(rules.filter.AttrGet(0)->GetMatchNameData(), KorString());
}

TEST(FilterRules, LetterCaseTakesSixWords) {
  for (const char* word : {"1", "yes", "TRUE"}) {
    const Rules rules =
        Rule("<MATCHHW><ATTRNAME case='" + std::string(word) + "'>a</ATTRNAME></MATCHHW>");
    ASSERT_EQ(rules.filter.AttrCount(), 1U) << word;
    EXPECT_EQ(rules.filter.AttrGet(0)->GetMatchNameCase(), 1U) << word;
  }
  for (const char* word : {"0", "No", "false"}) {
    const Rules rules =
        Rule("<MODIFYHW><ATTRVALUE case='" + std::string(word) + "'>a</ATTRVALUE></MODIFYHW>");
    ASSERT_EQ(rules.filter.AttrCount(), 1U) << word;
    EXPECT_EQ(rules.filter.AttrGet(0)->GetModifyValueCase(), 2U) << word;
  }
}

TEST(FilterRules, EveryBadWordDropsTheRuleWithItsWarning) {
  const struct {
    const char* content;
    const char* warning;
  } cases[] = {
      {"<MATCHHW><ATTRNAME value='x'/></MATCHHW>", "Bad MATCH value 'x' for entry 'r'\n"},
      {"<MATCHHW><ATTRVALUE value='none'/></MATCHHW>", "Bad MATCH value 'none' for entry 'r'\n"},
      {"<MATCHHW><ATTRNAME operator='gt'/></MATCHHW>", "Bad MATCH operator 'gt' for entry 'r'\n"},
      {"<MATCHHW><ATTRVALUE operator='='/></MATCHHW>", "Bad MATCH operator '=' for entry 'r'\n"},
      {"<MATCHHW><ATTRNAME case='2'/></MATCHHW>", "Bad MATCH case '2' for entry 'r'\n"},
      {"<MATCHHW><ATTRVALUE case='on'/></MATCHHW>", "Bad MATCH case 'on' for entry 'r'\n"},
      // The words of a condition, although it is a rewrite that is wrong.
      {"<MODIFYHW><ATTRNAME value='pattern'/></MODIFYHW>",
       "Bad MATCH value 'pattern' for entry 'r'\n"},
      {"<MODIFYHW><ATTRVALUE value='y'/></MODIFYHW>", "Bad MATCH value 'y' for entry 'r'\n"},
      {"<MODIFYHW><ATTRNAME case='2'/></MODIFYHW>", "Bad MATCH case '2' for entry 'r'\n"},
      {"<MODIFYHW><ATTRVALUE case='3'/></MODIFYHW>", "Bad MATCH case '3' for entry 'r'\n"},
  };
  for (const auto& bad : cases) {
    const Rules rules = Rule(bad.content);
    EXPECT_TRUE(rules.succeeded);
    EXPECT_EQ(rules.filter.AttrCount(), 0U) << bad.content;
    EXPECT_EQ(rules.warnings, bad.warning) << bad.content;
  }
}

TEST(FilterRules, OnlyTheFirstFaultOfARuleIsReported) {
  const Rules rules(
      "<TRANSLATEHW><MATCHHW><ATTRNAME operator='x'/><ATTRVALUE value='z'/></MATCHHW>"
      "<ACTION>y</ACTION></TRANSLATEHW>");
  EXPECT_EQ(rules.warnings, "Bad MATCH operator 'x' for entry ''\n");
}

TEST(FilterRules, ActionIsLookedAtBetweenConditionsAndRewrites) {
  const Rules afterMatch(
      "<TRANSLATEHW label='r'><MODIFYHW><ATTRNAME value='z'/></MODIFYHW><ACTION>y</ACTION>"
      "</TRANSLATEHW>");
  EXPECT_EQ(afterMatch.warnings, "Bad action 'y' for entry 'r'\n");
}

TEST(FilterRules, RuleWithoutActionIsDropped) {
  const Rules absent(
      "<TRANSLATEHW label='r'><MATCHHW><ATTRNAME>a</ATTRNAME></MATCHHW></TRANSLATEHW>");
  EXPECT_EQ(absent.filter.AttrCount(), 0U);
  EXPECT_EQ(absent.warnings, "Bad action '' for entry 'r'\n");
  const Rules empty("<TRANSLATEHW label='r'><ACTION/></TRANSLATEHW>");
  EXPECT_EQ(empty.warnings, "Bad action '' for entry 'r'\n");
  const Rules otherCase("<TRANSLATEHW label='r'><action>Accept</action></TRANSLATEHW>");
  EXPECT_EQ(otherCase.warnings, "Bad action '' for entry 'r'\n");
}

TEST(FilterRules, ActionWordIgnoresCase) {
  const Rules rules(
      "<TRANSLATEHW><ACTION>accept</ACTION></TRANSLATEHW>"
      "<TRANSLATEHW><ACTION>REJECT</ACTION></TRANSLATEHW>");
  ASSERT_EQ(rules.filter.AttrCount(), 2U);
  EXPECT_EQ(rules.filter.AttrGet(0)->GetAction(), 1U);
  EXPECT_EQ(rules.filter.AttrGet(1)->GetAction(), 2U);
}

TEST(FilterRules, EmptyXmlAttributesAreAsAbsentOnes) {
  const Rules rules =
      Rule("<MATCHHW><ATTRNAME value='' operator='' case=''>a</ATTRNAME></MATCHHW>");
  EXPECT_EQ(rules.warnings, "");
  ASSERT_EQ(rules.filter.AttrCount(), 1U);
  EXPECT_EQ(rules.filter.AttrGet(0)->GetMatchNameValue(), 3U);
  EXPECT_EQ(rules.filter.AttrGet(0)->GetMatchNameOperator(), 0U);
  EXPECT_EQ(rules.filter.AttrGet(0)->GetMatchNameCase(), 0U);
}

TEST(FilterRules, RepeatedElementAppendsItsTextAndStoresItsXmlAttributesAnew) {
  const Rules rules = Rule(
      "<MATCHHW><ATTRNAME value='text' operator='ne' case='1'>ab</ATTRNAME>"
      "<ATTRNAME operator='eq' case=''>cd</ATTRNAME></MATCHHW>");
  ASSERT_EQ(rules.filter.AttrCount(), 1U);
  HwFilterAttr& rule = *rules.filter.AttrGet(0);
  EXPECT_EQ(rule.GetMatchNameData(), KorString("abcd"));
  EXPECT_EQ(rule.GetMatchNameValue(), 1U);
  EXPECT_EQ(rule.GetMatchNameOperator(), 1U);
  EXPECT_EQ(rule.GetMatchNameCase(), 0U);
}

TEST(FilterRules, XmlAttributesOfASkippedElementAreNotTaken) {
  const Rules rules = Rule("<X label='z'/>");
  ASSERT_EQ(rules.filter.AttrCount(), 1U);
  EXPECT_EQ(rules.filter.AttrGet(0)->GetName(), KorString("r"));
}

TEST(FilterRules, NothingOfARuleIsLeftForTheNext) {
  const Rules rules(
      "<TRANSLATEHW label='first'><MATCHHW><ATTRNAME value='text' operator='ne'>a</ATTRNAME>"
      "</MATCHHW><ACTION>Accept</ACTION><MODIFYHW><ATTRVALUE match='x'>b</ATTRVALUE></MODIFYHW>"
      "</TRANSLATEHW><TRANSLATEHW><ACTION>Reject</ACTION></TRANSLATEHW>");
  ASSERT_EQ(rules.filter.AttrCount(), 2U);
  HwFilterAttr& second = *rules.filter.AttrGet(1);
  EXPECT_EQ(second.GetFlags(), 0x10U);
  EXPECT_EQ(second.GetName(), KorString());
  EXPECT_EQ(second.GetAction(), 2U);
  EXPECT_EQ(second.GetMatchNameValue(), 3U);
  EXPECT_EQ(second.GetMatchNameOperator(), 0U);
  EXPECT_EQ(second.GetMatchNameData(), KorString());
  EXPECT_EQ(second.GetModifyValueMatch(), KorString());
  EXPECT_EQ(second.GetModifyValueData(), KorString());
}

TEST(FilterRules, TextOfConditionsAndRewritesIsNotTrimmed) {
  const Rules rules = Rule(
      "<MATCHHW><ATTRVALUE value='text'> a\n</ATTRVALUE></MATCHHW>"
      "<MODIFYHW><ATTRVALUE> b </ATTRVALUE></MODIFYHW>");
  ASSERT_EQ(rules.filter.AttrCount(), 1U);
  EXPECT_EQ(rules.filter.AttrGet(0)->GetMatchValueData(), KorString(" a\n"));
  EXPECT_EQ(rules.filter.AttrGet(0)->GetModifyValueData(), KorString(" b "));
}

TEST(FilterRules, RegexThatDoesNotCompileIsTaken) {
  const Rules rules = Rule("<MATCHHW><ATTRNAME value='regex'>(</ATTRNAME></MATCHHW>");
  EXPECT_EQ(rules.warnings, "");
  EXPECT_EQ(rules.filter.AttrCount(), 1U);
}

}  // namespace
