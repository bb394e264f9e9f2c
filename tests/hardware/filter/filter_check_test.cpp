#include "hardware/filter/filter_check.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hardware/filter/hw_filter.h"
#include "hardware/module/globals.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

using HardwareInventory::debugInv;
using HardwareInventory::HwFilter;
using Findings = std::vector<std::string>;

// What is said with a place in the file, as "line: text".
Findings FindingsIn(const std::string& document) {
  TemporaryFolder folder;
  const KorString path = folder.Write("filter.xml", document);
  const CapturedLog log(debugInv);
  const HardwareInventory::FilterCheckScope check(true);
  HwFilter filter;
  EXPECT_TRUE(filter.Load(path));
  Findings findings;
  for (const CapturedLog::Entry& entry : log.Entries()) {
    if (entry.line == 0) continue;
    EXPECT_EQ(entry.level, KorLogLevel::kTrace) << entry.text;
    EXPECT_EQ(entry.file, path.Str());
    findings.push_back(std::to_string(entry.line) + ": " + entry.text);
  }
  return findings;
}

Findings FindingsInList(const std::string& list) {
  return FindingsIn("<HWINVCONFIG><TRANSLATEHWLIST>" + list + "</TRANSLATEHWLIST></HWINVCONFIG>");
}

// In a rule "r" on every name that accepts.
Findings FindingsInRule(const std::string& content) {
  return FindingsInList(
      "<TRANSLATEHW label='r'><MATCHHW><ATTRNAME>*</ATTRNAME></MATCHHW><ACTION>Accept</ACTION>" +
      content + "</TRANSLATEHW>");
}

TEST(FilterCheck, NobodyWhoDidNotAskIsTold) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("filter.xml",
                                      "<HWINVCONFIG><UNKNOWN/><TRANSLATEHWLIST><TRANSLATEHW>"
                                      "<ACTION>Reject</ACTION></TRANSLATEHW></TRANSLATEHWLIST>"
                                      "</HWINVCONFIG>");
  const CapturedLog log(debugInv);
  HwFilter filter;

  EXPECT_TRUE(filter.Load(path));

  EXPECT_EQ(log.Text(), "trace: Processing xml '" + path.Str() +
                            "'\ntrace: Filter entries have been loaded (0 WMI classes, 1 "
                            "attributes)\n");
}

TEST(FilterCheck, NothingIsFoundInAGoodFile) {
  const char* const document = R"xml(<?xml version="1.0"?>
<HWINVCONFIG xmlns:x="urn:y">
  <HWINVWMILIST>
    <HWWMICLASS>
      <CLASSNAME>A</CLASSNAME> <CLASSID>B</CLASSID> <ACTION>Accept</ACTION>
    </HWWMICLASS>
  </HWINVWMILIST>
  <TRANSLATEHWLIST maxpass="1">
    <TRANSLATEHW label="r">
      <MATCHHW><ATTRNAME value="regex">^a(.*)</ATTRNAME></MATCHHW>
      <ACTION>Accept</ACTION>
      <MODIFYHW><ATTRVALUE value="regex" match="(a)(b)">$2${1}\0 $$ \x</ATTRVALUE></MODIFYHW>
    </TRANSLATEHW>
  </TRANSLATEHWLIST>
</HWINVCONFIG>)xml";
  EXPECT_EQ(FindingsIn(document), Findings{});
}

TEST(FilterCheck, AnotherRootIsSaid) {
  EXPECT_EQ(FindingsIn("<OTHER><X/></OTHER>"),
            Findings{"1: The root element 'OTHER' is not HWINVCONFIG, the filter stays empty"});
  EXPECT_EQ(FindingsIn("\n<HwInvConfig/>"),
            Findings{"2: The root element 'HwInvConfig' is not HWINVCONFIG, the filter stays "
                     "empty, did you mean HWINVCONFIG?"});
}

TEST(FilterCheck, SkippedElementsAreNamedWithTheirPlace) {
  EXPECT_EQ(FindingsIn("<HWINVCONFIG>\n<TRANSLATEHWLIST>\n<RULE><TRANSLATEHW/></RULE>\n"
                       "<translatehw/></TRANSLATEHWLIST></HWINVCONFIG>"),
            (Findings{"3: Element 'RULE' in HWINVCONFIG/TRANSLATEHWLIST is unknown and skipped "
                      "with all that it holds",
                      "4: Element 'translatehw' in HWINVCONFIG/TRANSLATEHWLIST is unknown and "
                      "skipped with all that it holds, did you mean TRANSLATEHW?"}));
}

TEST(FilterCheck, XmlAttributesOfSkippedElementsAreNotSpokenOf) {
  EXPECT_EQ(FindingsInList("<TRANSLATEHW label='r'><X label='z' other='y'/><ACTION>Reject</ACTION>"
                           "</TRANSLATEHW>"),
            (Findings{"1: Element 'X' in HWINVCONFIG/TRANSLATEHWLIST/TRANSLATEHW is unknown and "
                      "skipped with all that it holds",
                      "1: Entry 'r' never applies: it has no MATCHHW with an ATTRNAME or "
                      "ATTRVALUE"}));
}

TEST(FilterCheck, IgnoredXmlAttributesAreNamed) {
  EXPECT_EQ(FindingsInList("<TRANSLATEHW Label='x'><ACTION when='now'>Reject</ACTION>"
                           "<MATCHHW><ATTRNAME match='y'>a</ATTRNAME></MATCHHW></TRANSLATEHW>"),
            (Findings{"1: Attribute 'Label' of HWINVCONFIG/TRANSLATEHWLIST/TRANSLATEHW is unknown "
                      "and ignored",
                      "1: Attribute 'when' of HWINVCONFIG/TRANSLATEHWLIST/TRANSLATEHW/ACTION is "
                      "unknown and ignored",
                      "1: Attribute 'match' of HWINVCONFIG/TRANSLATEHWLIST/TRANSLATEHW/MATCHHW/"
                      "ATTRNAME is unknown and ignored"}));
}

TEST(FilterCheck, TextBetweenElementsIsSaid) {
  EXPECT_EQ(FindingsIn("<HWINVCONFIG>rules:</HWINVCONFIG>"),
            Findings{"1: Text in HWINVCONFIG is ignored: 'rules:'"});
}

TEST(FilterCheck, RepeatedTextElementsAreSaid) {
  EXPECT_EQ(FindingsInRule("<ACTION/>"),
            Findings{"1: HWINVCONFIG/TRANSLATEHWLIST/TRANSLATEHW/ACTION is given more than once, "
                     "the texts are joined"});
}

TEST(FilterCheck, WhiteSpaceAroundComparedTextsIsSaid) {
  EXPECT_EQ(FindingsInRule("<MATCHHW><ATTRVALUE> a</ATTRVALUE></MATCHHW>"
                           "<MODIFYHW><ATTRVALUE> trimmed </ATTRVALUE></MODIFYHW>"),
            Findings{"1: The white space around the text of HWINVCONFIG/TRANSLATEHWLIST/"
                     "TRANSLATEHW/MATCHHW/ATTRVALUE counts: ' a'"});
}

TEST(FilterCheck, WhiteSpaceCountsInNamesAndConditionsOnly) {
  const std::string classPath = "HWINVCONFIG/HWINVWMILIST/HWWMICLASS/";
  const auto saidOf = [](const std::string& path) {
    return "1: The white space around the text of " + path + " counts: ' a '";
  };
  EXPECT_EQ(
      FindingsIn("<HWINVCONFIG><HWINVWMILIST><HWWMICLASS><CLASSNAME> a </CLASSNAME>"
                 "<CLASSID> a </CLASSID><ACTION>Accept</ACTION><ATTRIBUTES><ATTRIBUTE>"
                 "<ATTRNAME> a </ATTRNAME><ATTRUNIT> a </ATTRUNIT><ATTRACTION>Accept</ATTRACTION>"
                 "</ATTRIBUTE></ATTRIBUTES></HWWMICLASS></HWINVWMILIST></HWINVCONFIG>"),
      (Findings{saidOf(classPath + "CLASSNAME"), saidOf(classPath + "CLASSID"),
                saidOf(classPath + "ATTRIBUTES/ATTRIBUTE/ATTRNAME")}));
  EXPECT_EQ(FindingsInList("<TRANSLATEHW><MATCHHW><ATTRNAME> a </ATTRNAME></MATCHHW>"
                           "<ACTION>Accept</ACTION></TRANSLATEHW>"),
            Findings{saidOf("HWINVCONFIG/TRANSLATEHWLIST/TRANSLATEHW/MATCHHW/ATTRNAME")});
}

// Each element stands once in its entry, however many entries there are.
TEST(FilterCheck, AWholeFileGivesNothingToSay) {
  const std::string attribute =
      "<ATTRIBUTE><ATTRNAME>Name</ATTRNAME><ATTRTYPE>String</ATTRTYPE><ATTRUNIT>MB</ATTRUNIT>"
      "<ATTRACTION>Accept</ATTRACTION></ATTRIBUTE>";
  const std::string entry =
      "<HWWMICLASS><CLASSNAME>Processor</CLASSNAME><CLASSID>Win32_Processor</CLASSID>"
      "<ACTION>Accept</ACTION><CURRENTUSER>No</CURRENTUSER><ATTRIBUTES>" +
      attribute + attribute + "</ATTRIBUTES></HWWMICLASS>";
  const std::string rule =
      "<TRANSLATEHW label='r'><MATCHHW><ATTRNAME>a</ATTRNAME><ATTRVALUE>b</ATTRVALUE></MATCHHW>"
      "<ACTION>Accept</ACTION><MODIFYHW><ATTRVALUE>c</ATTRVALUE></MODIFYHW></TRANSLATEHW>";
  EXPECT_EQ(FindingsIn("<HWINVCONFIG><HWINVWMILIST>" + entry + entry +
                       "</HWINVWMILIST><TRANSLATEHWLIST maxpass='1'>" + rule + rule +
                       "</TRANSLATEHWLIST></HWINVCONFIG>"),
            Findings{});
}

TEST(FilterCheck, EveryRepeatedTextOfAClassIsSaid) {
  const std::string path = "HWINVCONFIG/HWINVWMILIST/HWWMICLASS/";
  const auto saidOf = [](const std::string& element) {
    return "1: " + element + " is given more than once, the texts are joined";
  };
  EXPECT_EQ(
      FindingsIn("<HWINVCONFIG><HWINVWMILIST><HWWMICLASS><CLASSNAME>a</CLASSNAME><CLASSNAME/>"
                 "<CLASSID>b</CLASSID><CLASSID/><ACTION>Accept</ACTION><ACTION/>"
                 "<CURRENTUSER>No</CURRENTUSER><CURRENTUSER/><ATTRIBUTES><ATTRIBUTE>"
                 "<ATTRNAME>c</ATTRNAME><ATTRNAME/><ATTRTYPE>Date</ATTRTYPE><ATTRTYPE/>"
                 "<ATTRUNIT>d</ATTRUNIT><ATTRUNIT/><ATTRACTION>Accept</ATTRACTION><ATTRACTION/>"
                 "</ATTRIBUTE></ATTRIBUTES></HWWMICLASS></HWINVWMILIST></HWINVCONFIG>"),
      (Findings{saidOf(path + "CLASSNAME"), saidOf(path + "CLASSID"), saidOf(path + "ACTION"),
                saidOf(path + "CURRENTUSER"), saidOf(path + "ATTRIBUTES/ATTRIBUTE/ATTRNAME"),
                saidOf(path + "ATTRIBUTES/ATTRIBUTE/ATTRTYPE"),
                saidOf(path + "ATTRIBUTES/ATTRIBUTE/ATTRUNIT"),
                saidOf(path + "ATTRIBUTES/ATTRIBUTE/ATTRACTION")}));
}

TEST(FilterCheck, ScopesMayStandInOneAnother) {
  const CapturedLog log(debugInv);
  const auto isSaid = [&log] {
    const size_t before = log.Entries().size();
    HardwareInventory::CheckIgnoredText(HardwareInventory::HwFilterState::kConfig, "text");
    return log.Entries().size() > before;
  };
  EXPECT_FALSE(isSaid());
  {
    const HardwareInventory::FilterCheckScope outer(true);
    EXPECT_TRUE(isSaid());
    {
      const HardwareInventory::FilterCheckScope inner(false);
      EXPECT_FALSE(isSaid());
    }
    EXPECT_TRUE(isSaid());
  }
  EXPECT_FALSE(isSaid());
}

TEST(FilterCheck, RulesThatNeverApplyAreSaid) {
  const Findings expected{
      "1: Entry 'r' never applies: it has no MATCHHW with an ATTRNAME or ATTRVALUE"};
  EXPECT_EQ(FindingsInList("<TRANSLATEHW label='r'><ACTION>Reject</ACTION></TRANSLATEHW>"),
            expected);
  EXPECT_EQ(
      FindingsInList("<TRANSLATEHW label='r'><MATCHHW/><ACTION>Reject</ACTION></TRANSLATEHW>"),
      expected);
}

TEST(FilterCheck, EmptyConditionsAreSaid) {
  EXPECT_EQ(FindingsInRule("<MATCHHW><ATTRVALUE/></MATCHHW>"),
            Findings{"1: Entry 'r': MATCHHW/ATTRVALUE is empty and matches everything"});
  EXPECT_EQ(FindingsInRule("<MATCHHW><ATTRVALUE value='regex' operator='ne'/></MATCHHW>"),
            Findings{"1: Entry 'r' never applies: MATCHHW/ATTRVALUE is empty, which matches "
                     "everything"});
  EXPECT_EQ(FindingsInRule("<MATCHHW><ATTRVALUE value='text'/></MATCHHW>"), Findings{});
  EXPECT_EQ(FindingsInList("<TRANSLATEHW label='r'><MATCHHW><ATTRNAME/></MATCHHW>"
                           "<ACTION>Reject</ACTION></TRANSLATEHW>"),
            Findings{"1: Entry 'r': MATCHHW/ATTRNAME is empty and matches everything"});
}

TEST(FilterCheck, ExpressionsThatDoNotCompileAreSaidWithTheReason) {
  const Findings inMatch =
      FindingsInRule("<MATCHHW><ATTRVALUE value='regex'>(</ATTRVALUE></MATCHHW>");
  ASSERT_EQ(inMatch.size(), 1U);
  const std::string prefix =
      "1: Entry 'r': the expression of MATCHHW/ATTRVALUE matches nothing, it does not compile: ";
  EXPECT_TRUE(inMatch[0].starts_with(prefix)) << inMatch[0];
  EXPECT_GT(inMatch[0].size(), prefix.size());
  const Findings inModify =
      FindingsInRule("<MODIFYHW><ATTRVALUE value='regex' match='['>x</ATTRVALUE></MODIFYHW>");
  ASSERT_EQ(inModify.size(), 1U);
  EXPECT_TRUE(inModify[0].starts_with("1: Entry 'r': the expression of MODIFYHW/ATTRVALUE"));
}

TEST(FilterCheck, GroupsThatDoNotExistAreSaid) {
  EXPECT_EQ(
      FindingsInRule("<MODIFYHW><ATTRVALUE value='regex' match='(a)|b'>$2</ATTRVALUE></MODIFYHW>"),
      Findings{"1: Entry 'r': the replacement of MODIFYHW/ATTRVALUE names group 2, but there "
               "are only 1"});
  EXPECT_EQ(FindingsInRule(
                "<MODIFYHW><ATTRVALUE value='regex' match='a(?:b)\\('>\\1</ATTRVALUE></MODIFYHW>"),
            Findings{"1: Entry 'r': the replacement of MODIFYHW/ATTRVALUE names group 1, but there "
                     "are only 0"});
}

// The highest group that is missed in that replacement for an expression that has none.
std::string MissedGroup(const std::string& replacement) {
  const Findings findings = FindingsInRule("<MODIFYHW><ATTRVALUE value='regex' match='a'>" +
                                           replacement + "</ATTRVALUE></MODIFYHW>");
  if (findings.empty()) return "";
  const std::string before = "1: Entry 'r': the replacement of MODIFYHW/ATTRVALUE names group ";
  const std::string after = ", but there are only 0";
  EXPECT_EQ(findings.size(), 1U);
  EXPECT_TRUE(findings[0].starts_with(before) && findings[0].ends_with(after)) << findings[0];
  return findings[0].substr(before.size(), findings[0].size() - before.size() - after.size());
}

TEST(FilterCheck, GroupsOfAReplacementAreFoundAsTheyAreWritten) {
  EXPECT_EQ(MissedGroup("$1"), "1");
  EXPECT_EQ(MissedGroup("x$9:"), "9");
  EXPECT_EQ(MissedGroup("$7/"), "7");
  EXPECT_EQ(MissedGroup("$10"), "10");
  EXPECT_EQ(MissedGroup("$05"), "5");
  EXPECT_EQ(MissedGroup("${3}"), "3");
  EXPECT_EQ(MissedGroup("a${45}b"), "45");
  EXPECT_EQ(MissedGroup("\\6"), "6");
  EXPECT_EQ(MissedGroup("$1 $12 $3"), "12");
  EXPECT_EQ(MissedGroup("$99999999999999999999"), "100000");
}

TEST(FilterCheck, WhatOnlyLooksLikeAGroupIsNone) {
  for (const char* replacement :
       {"", "1", "$", "$$", "$a", "$0", "${", "${}", "${3", "${3 }", "$ 3", "\\{3}", "\\"}) {
    EXPECT_EQ(MissedGroup(replacement), "") << replacement;
  }
}

TEST(FilterCheck, GroupsThatAreThereAreFine) {
  EXPECT_EQ(FindingsInRule(
                "<MODIFYHW><ATTRVALUE value='regex' match='(a)(b)'>$2$1</ATTRVALUE></MODIFYHW>"),
            Findings{});
}

// An option at its very beginning counts only there: how many groups there are is not known.
TEST(FilterCheck, GroupsThatCannotBeCountedAreNotMissed) {
  EXPECT_EQ(FindingsInRule(
                "<MODIFYHW><ATTRVALUE value='regex' match='(*CRLF)a'>$1</ATTRVALUE></MODIFYHW>"),
            Findings{});
}

TEST(FilterCheck, MatchOfARewriteThatDoesNotUseItIsSaid) {
  EXPECT_EQ(FindingsInRule("<MODIFYHW><ATTRVALUE match='a'>b</ATTRVALUE></MODIFYHW>"),
            Findings{"1: Entry 'r': 'match' of MODIFYHW/ATTRVALUE is ignored, the method is not "
                     "regex"});
  EXPECT_EQ(FindingsInRule("<MODIFYHW><ATTRVALUE value='regex'>b</ATTRVALUE></MODIFYHW>"),
            Findings{"1: Entry 'r': MODIFYHW/ATTRVALUE has no 'match': the empty expression "
                     "matches everywhere"});
  const Findings inRename = FindingsInRule("<MODIFYHW><ATTRNAME match='a'>b</ATTRNAME></MODIFYHW>");
  ASSERT_EQ(inRename.size(), 2U);
  EXPECT_EQ(inRename[1],
            "1: Entry 'r': 'match' of MODIFYHW/ATTRNAME is ignored, the method is not regex");
}

TEST(FilterCheck, WhatARenameReallyDoesIsSaid) {
  EXPECT_EQ(FindingsInRule("<MODIFYHW><ATTRNAME>New</ATTRNAME></MODIFYHW>"),
            Findings{"1: Entry 'r': MODIFYHW/ATTRNAME does not give the attribute its new name. It "
                     "keeps its name; an attribute that already has the new name is renamed to the "
                     "old one"});
  EXPECT_EQ(FindingsInRule("<MODIFYHW><ATTRNAME/></MODIFYHW>"),
            Findings{"1: Entry 'r' rejects every attribute that it applies to: MODIFYHW/ATTRNAME "
                     "is empty"});
}

TEST(FilterCheck, RewritesWithoutEffectAreSaid) {
  EXPECT_EQ(FindingsInRule("<MODIFYHW/>"),
            Findings{"1: Entry 'r': MODIFYHW is empty and rewrites nothing"});
  for (const char* rewrite : {"<MODIFYHW/>", "<MODIFYHW><ATTRNAME/></MODIFYHW>",
                              "<MODIFYHW><ATTRVALUE>b</ATTRVALUE></MODIFYHW>"}) {
    EXPECT_EQ(FindingsInList("<TRANSLATEHW label='r'><MATCHHW><ATTRNAME>a</ATTRNAME></MATCHHW>"
                             "<ACTION>Reject</ACTION>" +
                             std::string(rewrite) + "</TRANSLATEHW>"),
              Findings{"1: Entry 'r': MODIFYHW is ignored, the entry rejects"});
  }
}

TEST(FilterCheck, RulesWithoutPassesAreSaidAtTheEnd) {
  EXPECT_EQ(FindingsIn("<HWINVCONFIG><TRANSLATEHWLIST maxpass='0'><TRANSLATEHW><MATCHHW>"
                       "<ATTRNAME>a</ATTRNAME></MATCHHW><ACTION>Reject</ACTION></TRANSLATEHW>"
                       "</TRANSLATEHWLIST>\n</HWINVCONFIG>"),
            Findings{"2: No entry of TRANSLATEHWLIST ever applies: the number of passes is 0"});
  EXPECT_EQ(FindingsIn("<HWINVCONFIG><TRANSLATEHWLIST maxpass='0'/></HWINVCONFIG>"), Findings{});
}

// Takes nothing below a warning and notes what it is given nevertheless.
class Deaf : public KorDebugContext {
 public:
  bool Wants(KorLogLevel level) const override { return level >= KorLogLevel::kWarning; }
  void Write(const KorLogRecord&) override { ++written; }
  int written = 0;
};

TEST(FilterCheck, NothingIsSaidWhereTracesAreNotWanted) {
  const HardwareInventory::FilterCheckScope check(true);
  TemporaryFolder folder;
  const KorString path = folder.Write("filter.xml", "<OTHER/>");
  Deaf context;
  debugInv.SetContext(&context);
  HwFilter filter;
  EXPECT_TRUE(filter.Load(path));
  debugInv.SetContext(nullptr);
  EXPECT_EQ(context.written, 0);
}

}  // namespace
