#include "agent/difference_text.h"

#include <gtest/gtest.h>
#include <stdlib.h>

namespace {

void Set(ObjInv& document, const char* type, const char* instance, const char* name,
         const KorString& value) {
  ObjType* made = document.Ensure(type);
  made->Ensure(name, "String");
  made->Ensure(instance)->Ensure(name)->SetValue(value);
}

std::string TextOf(const ObjInv& before, const ObjInv& now, bool inColour = false) {
  ObjInv difference(nullptr);
  EXPECT_TRUE(now.Diff(before, difference));
  return agent::DifferenceToText(difference, inColour);
}

TEST(DifferenceText, EqualDocumentsGiveNothing) {
  ObjInv document(nullptr);
  Set(document, "Disk", "sda", "Size", "500");
  EXPECT_EQ("", TextOf(document, document));
}

TEST(DifferenceText, ChangedValueStandsWithWhatItWas) {
  ObjInv before(nullptr);
  ObjInv now(nullptr);
  Set(before, "Disk", "sda", "Size", "500");
  Set(now, "Disk", "sda", "Size", "600");
  EXPECT_EQ(
      "~ Disk\n"
      "~   #sda\n"
      "~     Size: 500 -> 600\n",
      TextOf(before, now));
}

TEST(DifferenceText, AddedAndRemovedThingsAreListedWhole) {
  ObjInv before(nullptr);
  ObjInv now(nullptr);
  Set(before, "Disk", "sda", "Size", "500");
  Set(before, "Disk", "sdb", "Size", "1");
  Set(before, "Tape", "0", "Name", "old");
  Set(now, "Disk", "sda", "Size", "500");
  Set(now, "Disk", "sda", "Label", "");
  Set(now, "Sound", "0", "Name", "new");
  EXPECT_EQ(
      "~ Disk\n"
      "+   definition Label: type String\n"
      "~   #sda\n"
      "+     Label: (empty)\n"
      "-   #sdb\n"
      "-     Size: 1\n"
      "+ Sound\n"
      "+   definition Name: type String\n"
      "+   #0\n"
      "+     Name: new\n"
      "- Tape\n"
      "-   definition Name: type String\n"
      "-   #0\n"
      "-     Name: old\n",
      TextOf(before, now));
}

TEST(DifferenceText, ChangedDefinitionTellsWhatItSaysOtherwise) {
  ObjInv before(nullptr);
  ObjInv now(nullptr);
  ObjTypeAttr* old = before.Ensure("Disk")->Ensure("Size", "String");
  old->SetDesc("Size of the disk");
  ObjTypeAttr* changed = now.Ensure("Disk")->Ensure("Size", "Integer");
  changed->SetDesc("Size of the disk");
  changed->SetUnit("MB");
  EXPECT_EQ(
      "~ Disk\n"
      "~   definition Size: type String -> Integer, unit (empty) -> MB\n",
      TextOf(before, now));
}

TEST(DifferenceText, MovedThingsTellWhereTheyStandNow) {
  ObjInv before(nullptr);
  ObjInv now(nullptr);
  for (const char* name : {"a", "b", "c"}) before.Ensure("Disk")->Ensure(name);
  for (const char* name : {"c", "a", "b"}) now.Ensure("Disk")->Ensure(name);
  EXPECT_EQ(
      "~ Disk\n"
      ">   #c (moved to the front)\n",
      TextOf(before, now));
}

TEST(DifferenceText, HostileTextsAreEscaped) {
  ObjInv before(nullptr);
  ObjInv now(nullptr);
  Set(before, "Disk", "sda", "Size", "\x1b[31m");
  Set(now, "Disk", "sda", "Size", "a\n+ b\x9b");
  EXPECT_EQ(
      "~ Disk\n"
      "~   #sda\n"
      "~     Size: \\x1b[31m -> a\\n+ b\\x9b\n",
      TextOf(before, now));
}

TEST(DifferenceText, ColoursStandAroundEachLine) {
  ObjInv before(nullptr);
  ObjInv now(nullptr);
  before.Ensure("Tape");
  now.Ensure("Sound");
  EXPECT_EQ("\x1b[32m+ Sound\x1b[0m\n\x1b[31m- Tape\x1b[0m\n", TextOf(before, now, true));
}

}  // namespace
