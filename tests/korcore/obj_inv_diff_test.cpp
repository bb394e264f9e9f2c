#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kor/debug.h"
#include "korcore/obj_inv.h"
#include "support/processor_time.h"
#include "support/random_document.h"
#include "support/temporary_folder.h"

namespace {

class LastMessage : public KorDebugContext {
 public:
  bool Wants(KorLogLevel) const override { return true; }
  void Write(const KorLogRecord& record) override { text = record.text; }
  std::string text;
};

std::string Xml(const ObjInv& document) {
  std::string text;
  document.WriteXml([&text](std::string_view piece) { text += piece; });
  return text;
}

// The classes alone, without the first and the last line.
std::string Lines(const ObjInv& document) {
  const std::string text = Xml(document);
  const size_t start = text.find("  <class");
  return start == std::string::npos ? "" : text.substr(start, text.rfind("</inv") - start);
}

void AddDisk(ObjInv& document, const char* name, const char* size) {
  document.Ensure("Disk")->Ensure("Size", "Integer");
  document.Ensure("Disk")->Ensure(name)->Ensure("Size")->SetValue(size);
}

// Everything that the operations promise of one pair of documents.
void ExpectPromisesKept(const ObjInv& old, const ObjInv& now) {
  ObjInv diff(nullptr);
  ASSERT_TRUE(now.Diff(old, diff));
  EXPECT_EQ(diff.Objects().Count() == 0, SameObjects(old, now));

  ObjInv applied(nullptr);
  applied.CopyFrom(old);
  ASSERT_TRUE(applied.Apply(diff));
  ASSERT_TRUE(SameObjects(applied, now)) << Xml(old) << Xml(now) << Xml(diff) << Xml(applied);

  ObjInv merged(nullptr);
  merged.CopyFrom(now);
  ASSERT_TRUE(merged.Merge(diff)) << Xml(old) << Xml(now) << Xml(diff);
  ObjInv readNew(nullptr);
  ObjInv readOld(nullptr);
  merged.ReadNew(readNew);
  ASSERT_TRUE(merged.ReadOld(readOld)) << Xml(old) << Xml(now) << Xml(diff) << Xml(merged);
  ASSERT_TRUE(SameObjects(readNew, now)) << Xml(old) << Xml(now) << Xml(merged) << Xml(readNew);
  ASSERT_TRUE(SameObjects(readOld, old)) << Xml(old) << Xml(now) << Xml(merged) << Xml(readOld);
}

constexpr const char* kExtra = "at the end of each set of the old document";

// From the innermost outwards.
void ForEachSet(ObjInv& document, const auto& take) {
  for (ObjType* type : document.Objects()) {
    for (ObjInst* instance : type->Instances()) take(instance->Attributes());
    take(type->Attributes());
    take(type->Instances());
  }
  take(document.Objects());
}

void AddExtra(ObjInv& document) {
  ForEachSet(document, []<typename T>(ObjSetOf<T>& set) {
    auto extra = std::make_unique<T>(KorString(kExtra));
    if (set.Add(extra.get())) static_cast<void>(extra.release());
  });
}

bool IsHollow(const ObjInstAttr&) {
  return false;
}
bool IsHollow(const ObjTypeAttr&) {
  return false;
}
bool IsHollow(const ObjInst& instance) {
  return instance.Attributes().Count() == 0;
}
bool IsHollow(const ObjType& type) {
  return type.Attributes().Count() + type.Instances().Count() == 0;
}

// What is said of the extra ones, and of what they alone have modified.
void RemoveExtra(ObjInv& difference) {
  ForEachSet(difference, []<typename T>(ObjSetOf<T>& set) {
    std::vector<T*> members;
    for (T* member : set) members.push_back(member);
    for (T* member : members) {
      const bool isModified = member->GetChange() == ObjChange::kModified;
      if (isModified && IsHollow(*member)) member->SetChange(ObjChange::kNone);
      if (member->GetName() != KorString(kExtra) && member->HasMarks()) continue;
      const std::unique_ptr<ObjBase> removed(set.Del(member->GetName()));
    }
  });
}

// Every element, all levels.
std::vector<ObjBase*> Elements(ObjInv& document) {
  std::vector<ObjBase*> elements;
  ForEachSet(document, [&elements](auto& set) {
    for (ObjBase* element : set) elements.push_back(element);
  });
  return elements;
}

}  // namespace

// Where names and order are the same there is less to do; what is said must not depend on it.
TEST(ObjInvDiff, SetsThatAreInStepAndSetsThatAreNotGiveTheSame) {
  const uint64_t seed = RandomDocuments::Seed();
  for (uint64_t number = 0; number < 2'000; ++number) {
    SCOPED_TRACE("KOR_TEST_SEED=" + std::to_string(seed) + ", pair " + std::to_string(number));
    RandomDocuments random(seed + number);
    ObjInv old(nullptr);
    random.Fill(old);
    ObjInv now(nullptr);
    now.CopyFrom(old);
    for (uint64_t times = number % 4; times > 0; --times) random.Mutate(now);
    ObjInv inStep(nullptr);
    ASSERT_TRUE(now.Diff(old, inStep));
    AddExtra(old);
    ObjInv outOfStep(nullptr);
    ASSERT_TRUE(now.Diff(old, outOfStep));
    ASSERT_NE(outOfStep.Objects().Get(KorString(kExtra)), nullptr);

    RemoveExtra(outOfStep);

    ASSERT_TRUE(SameObjects(inStep, outOfStep)) << Xml(inStep) << Xml(outOfStep);
  }
}

TEST(ObjInvDiff, OldPlusDifferenceIsNewAndAMergeHoldsBothForRandomPairs) {
  const uint64_t seed = RandomDocuments::Seed();
  for (uint64_t number = 0; number < 10'000; ++number) {
    SCOPED_TRACE("KOR_TEST_SEED=" + std::to_string(seed) + ", pair " + std::to_string(number));
    RandomDocuments random(seed + number);
    ObjInv old(nullptr);
    ObjInv now(nullptr);
    random.Fill(old);
    if (number % 4 == 0) {
      random.Fill(now);
    } else {
      now.CopyFrom(old);
      for (uint64_t times = number % 4; times > 0; --times) random.Mutate(now);
    }
    ExpectPromisesKept(old, now);
    if (testing::Test::HasFatalFailure()) return;
  }
}

TEST(ObjInvDiff, DifferencesAndMergesSurviveTheFile) {
  const uint64_t seed = RandomDocuments::Seed();
  const TemporaryFolder folder;
  for (uint64_t number = 0; number < 100; ++number) {
    SCOPED_TRACE("KOR_TEST_SEED=" + std::to_string(seed) + ", pair " + std::to_string(number));
    RandomDocuments random(seed + number);
    ObjInv old(nullptr);
    random.Fill(old);
    ObjInv now(nullptr);
    now.CopyFrom(old);
    random.Mutate(now);
    ObjInv diff(nullptr);
    ASSERT_TRUE(now.Diff(old, diff));
    ASSERT_TRUE(diff.Save(folder.Path("diff.xml")));
    ObjInv readDiff(nullptr);
    ASSERT_TRUE(readDiff.Parse(folder.Path("diff.xml"), nullptr));
    ASSERT_TRUE(SameObjects(readDiff, diff));

    ObjInv merged(nullptr);
    merged.CopyFrom(now);
    ASSERT_TRUE(merged.Merge(readDiff));
    ASSERT_TRUE(merged.Save(folder.Path("merged.xml")));
    ObjInv readMerge(nullptr);
    ASSERT_TRUE(readMerge.Parse(folder.Path("merged.xml"), nullptr));
    ASSERT_TRUE(SameObjects(readMerge, merged));
  }
}

TEST(ObjInvDiff, EqualDocumentsGiveAnEmptyDifference) {
  ObjInv old(nullptr);
  AddDisk(old, "sda", "500");
  old.SetName("one");
  old.SetChecksum("1234");
  ObjInv now(nullptr);
  AddDisk(now, "sda", "500");
  now.SetName("other");
  ObjInv diff(nullptr);
  diff.SetName("HWINVENTORY");
  diff.Ensure("what was in it before");

  ASSERT_TRUE(now.Diff(old, diff));

  EXPECT_EQ(diff.Objects().Count(), 0u);
  EXPECT_EQ(diff.GetName(), KorString("HWINVENTORY"));
}

TEST(ObjInvDiff, HoldsNothingButWhatChanged) {
  ObjInv old(nullptr);
  AddDisk(old, "sda", "500");
  AddDisk(old, "sdb", "600");
  AddDisk(old, "sdc", "700");
  old.Ensure("Unchanged")->Ensure("0")->Ensure("x")->SetValue("y");
  ObjInv now(nullptr);
  AddDisk(now, "sda", "500");
  AddDisk(now, "sdb", "601");
  AddDisk(now, "sdd", "800");
  now.Ensure("Unchanged")->Ensure("0")->Ensure("x")->SetValue("y");
  ObjInv diff(nullptr);

  ASSERT_TRUE(now.Diff(old, diff));

  EXPECT_EQ(Lines(diff), R"(  <class name="Disk" change="modified">
    <instance name="sdb" change="modified">
      <value name="Size" change="modified" previous="600">601</value>
    </instance>
    <instance name="sdd" change="added">
      <value name="Size" change="added">800</value>
    </instance>
    <instance name="sdc" change="removed">
      <value name="Size" change="removed">700</value>
    </instance>
  </class>
)");
}

TEST(ObjInvDiff, AMergeShowsNewAndOldSideBySide) {
  ObjInv old(nullptr);
  AddDisk(old, "sda", "500");
  AddDisk(old, "sdb", "600");
  AddDisk(old, "sdc", "700");
  ObjInv now(nullptr);
  AddDisk(now, "sda", "500");
  AddDisk(now, "sdc", "701");
  ObjInv diff(nullptr);
  ASSERT_TRUE(now.Diff(old, diff));

  ASSERT_TRUE(now.Merge(diff));

  EXPECT_EQ(Lines(now), R"(  <class name="Disk" change="modified">
    <attribute name="Size" type="Integer"/>
    <instance name="sda">
      <value name="Size">500</value>
    </instance>
    <instance name="sdb" change="removed" previous-after="sda">
      <value name="Size" change="removed">600</value>
    </instance>
    <instance name="sdc" change="modified">
      <value name="Size" change="modified" previous="700">701</value>
    </instance>
  </class>
)");
}

TEST(ObjInvDiff, OneMoveIsOneMarkWhicheverWayItGoes) {
  ObjInv old(nullptr);
  for (const char* name : {"a", "b", "c", "d", "e"}) old.Ensure(name);
  ObjInv toFront(nullptr);
  toFront.CopyFrom(old);
  toFront.Objects().Move(toFront.Objects().Get("d"), nullptr);
  ObjInv toEnd(nullptr);
  toEnd.CopyFrom(old);
  toEnd.Objects().Move(toEnd.Objects().Get("b"), toEnd.Objects().Tail());
  ObjInv diff(nullptr);

  ASSERT_TRUE(toFront.Diff(old, diff));
  EXPECT_EQ(Lines(diff), "  <class name=\"d\" first=\"true\" previous-after=\"c\"/>\n");
  ASSERT_TRUE(toEnd.Diff(old, diff));
  EXPECT_EQ(Lines(diff), "  <class name=\"b\" after=\"e\" previous-after=\"a\"/>\n");
}

TEST(ObjInvDiff, AnAddedElementTellsItsPlaceOnlyWhereItIsNotTheEnd) {
  ObjInv old(nullptr);
  for (const char* name : {"a", "b"}) old.Ensure(name);
  ObjInv now(nullptr);
  for (const char* name : {"a", "x", "b", "y"}) now.Ensure(name);
  ObjInv diff(nullptr);

  ASSERT_TRUE(now.Diff(old, diff));

  EXPECT_EQ(Lines(diff),
            "  <class name=\"x\" change=\"added\" after=\"a\"/>\n"
            "  <class name=\"y\" change=\"added\"/>\n");
}

TEST(ObjInvDiff, AChangedDefinitionKeepsTheOldOne) {
  ObjInv old(nullptr);
  old.Ensure("Disk")->Ensure("Size", "String");
  ObjInv now(nullptr);
  now.Ensure("Disk")->Ensure("Size", "Integer")->SetUnit("MB");
  ObjInv diff(nullptr);

  ASSERT_TRUE(now.Diff(old, diff));

  EXPECT_EQ(Lines(diff), R"(  <class name="Disk" change="modified">
    <attribute name="Size" type="Integer" unit="MB" change="modified" previous-type="String" previous-unit="" previous-description=""/>
  </class>
)");
}

TEST(ObjInvDiff, AnEmptyValueIsNotAnAbsentOne) {
  ObjInv old(nullptr);
  old.Ensure("c")->Ensure("i")->Ensure("v");
  ObjInv now(nullptr);
  now.Ensure("c")->Ensure("i");

  ExpectPromisesKept(old, now);
  ExpectPromisesKept(now, old);
}

TEST(ObjInvDiff, DocumentsWithMarksAreNotCompared) {
  LastMessage messages;
  ObjInv marked(&messages);
  marked.Ensure("c")->Ensure("i")->Ensure("v")->SetPreviousValue("before");
  const ObjInv plain(&messages);
  ObjInv diff(nullptr);
  diff.Ensure("what was in it before");

  EXPECT_FALSE(plain.Diff(marked, diff));
  EXPECT_FALSE(marked.Diff(plain, diff));
  EXPECT_EQ(diff.Objects().Count(), 0u);
  EXPECT_EQ(messages.text,
            "Failed to compare inventories: one of them is a differential or a merge");
}

TEST(ObjInvDiff, AMarkOnAnyElementOfEitherDocumentIsMet) {
  LastMessage messages;
  ObjInv old(&messages);
  ObjInv now(&messages);
  ObjInv diff(nullptr);
  for (const char* name : {"both", "only old"}) AddDisk(old, name, "500");
  for (const char* name : {"both", "only new"}) AddDisk(now, name, "501");
  old.Ensure("Class of the old")->Ensure("Attribute", "String");
  now.Ensure("Class of the new")->Ensure("Instance")->Ensure("Value");
  for (ObjInv* document : {&old, &now}) {
    for (ObjBase* element : Elements(*document)) {
      element->SetChange(ObjChange::kModified);
      EXPECT_FALSE(now.Diff(old, diff)) << Xml(*document);
      element->SetChange(ObjChange::kNone);
    }
  }
  EXPECT_TRUE(now.Diff(old, diff));
  old.Ensure("Disk")->Ensure("Size", "")->SetPreviousDefinition({});
  EXPECT_FALSE(now.Diff(old, diff));
}

TEST(ObjInvDiff, ADifferenceFitsOnlyTheDocumentItWasMadeFrom) {
  LastMessage messages;
  ObjInv old(&messages);
  AddDisk(old, "sda", "500");
  AddDisk(old, "sdb", "600");
  ObjInv now(&messages);
  AddDisk(now, "sda", "501");
  ObjInv diff(nullptr);
  ASSERT_TRUE(now.Diff(old, diff));
  ObjInv other(&messages);
  other.CopyFrom(old);
  other.Ensure("Disk")->Ensure("sda")->Ensure("Size")->SetValue("499");
  ObjInv before(nullptr);
  before.CopyFrom(other);

  EXPECT_FALSE(other.Apply(diff));
  EXPECT_EQ(messages.text, "Failed to apply a differential: 'Size' does not fit");
  EXPECT_FALSE(other.Merge(diff));
  EXPECT_EQ(messages.text, "Failed to merge a differential: 'sdb' does not fit");
  EXPECT_TRUE(SameObjects(other, before));
  EXPECT_FALSE(now.Apply(diff));
  EXPECT_FALSE(old.Merge(diff));
}

TEST(ObjInvDiff, WhatIsRemovedMustBeWhatWasThere) {
  ObjInv old(nullptr);
  AddDisk(old, "sda", "500");
  ObjInv diff(nullptr);
  ASSERT_TRUE(ObjInv(nullptr).Diff(old, diff));
  ObjInv other(nullptr);
  AddDisk(other, "sda", "501");

  EXPECT_FALSE(other.Apply(diff));
  EXPECT_TRUE(old.Apply(diff));
}

TEST(ObjInvDiff, WhatIsAddedMustBeWhatIsThere) {
  ObjInv now(nullptr);
  AddDisk(now, "sda", "500");
  ObjInv diff(nullptr);
  ASSERT_TRUE(now.Diff(ObjInv(nullptr), diff));
  ObjInv other(nullptr);
  AddDisk(other, "sda", "501");

  EXPECT_FALSE(other.Merge(diff));
  EXPECT_TRUE(now.Merge(diff));
}

TEST(ObjInvDiff, WhatMovedMustHaveStoodWhereItDid) {
  ObjInv old(nullptr);
  for (const char* name : {"a", "b", "c", "d"}) old.Ensure(name)->Ensure("i");
  ObjInv now(nullptr);
  now.CopyFrom(old);
  now.Ensure("d")->Ensure("j");
  now.Objects().Move(now.Ensure("d"), nullptr);
  ObjInv diff(nullptr);
  ASSERT_TRUE(now.Diff(old, diff));
  ObjInv other(nullptr);
  other.CopyFrom(old);
  other.Objects().Move(other.Ensure("d"), other.Ensure("a"));
  ObjInv otherNow(nullptr);
  otherNow.CopyFrom(now);
  otherNow.Objects().Move(otherNow.Ensure("d"), otherNow.Ensure("a"));

  EXPECT_FALSE(other.Apply(diff));
  EXPECT_FALSE(otherNow.Merge(diff));
}

TEST(ObjInvDiff, NothingHasAPlaceWhereAllIsNew) {
  ObjInv old(nullptr);
  old.Ensure("Disk")->Ensure("sda");
  ObjInv now(nullptr);
  now.Ensure("Disk")->Ensure("sda")->Ensure("Size");
  now.Ensure("Disk")->Ensure("sda")->Ensure("Type");
  ObjInv diff(nullptr);

  ASSERT_TRUE(now.Diff(old, diff));

  EXPECT_EQ(Lines(diff), R"(  <class name="Disk" change="modified">
    <instance name="sda" change="modified">
      <value name="Size" change="added"/>
      <value name="Type" change="added"/>
    </instance>
  </class>
)");
}

TEST(ObjInvDiff, PlacesThatContradictEachOtherDoNotApply) {
  ObjInv old(nullptr);
  old.Ensure("a");
  ObjInv diff(nullptr);
  for (const char* name : {"x", "y"}) {
    diff.Ensure(name)->SetChange(ObjChange::kAdded);
    diff.Ensure(name)->SetPlace(ObjPlace::After("a"));
  }
  LastMessage messages;
  ObjInv document(&messages);
  document.CopyFrom(old);

  EXPECT_FALSE(document.Apply(diff));
  EXPECT_EQ(messages.text,
            "Failed to apply a differential: '(the order of the elements)' does not fit");

  diff.Ensure("x")->SetPlace(ObjPlace::First());
  diff.Ensure("y")->SetPlace(ObjPlace::First());
  EXPECT_FALSE(document.Apply(diff));
  diff.Ensure("x")->SetPlace(ObjPlace::After("y"));
  diff.Ensure("y")->SetPlace(ObjPlace::After("x"));
  EXPECT_FALSE(document.Apply(diff));
  EXPECT_TRUE(SameObjects(document, old));
}

TEST(ObjInvDiff, AMergeWhoseMarksContradictEachOtherHasNoOldState) {
  LastMessage messages;
  ObjInv merged(&messages);
  merged.Ensure("c")->Ensure("i")->Ensure("v")->SetChange(ObjChange::kModified);
  ObjInv out(nullptr);
  out.Ensure("what was in it before");

  EXPECT_FALSE(merged.ReadOld(out));
  EXPECT_EQ(out.Objects().Count(), 0u);
  EXPECT_EQ(messages.text,
            "Failed to read the old inventory out of a merge: its marks contradict each other");
}

double SecondsForMembers(int members) {
  ObjInv old(nullptr);
  ObjInv now(nullptr);
  for (int number = 0; number < members; ++number) {
    old.Ensure("c")->Ensure(KorString(std::to_string(number)));
    now.Ensure("c")->Ensure(KorString(std::to_string(members + members / 2 - number)));
  }
  return ProcessorSecondsOf([&] { ExpectPromisesKept(old, now); });
}

TEST(ObjInvDiff, TimeGrowsWithTheDocumentAndNotWithItsSquare) {
  constexpr int kTimes = 16;
  const double small = SecondsForMembers(1'000);
  const double large = SecondsForMembers(1'000 * kTimes);
  // The square would be 256 times as much.
  EXPECT_LT(large, small * kTimes * 4);
}
