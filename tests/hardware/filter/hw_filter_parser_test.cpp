#include "hardware/filter/hw_filter_parser.h"

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
using HardwareInventory::HwFilterParser;
using HardwareInventory::HwFilterWmiAttr;
using HardwareInventory::HwFilterWmiClass;

// A filter filled from a text, with the complaints (warnings and errors) of the reading.
class Reading {
 public:
  explicit Reading(const std::string& text) {
    CapturedLog log(debugInv);
    CapturedLog frameworkLog(KorFrameworkLog());
    HwFilterParser parser;
    succeeded = parser.Process(folder.Write("filter.xml", text), &filter);
    for (const CapturedLog::Entry& entry : log.Entries()) {
      if (entry.level < KorLogLevel::kWarning) continue;
      complaints += std::string(KorLogLevelName(entry.level)) + ": " + entry.text + "\n";
    }
  }

  TemporaryFolder folder;
  HwFilter filter;
  bool succeeded = false;
  std::string complaints;
};

std::string Config(const std::string& content) {
  return "<HWINVCONFIG>" + content + "</HWINVCONFIG>";
}
std::string ClassList(const std::string& content) {
  return Config("<HWINVWMILIST>" + content + "</HWINVWMILIST>");
}
std::string ClassWith(const std::string& content) {
  return ClassList(
      "<HWWMICLASS><CLASSNAME>Processor</CLASSNAME><CLASSID>Win32_Processor</CLASSID>"
      "<ACTION>Accept</ACTION>" +
      content + "</HWWMICLASS>");
}
std::string AttrWith(const std::string& content) {
  return ClassWith("<ATTRIBUTES><ATTRIBUTE>" + content + "</ATTRIBUTE></ATTRIBUTES>");
}

std::vector<std::string> AttrNames(HwFilterWmiClass& entry) {
  std::vector<std::string> names;
  entry.Attributes().First();
  while (const HwFilterWmiAttr* attr = entry.Attributes().Next()) {
    names.push_back(attr->GetName().Str());
  }
  return names;
}

HwFilterWmiAttr* OnlyAttr(const HwFilter& filter) {
  if (filter.WmiClassCount() != 1 || filter.WmiClassGet(0)->Attributes().Count() != 1) {
    return nullptr;
  }
  filter.WmiClassGet(0)->Attributes().First();
  return filter.WmiClassGet(0)->Attributes().Next();
}

TEST(FilterParser, ClassWithAttributesIsRead) {
  const Reading reading(ClassList(R"(
    <HWWMICLASS>
      <ACTION>Reject</ACTION>
      <CURRENTUSER>Yes</CURRENTUSER>
      <CLASSID>Win32_Processor</CLASSID>
      <ATTRIBUTES>
        <ATTRIBUTE>
          <ATTRACTION>ACCEPT</ATTRACTION>
          <ATTRUNIT>MHz</ATTRUNIT>
          <ATTRTYPE>integer</ATTRTYPE>
          <ATTRNAME>Current Clock Speed</ATTRNAME>
        </ATTRIBUTE>
        <ATTRIBUTE><ATTRNAME>Name</ATTRNAME><ATTRACTION>reject</ATTRACTION></ATTRIBUTE>
      </ATTRIBUTES>
      <CLASSNAME>Processor</CLASSNAME>
    </HWWMICLASS>)"));
  EXPECT_TRUE(reading.succeeded);
  EXPECT_EQ(reading.complaints, "");
  ASSERT_EQ(reading.filter.WmiClassCount(), 1U);
  HwFilterWmiClass& entry = *reading.filter.WmiClassGet(0);
  EXPECT_EQ(entry.GetName(), KorString("Processor"));
  EXPECT_EQ(entry.GetId(), KorString("Win32_Processor"));
  EXPECT_EQ(entry.GetAction(), 2U);
  EXPECT_TRUE(entry.GetCurrentUser());
  EXPECT_EQ(entry.GetFlags(), 0U);
  ASSERT_EQ(entry.Attributes().Count(), 2U);
  entry.Attributes().First();
  const HwFilterWmiAttr& speed = *entry.Attributes().Next();
  EXPECT_EQ(speed.GetName(), KorString("Current Clock Speed"));
  EXPECT_EQ(speed.GetType(), KorString("Integer"));
  EXPECT_EQ(speed.GetUnit(), KorString("MHz"));
  EXPECT_EQ(speed.GetAction(), 1U);
  EXPECT_EQ(speed.GetFlags(), 0U);
  const HwFilterWmiAttr& name = *entry.Attributes().Next();
  EXPECT_EQ(name.GetAction(), 2U);
  EXPECT_TRUE(name.GetUnit().IsEmpty());
}

TEST(FilterParser, TracesThePathItReads) {
  TemporaryFolder folder;
  const KorString path = folder.Write("filter.xml", Config(""));
  CapturedLog log(debugInv);
  HwFilter filter;
  HwFilterParser parser;
  EXPECT_TRUE(parser.Process(path, &filter));
  EXPECT_EQ(log.Text(), "trace: Processing xml '" + path.Str() + "'\n");
}

TEST(FilterParser, WithoutFilterNothingIsRead) {
  TemporaryFolder folder;
  const KorString path = folder.Write("filter.xml", Config(""));
  CapturedLog log(debugInv);
  HwFilterParser parser;
  EXPECT_FALSE(parser.Process(path, nullptr));
  EXPECT_EQ(log.Text(), "trace: Processing xml '" + path.Str() + "'\n");
}

TEST(FilterParser, MissingFileFails) {
  TemporaryFolder folder;
  const CapturedLog frameworkLog(KorFrameworkLog());
  HwFilter filter;
  HwFilterParser parser;
  EXPECT_FALSE(parser.Process(folder.Path("none.xml"), &filter));
}

TEST(FilterParser, WhatStandsBeforeABreakStays) {
  const Reading reading(
      "<HWINVCONFIG><HWINVWMILIST>"
      "<HWWMICLASS><CLASSNAME>A</CLASSNAME><CLASSID>B</CLASSID><ACTION>Accept</ACTION>"
      "</HWWMICLASS>"
      "<HWWMICLASS><CLASSID>B</CLASSID></HWWMICLASS>"
      "<HWWMICLASS><CLASSNAME>C</CLASSNAME></HWINVWMILIST>");
  EXPECT_FALSE(reading.succeeded);
  EXPECT_EQ(reading.filter.WmiClassCount(), 1U);
  EXPECT_EQ(reading.complaints, "warning: Bad WMI class without name\n");
}

TEST(FilterParser, AnotherRootGivesAnEmptyFilter) {
  const Reading reading("<OTHER>" + ClassWith("") + "</OTHER>");
  EXPECT_TRUE(reading.succeeded);
  EXPECT_EQ(reading.filter.WmiClassCount(), 0U);
  EXPECT_EQ(reading.complaints, "");
}

TEST(FilterParser, UnexpectedElementsAreSkippedWithAllTheyHold) {
  const Reading reading(
      ClassWith("<EXTRA><CLASSNAME>Wrong</CLASSNAME><ACTION><X/>Reject</ACTION></EXTRA>"
                "<ATTRNAME>Wrong</ATTRNAME>"));
  ASSERT_EQ(reading.filter.WmiClassCount(), 1U);
  EXPECT_EQ(reading.filter.WmiClassGet(0)->GetName(), KorString("Processor"));
  EXPECT_EQ(reading.filter.WmiClassGet(0)->GetAction(), 1U);
  EXPECT_EQ(reading.complaints, "");
}

TEST(FilterParser, SkippedElementOfAClassLeavesItItsAttributes) {
  const Reading reading(ClassWith(
      "<ATTRIBUTES><ATTRIBUTE><ATTRNAME>A</ATTRNAME><ATTRACTION>Accept</ATTRACTION></ATTRIBUTE>"
      "</ATTRIBUTES><EXTRA/>"));
  ASSERT_EQ(reading.filter.WmiClassCount(), 1U);
  EXPECT_EQ(AttrNames(*reading.filter.WmiClassGet(0)), std::vector<std::string>{"A"});
}

TEST(FilterParser, ChildOfATextElementIsSkippedAndTheTextGoesOn) {
  const Reading reading(ClassList(
      "<HWWMICLASS><CLASSNAME>Pro<b>fe</b>ces<!-- x -->sor</CLASSNAME><CLASSID>I</CLASSID>"
      "<ACTION>Accept</ACTION></HWWMICLASS>"));
  ASSERT_EQ(reading.filter.WmiClassCount(), 1U);
  EXPECT_EQ(reading.filter.WmiClassGet(0)->GetName(), KorString("Processor"));
}

TEST(FilterParser, TextIsNotTrimmed) {
  const Reading reading(
      ClassList("<HWWMICLASS><CLASSNAME> A </CLASSNAME><CLASSID>I</CLASSID><ACTION>Accept</ACTION>"
                "</HWWMICLASS><HWWMICLASS><CLASSNAME>B</CLASSNAME><CLASSID>I</CLASSID>"
                "<ACTION> Accept</ACTION></HWWMICLASS>"));
  ASSERT_EQ(reading.filter.WmiClassCount(), 1U);
  EXPECT_EQ(reading.filter.WmiClassGet(0)->GetName(), KorString(" A "));
  EXPECT_EQ(reading.complaints, "warning: Bad WMI class action ' Accept'\n");
}

TEST(FilterParser, RepeatedChildrenAppendTheirText) {
  const Reading reading(ClassList(
      "<HWWMICLASS><CLASSNAME>Pro</CLASSNAME><CLASSID>I</CLASSID><CLASSNAME>cessor</CLASSNAME>"
      "<ACTION>Acc</ACTION><ACTION>ept</ACTION></HWWMICLASS>"));
  ASSERT_EQ(reading.filter.WmiClassCount(), 1U);
  EXPECT_EQ(reading.filter.WmiClassGet(0)->GetName(), KorString("Processor"));
  EXPECT_EQ(reading.filter.WmiClassGet(0)->GetAction(), 1U);
}

TEST(FilterParser, NothingOfAClassIsLeftForTheNext) {
  const Reading reading(
      ClassList("<HWWMICLASS><CLASSNAME>A</CLASSNAME><CLASSID>B</CLASSID><ACTION>Accept</ACTION>"
                "<CURRENTUSER>1</CURRENTUSER></HWWMICLASS>"
                "<HWWMICLASS><CLASSNAME>C</CLASSNAME><CLASSID>D</CLASSID></HWWMICLASS>"
                "<HWWMICLASS><CLASSNAME>E</CLASSNAME><CLASSID>F</CLASSID><ACTION>Reject</ACTION>"
                "</HWWMICLASS>"));
  ASSERT_EQ(reading.filter.WmiClassCount(), 2U);
  EXPECT_TRUE(reading.filter.WmiClassGet(0)->GetCurrentUser());
  EXPECT_FALSE(reading.filter.WmiClassGet(1)->GetCurrentUser());
  EXPECT_EQ(reading.complaints, "warning: Bad WMI class action ''\n");
}

TEST(FilterParser, ClassesWithoutNameOrIdentifierAreDropped) {
  const Reading reading(
      ClassList("<HWWMICLASS><CLASSID>B</CLASSID><ACTION>Accept</ACTION></HWWMICLASS>"
                "<HWWMICLASS><CLASSNAME>A</CLASSNAME><CLASSID/><ACTION>Accept</ACTION></HWWMICLASS>"
                "<HWWMICLASS><CLASSNAME>A</CLASSNAME><CLASSID>B</CLASSID><ACTION>Maybe</ACTION>"
                "</HWWMICLASS>"));
  EXPECT_TRUE(reading.succeeded);
  EXPECT_EQ(reading.filter.WmiClassCount(), 0U);
  EXPECT_EQ(reading.complaints,
            "warning: Bad WMI class without name\n"
            "warning: Bad WMI class without identifier\n"
            "warning: Bad WMI class action 'Maybe'\n");
}

TEST(FilterParser, KeywordsIgnoreCaseButElementNamesDoNot) {
  const Reading lower(
      ClassList("<HWWMICLASS><CLASSNAME>A</CLASSNAME><CLASSID>B</CLASSID><ACTION>accept</ACTION>"
                "</HWWMICLASS>"));
  EXPECT_EQ(lower.filter.WmiClassCount(), 1U);
  const Reading element(
      ClassList("<HWWMICLASS><CLASSNAME>A</CLASSNAME><CLASSID>B</CLASSID><action>Accept</action>"
                "</HWWMICLASS>"));
  EXPECT_EQ(element.filter.WmiClassCount(), 0U);
  EXPECT_EQ(element.complaints, "warning: Bad WMI class action ''\n");
}

TEST(FilterParser, CurrentUserTakesSixWordsAndAnythingElseIsFalse) {
  for (const char* word : {"Yes", "TRUE", "1"}) {
    const Reading reading(ClassWith("<CURRENTUSER>" + std::string(word) + "</CURRENTUSER>"));
    ASSERT_EQ(reading.filter.WmiClassCount(), 1U);
    EXPECT_TRUE(reading.filter.WmiClassGet(0)->GetCurrentUser()) << word;
    EXPECT_EQ(reading.complaints, "");
  }
  for (const char* word : {"no", "False", "0", ""}) {
    const Reading reading(ClassWith("<CURRENTUSER>" + std::string(word) + "</CURRENTUSER>"));
    ASSERT_EQ(reading.filter.WmiClassCount(), 1U);
    EXPECT_FALSE(reading.filter.WmiClassGet(0)->GetCurrentUser()) << word;
    EXPECT_EQ(reading.complaints, "");
  }
  const Reading reading(ClassWith("<CURRENTUSER>on</CURRENTUSER>"));
  ASSERT_EQ(reading.filter.WmiClassCount(), 1U);
  EXPECT_FALSE(reading.filter.WmiClassGet(0)->GetCurrentUser());
  EXPECT_EQ(reading.complaints, "warning: Bad WMI class current user 'on', assuming false\n");
}

TEST(FilterParser, BadAttributesAreDroppedAndTheClassStays) {
  const Reading reading(ClassWith(R"(<ATTRIBUTES>
    <ATTRIBUTE><ATTRACTION>Accept</ATTRACTION></ATTRIBUTE>
    <ATTRIBUTE><ATTRNAME>A</ATTRNAME></ATTRIBUTE>
    <ATTRIBUTE><ATTRNAME>B</ATTRNAME><ATTRTYPE>Float</ATTRTYPE><ATTRACTION>Accept</ATTRACTION>
    </ATTRIBUTE>
    <ATTRIBUTE><ATTRNAME>C</ATTRNAME><ATTRACTION>Accept</ATTRACTION></ATTRIBUTE>
    </ATTRIBUTES>)"));
  ASSERT_EQ(reading.filter.WmiClassCount(), 1U);
  EXPECT_EQ(AttrNames(*reading.filter.WmiClassGet(0)), std::vector<std::string>{"C"});
  EXPECT_EQ(reading.complaints,
            "warning: Bad WMI attribute without name\n"
            "warning: Bad WMI attribute action ''\n"
            "warning: Bad WMI attribute type 'Float'\n");
}

TEST(FilterParser, TypeIsLookedAtOnlyForAcceptedAttributes) {
  const Reading rejected(
      AttrWith("<ATTRNAME>A</ATTRNAME><ATTRTYPE>Float</ATTRTYPE><ATTRACTION>Reject</ATTRACTION>"));
  ASSERT_NE(OnlyAttr(rejected.filter), nullptr);
  EXPECT_EQ(OnlyAttr(rejected.filter)->GetType(), KorString());
  EXPECT_EQ(rejected.complaints, "");
  const Reading known(
      AttrWith("<ATTRNAME>A</ATTRNAME><ATTRTYPE>String</ATTRTYPE><ATTRACTION>Reject</ATTRACTION>"));
  ASSERT_NE(OnlyAttr(known.filter), nullptr);
  EXPECT_EQ(OnlyAttr(known.filter)->GetType(), KorString());
}

TEST(FilterParser, TypesAreStoredInTheirOwnSpelling) {
  for (const char* type : {"String", "Integer", "Date"}) {
    std::string word(type);
    for (char& letter : word) letter = static_cast<char>(letter ^ (letter >= 'a' ? 0x20 : 0));
    const Reading reading(
        AttrWith("<ATTRNAME>A</ATTRNAME><ATTRACTION>Accept</ATTRACTION>"
                 "<ATTRTYPE>" +
                 word + "</ATTRTYPE>"));
    ASSERT_NE(OnlyAttr(reading.filter), nullptr) << word;
    EXPECT_EQ(OnlyAttr(reading.filter)->GetType(), KorString(type));
  }
}

TEST(FilterParser, DroppedClassWarnsOfItsAttributesFirstAndTakesThemAlong) {
  const Reading reading(ClassList(R"(<HWWMICLASS><CLASSNAME>A</CLASSNAME><ATTRIBUTES>
    <ATTRIBUTE><ATTRNAME>Good</ATTRNAME><ATTRACTION>Accept</ATTRACTION></ATTRIBUTE>
    <ATTRIBUTE><ATTRNAME>Bad</ATTRNAME><ATTRACTION>?</ATTRACTION></ATTRIBUTE>
    </ATTRIBUTES></HWWMICLASS>
    <HWWMICLASS><CLASSNAME>B</CLASSNAME><CLASSID>I</CLASSID><ACTION>Accept</ACTION>
    </HWWMICLASS>)"));
  EXPECT_EQ(reading.complaints,
            "warning: Bad WMI attribute action '?'\n"
            "warning: Bad WMI class without identifier\n");
  ASSERT_EQ(reading.filter.WmiClassCount(), 1U);
  EXPECT_EQ(reading.filter.WmiClassGet(0)->GetName(), KorString("B"));
  EXPECT_EQ(reading.filter.WmiClassGet(0)->Attributes().Count(), 0U);
}

TEST(FilterParser, RepeatedAttributeListsAddToTheClass) {
  const Reading reading(ClassWith(
      "<ATTRIBUTES><ATTRIBUTE><ATTRNAME>A</ATTRNAME><ATTRACTION>Accept</ATTRACTION></ATTRIBUTE>"
      "</ATTRIBUTES>"
      "<ATTRIBUTES><ATTRIBUTE><ATTRNAME>B</ATTRNAME><ATTRACTION>Reject</ATTRACTION></ATTRIBUTE>"
      "</ATTRIBUTES>"));
  ASSERT_EQ(reading.filter.WmiClassCount(), 1U);
  EXPECT_EQ(AttrNames(*reading.filter.WmiClassGet(0)), (std::vector<std::string>{"A", "B"}));
}

TEST(FilterParser, RepeatedListsAddToTheSameFilter) {
  const std::string list =
      "<HWINVWMILIST><HWWMICLASS><CLASSNAME>A</CLASSNAME><CLASSID>B</CLASSID>"
      "<ACTION>Accept</ACTION></HWWMICLASS></HWINVWMILIST>";
  const Reading reading(Config(list + "<TRANSLATEHWLIST/>" + list));
  EXPECT_EQ(reading.filter.WmiClassCount(), 2U);
}

TEST(FilterParser, PassesAreTenUnlessSaid) {
  EXPECT_EQ(Reading(Config("")).filter.GetHwListMaxPass(), 0U);
  EXPECT_EQ(Reading(Config("<TRANSLATEHWLIST/>")).filter.GetHwListMaxPass(), 10U);
  EXPECT_EQ(Reading(Config("<TRANSLATEHWLIST maxpass=''/>")).filter.GetHwListMaxPass(), 10U);
  EXPECT_EQ(Reading(Config("<TRANSLATEHWLIST maxpass='0'/>")).filter.GetHwListMaxPass(), 0U);
  EXPECT_EQ(Reading(Config("<TRANSLATEHWLIST maxpass='003'/>")).filter.GetHwListMaxPass(), 3U);
}

TEST(FilterParser, PassesBeyondTheTypeAreTheLargestNumber) {
  EXPECT_EQ(Reading(Config("<TRANSLATEHWLIST maxpass='4294967295'/>")).filter.GetHwListMaxPass(),
            UINT32_MAX);
  EXPECT_EQ(Reading(Config("<TRANSLATEHWLIST maxpass='4294967296'/>")).filter.GetHwListMaxPass(),
            UINT32_MAX);
  EXPECT_EQ(Reading(Config("<TRANSLATEHWLIST maxpass='99999999999999999999999'/>"))
                .filter.GetHwListMaxPass(),
            UINT32_MAX);
}

TEST(FilterParser, BadNumberOfPassesKeepsTheEarlierOne) {
  for (const char* bad : {"-1", "3 ", "ten", "+3", "0x10"}) {
    const std::string list = "<TRANSLATEHWLIST maxpass='" + std::string(bad) + "'/>";
    const Reading fresh(Config(list));
    EXPECT_TRUE(fresh.succeeded);
    EXPECT_EQ(fresh.filter.GetHwListMaxPass(), 0U) << bad;
    EXPECT_EQ(fresh.complaints,
              "warning: Bad TRANSLATEHWLIST maxpass '" + std::string(bad) + "'\n");
    const Reading later(Config("<TRANSLATEHWLIST maxpass='4'/>" + list));
    EXPECT_EQ(later.filter.GetHwListMaxPass(), 4U) << bad;
  }
}

TEST(FilterParser, EachRuleListSetsThePassesAnew) {
  const Reading reading(Config("<TRANSLATEHWLIST maxpass='4'/><TRANSLATEHWLIST/>"));
  EXPECT_EQ(reading.filter.GetHwListMaxPass(), 10U);
}

TEST(FilterParser, LoadTracesHowMuchItHolds) {
  TemporaryFolder folder;
  const KorString path = folder.Write("filter.xml", ClassWith(""));
  CapturedLog log(debugInv);
  HwFilter filter;
  EXPECT_TRUE(filter.Load(path));
  EXPECT_TRUE(filter.Load(path));
  const std::string reading = "trace: Processing xml '" + path.Str() + "'\n";
  EXPECT_EQ(log.Text(),
            reading + "trace: Filter entries have been loaded (1 WMI classes, 0 attributes)\n" +
                reading + "trace: Filter entries have been loaded (2 WMI classes, 0 attributes)\n");
}

TEST(FilterParser, LoadOfABrokenFileIsAnErrorAndKeepsWhatWasRead) {
  TemporaryFolder folder;
  const KorString path = folder.Write("filter.xml", ClassWith("") + "<");
  CapturedLog log(debugInv);
  const CapturedLog frameworkLog(KorFrameworkLog());
  HwFilter filter;
  EXPECT_FALSE(filter.Load(path));
  EXPECT_EQ(filter.WmiClassCount(), 1U);
  EXPECT_EQ(log.Entries().back().text, "Failed to load filter '" + path.Str() + "'");
  EXPECT_EQ(log.Entries().back().level, KorLogLevel::kError);
}

// Nothing of what a broken file began is left for the next one.
TEST(FilterParser, EveryReadingBeginsAnew) {
  const TemporaryFolder folder;
  const CapturedLog log(debugInv);
  const CapturedLog frameworkLog(KorFrameworkLog());
  HwFilterParser parser;
  HwFilter broken;
  ASSERT_FALSE(parser.Process(
      folder.Write("broken.xml", "<HWINVCONFIG><HWINVWMILIST><HWWMICLASS><OTHER>"), &broken));
  HwFilter filter;

  EXPECT_TRUE(parser.Process(folder.Write("whole.xml", ClassWith("")), &filter));

  EXPECT_EQ(filter.WmiClassCount(), 1U);
}

}  // namespace
