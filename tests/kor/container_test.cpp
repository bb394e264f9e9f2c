#include "kor/container.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "support/temporary_folder.h"

namespace {

KorContainer Loaded(std::string_view xml) {
  const TemporaryFolder folder;
  KorContainer container;
  EXPECT_TRUE(container.LoadFromXMLFile(folder.Write("c.xml", xml))) << xml;
  return container;
}

// Whether the file is refused and has left the container alone.
void ExpectRefused(std::string_view xml) {
  const TemporaryFolder folder;
  KorContainer container;
  container.SetString("Kept", "as it was");
  const KorContainer before = container;
  EXPECT_FALSE(container.LoadFromXMLFile(folder.Write("c.xml", xml))) << xml;
  EXPECT_TRUE(container == before) << xml;
}

std::string Nested(int depth) {
  std::string xml = "<container>";
  for (int level = 1; level < depth; ++level) xml += "<container key='c'>";
  for (int level = 0; level < depth; ++level) xml += "</container>";
  return xml;
}

TEST(Container, AbsentKeyIsReportedAndLeavesTheOutputAlone) {
  const KorContainer container;
  KorString text("before");
  bool flag = true;
  int32_t number = 7;
  KorContainer child;
  child.SetBool("Kept", true);

  EXPECT_EQ(container.CountValues("Key"), -1);
  EXPECT_FALSE(container.GetString("Key", text));
  EXPECT_FALSE(container.GetBool("Key", flag));
  EXPECT_FALSE(container.GetInt32("Key", number));
  EXPECT_FALSE(container.GetContainer("Key", child));
  EXPECT_EQ(text, "before");
  EXPECT_TRUE(flag);
  EXPECT_EQ(number, 7);
  EXPECT_EQ(child.CountValues("Kept"), 1);
}

TEST(Container, GivesBackWhatWasSet) {
  KorContainer child;
  child.SetInt32("Inner", -5);
  KorContainer container;
  ASSERT_TRUE(container.SetString("Text", KorString("a\0b", 3)));
  ASSERT_TRUE(container.SetBool("Flag", true));
  ASSERT_TRUE(container.SetInt32("Number", INT32_MIN));
  ASSERT_TRUE(container.SetContainer("Child", child));

  KorString text;
  bool flag = false;
  int32_t number = 0;
  KorContainer gotten;
  ASSERT_TRUE(container.GetString("Text", text));
  ASSERT_TRUE(container.GetBool("Flag", flag));
  ASSERT_TRUE(container.GetInt32("Number", number));
  ASSERT_TRUE(container.GetContainer("Child", gotten));
  EXPECT_EQ(text, KorString("a\0b", 3));
  EXPECT_TRUE(flag);
  EXPECT_EQ(number, INT32_MIN);
  EXPECT_TRUE(gotten == child);
}

TEST(Container, AnotherTypeIsNotConverted) {
  KorContainer container;
  container.SetString("Key", "1");
  int32_t number = 7;
  bool flag = false;

  EXPECT_FALSE(container.GetInt32("Key", number));
  EXPECT_FALSE(container.GetBool("Key", flag));
  EXPECT_EQ(number, 7);
  EXPECT_FALSE(flag);
}

TEST(Container, IndexEqualToTheCountAppends) {
  KorContainer container;
  EXPECT_TRUE(container.SetString("Key", "first"));
  EXPECT_TRUE(container.SetString("Key", "second", 1));
  EXPECT_FALSE(container.SetString("Key", "fourth", 3));

  EXPECT_EQ(container.CountValues("Key"), 2);
  KorString text;
  EXPECT_TRUE(container.GetString("Key", text, 1));
  EXPECT_EQ(text, "second");
  EXPECT_FALSE(container.GetString("Key", text, 2));
}

TEST(Container, FirstValueOfAKeyStandsAtIndexZeroOnly) {
  KorContainer container;
  EXPECT_FALSE(container.SetInt32("Key", 1, 1));
  EXPECT_EQ(container.CountValues("Key"), -1);
}

TEST(Container, SettingAnIndexReplacesOnlyThatValue) {
  KorContainer container;
  container.SetBool("Key", true, 0);
  container.SetBool("Key", true, 1);
  container.SetBool("Key", true, 2);

  EXPECT_TRUE(container.SetBool("Key", false, 1));

  EXPECT_EQ(container.CountValues("Key"), 3);
  bool first = false;
  bool second = true;
  bool third = false;
  container.GetBool("Key", first, 0);
  container.GetBool("Key", second, 1);
  container.GetBool("Key", third, 2);
  EXPECT_TRUE(first);
  EXPECT_FALSE(second);
  EXPECT_TRUE(third);
}

TEST(Container, SingleValueTakesANewType) {
  KorContainer container;
  container.SetString("Key", "text");
  EXPECT_TRUE(container.SetInt32("Key", 5));

  KorContainer::Type type = KorContainer::Type::kString;
  EXPECT_TRUE(container.TypeOf("Key", type));
  EXPECT_EQ(type, KorContainer::Type::kInt32);
  EXPECT_EQ(container.CountValues("Key"), 1);
}

TEST(Container, SeveralValuesKeepTheirType) {
  KorContainer container;
  container.SetString("Key", "a");
  container.SetString("Key", "b", 1);
  const KorContainer before = container;

  EXPECT_FALSE(container.SetInt32("Key", 5));
  EXPECT_FALSE(container.SetInt32("Key", 5, 2));
  EXPECT_TRUE(container == before);
}

TEST(Container, SingleValueIsNotJoinedByOneOfAnotherType) {
  KorContainer container;
  container.SetString("Key", "a");
  EXPECT_FALSE(container.SetInt32("Key", 5, 1));
  EXPECT_EQ(container.CountValues("Key"), 1);
}

TEST(Container, KeysKeepTheOrderInWhichTheyWereFirstSet) {
  KorContainer container;
  container.SetString("Zebra", "1");
  container.SetBool("Ant", true);
  container.SetInt32("Mole", 1);
  container.SetString("Zebra", "2");

  EXPECT_EQ(container.Keys(), (std::vector<KorString>{"Zebra", "Ant", "Mole"}));
}

TEST(Container, EachTypeIsNamed) {
  KorContainer container;
  container.SetString("s", "");
  container.SetBool("b", false);
  container.SetInt32("i", 0);
  container.SetContainer("c", KorContainer());

  const auto typeOf = [&](const char* key) {
    KorContainer::Type type{};
    EXPECT_TRUE(container.TypeOf(key, type));
    return type;
  };
  EXPECT_EQ(typeOf("s"), KorContainer::Type::kString);
  EXPECT_EQ(typeOf("b"), KorContainer::Type::kBool);
  EXPECT_EQ(typeOf("i"), KorContainer::Type::kInt32);
  EXPECT_EQ(typeOf("c"), KorContainer::Type::kContainer);
  KorContainer::Type untouched = KorContainer::Type::kBool;
  EXPECT_FALSE(container.TypeOf("absent", untouched));
  EXPECT_EQ(untouched, KorContainer::Type::kBool);
}

TEST(Container, KeysAreExact) {
  KorContainer container;
  container.SetString("Key", "1");
  EXPECT_EQ(container.CountValues("key"), -1);
  EXPECT_EQ(container.CountValues("Key "), -1);
}

TEST(Container, CopiesAreDeep) {
  KorContainer child;
  child.SetString("Inner", "old");
  KorContainer container;
  container.SetContainer("Child", child);
  const KorContainer copy = container;

  child.SetString("Inner", "changed in the source");
  container.SetContainer("Child", KorContainer());

  KorContainer kept;
  KorString text;
  ASSERT_TRUE(copy.GetContainer("Child", kept));
  ASSERT_TRUE(kept.GetString("Inner", text));
  EXPECT_EQ(text, "old");
}

TEST(Container, ChangingWhatWasGottenDoesNotChangeTheContainer) {
  KorContainer child;
  child.SetString("Inner", "old");
  KorContainer container;
  container.SetContainer("Child", child);

  KorContainer gotten;
  container.GetContainer("Child", gotten);
  gotten.SetString("Inner", "new");

  KorContainer again;
  container.GetContainer("Child", again);
  EXPECT_TRUE(again == child);
}

TEST(Container, MayBePutIntoAndTakenOutOfItself) {
  KorContainer container;
  container.SetString("Text", "kept");
  container.SetContainer("Self", container);
  container.SetContainer("Self", container, 1);
  container.SetContainer("Self", container, 0);
  ASSERT_EQ(container.CountValues("Self"), 2);

  ASSERT_TRUE(container.GetContainer("Self", container));
  ASSERT_TRUE(container.GetContainer("Self", container));

  KorString text;
  EXPECT_TRUE(container.GetString("Text", text));
  EXPECT_EQ(text, "kept");
  EXPECT_EQ(container.CountValues("Self"), -1);
}

TEST(Container, ClearForgetsEverything) {
  KorContainer container;
  container.SetString("Key", "1");
  container.Clear();
  EXPECT_TRUE(container.Keys().empty());
  EXPECT_EQ(container.CountValues("Key"), -1);
  EXPECT_TRUE(container == KorContainer());
}

TEST(Container, EqualityLooksAtKeysTypesAndValues) {
  KorContainer number;
  number.SetInt32("Key", 1);
  KorContainer flag;
  flag.SetBool("Key", true);
  KorContainer other;
  other.SetInt32("Key", 2);
  KorContainer same;
  same.SetInt32("Key", 1);

  EXPECT_TRUE(number == same);
  EXPECT_FALSE(number == flag);
  EXPECT_FALSE(number == other);
}

TEST(ContainerFile, HoldsEveryTypeInOrder) {
  const KorContainer loaded = Loaded(
      "<?xml version=\"1.0\"?>\n<!-- parameters -->\n<container>\n"
      "  <string key=\"Name\"> a &amp; b\n</string>\n"
      "  <bool key=\"On\">true</bool><bool key=\"Off\"> false </bool>\n"
      "  <int32 key=\"Number\">\n -2147483648 </int32>\n"
      "  <string key=\"List\">one</string><string key=\"List\"/>\n"
      "  <container key=\"Child\"><int32 key=\"Inner\">7</int32></container>\n"
      "</container>\n");

  KorContainer child;
  child.SetInt32("Inner", 7);
  KorContainer expected;
  expected.SetString("Name", " a & b\n");
  expected.SetBool("On", true);
  expected.SetBool("Off", false);
  expected.SetInt32("Number", INT32_MIN);
  expected.SetString("List", "one", 0);
  expected.SetString("List", "", 1);
  expected.SetContainer("Child", child);
  EXPECT_TRUE(loaded == expected);
}

TEST(ContainerFile, ReplacesTheContentAltogether) {
  const TemporaryFolder folder;
  KorContainer container;
  container.SetString("Old", "1");
  ASSERT_TRUE(container.LoadFromXMLFile(folder.Write("c.xml", "<container/>")));
  EXPECT_TRUE(container == KorContainer());
}

TEST(ContainerFile, ContainersOfOneKeyAreAList) {
  const KorContainer loaded = Loaded(
      "<container><container key='r'><bool key='a'>true</bool></container>"
      "<container key='r'/></container>");
  EXPECT_EQ(loaded.CountValues("r"), 2);
  KorContainer first;
  ASSERT_TRUE(loaded.GetContainer("r", first, 0));
  EXPECT_EQ(first.CountValues("a"), 1);
}

TEST(ContainerFile, WhatTheFormatDoesNotKnowIsRefusedWhole) {
  for (const char* xml : {
           "",
           "not xml",
           "<container>",
           "<container></container><container/>",
           "<other/>",
           "<string key='a'>x</string>",
           "<container key='a'/>",
           "<container version='1'/>",
           "<container><string>x</string></container>",
           "<container><string key='a' lang='en'>x</string></container>",
           "<container><int64 key='a'>1</int64></container>",
           "<container><string key='a'>x<b/></string></container>",
           "<container><string key='a'><container key='b'/></string></container>",
           "<container>stray</container>",
           "<container><container key='a'>stray</container></container>",
           "<container><string key='a'>x</string><bool key='a'>true</bool></container>",
           "<container><string key='a'>x</string><container key='a'/></container>",
       }) {
    ExpectRefused(xml);
  }
}

TEST(ContainerFile, ValuesOutsideOfTheirTypeAreRefused) {
  for (const char* value :
       {"", " ", "+1", "1.5", "0x10", "1 2", "2147483648", "-2147483649", "-"}) {
    ExpectRefused("<container><int32 key='a'>" + std::string(value) + "</int32></container>");
  }
  for (const char* value : {"", "TRUE", "yes", "1", "true false"}) {
    ExpectRefused("<container><bool key='a'>" + std::string(value) + "</bool></container>");
  }
}

TEST(ContainerFile, MissingFileIsRefused) {
  const TemporaryFolder folder;
  KorContainer container;
  container.SetString("Kept", "1");
  EXPECT_FALSE(container.LoadFromXMLFile(folder.Path("absent.xml")));
  EXPECT_EQ(container.CountValues("Kept"), 1);
}

TEST(ContainerFile, NestsSixtyFourDeepAndNoDeeper) {
  const TemporaryFolder folder;
  KorContainer container;
  EXPECT_TRUE(container.LoadFromXMLFile(folder.Write("c.xml", Nested(64))));
  ExpectRefused(Nested(65));
}

TEST(ContainerFile, EndlessListIsRefused) {
  std::string xml = "<container>";
  for (int at = 0; at < 16384; ++at) xml += "<int32 key='a'>1</int32>";
  ExpectRefused(xml + "</container>");
}

}  // namespace
