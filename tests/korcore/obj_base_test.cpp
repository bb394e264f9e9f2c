#include "korcore/obj_base.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <vector>

#include "support/random_document.h"

namespace {

ObjBase* AddTo(ObjSet& set, const KorString& name) {
  auto made = std::make_unique<ObjBase>(name);
  return set.Add(made.get()) ? made.release() : nullptr;
}

std::vector<std::string> NamesOf(ObjSet& set) {
  std::vector<std::string> names;
  set.First();
  while (const ObjBase* member = set.Next()) names.push_back(member->GetName().Str());
  return names;
}

// As NamesOf, against the links.
std::vector<std::string> NamesFromTheEnd(const ObjSet& set) {
  std::vector<std::string> names;
  for (const ObjBase* at = set.Tail(); at != nullptr; at = ObjSet::Before(at)) {
    names.push_back(at->GetName().Str());
  }
  std::reverse(names.begin(), names.end());
  return names;
}

}  // namespace

TEST(ObjSet, KeepsTheOrderOfAdding) {
  ObjSet set;
  for (const char* name : {"c", "a", "", "b"}) AddTo(set, name);

  EXPECT_EQ(NamesOf(set), (std::vector<std::string>{"c", "a", "", "b"}));
  EXPECT_EQ(set.Count(), 4u);
  EXPECT_EQ(set.Next(), nullptr);
}

TEST(ObjSet, RefusesNullDuplicatesAndMembersOfOthers) {
  ObjSet set;
  ObjSet other;
  ObjBase* member = AddTo(set, "a");
  ObjBase duplicate("a");

  EXPECT_FALSE(set.Add(nullptr));
  EXPECT_FALSE(set.Add(&duplicate));
  EXPECT_FALSE(other.Add(member));
  EXPECT_FALSE(set.Add(member));
  EXPECT_EQ(set.Count(), 1u);
  EXPECT_EQ(other.Count(), 0u);
}

TEST(ObjSet, NamesAreExactBytes) {
  ObjSet set;
  AddTo(set, "a");

  EXPECT_NE(AddTo(set, "A"), nullptr);
  EXPECT_NE(AddTo(set, KorString("a\0", 2)), nullptr);
  EXPECT_EQ(set.Get("a "), nullptr);
}

TEST(ObjSet, DelHandsTheMemberToTheCaller) {
  ObjSet set;
  ObjBase* member = AddTo(set, "a");

  const std::unique_ptr<ObjBase> removed(set.Del("a"));

  EXPECT_EQ(removed.get(), member);
  EXPECT_EQ(set.Del("a"), nullptr);
  EXPECT_EQ(set.Get("a"), nullptr);
  EXPECT_EQ(set.Count(), 0u);
  EXPECT_EQ(set.Head(), nullptr);
  EXPECT_EQ(set.Tail(), nullptr);
}

TEST(ObjSet, WhatWasTakenOutCanBeRenamedAndAddedToTheEnd) {
  ObjSet set;
  for (const char* name : {"a", "b"}) AddTo(set, name);

  ObjBase* taken = set.Del("a");
  taken->SetName("b");
  EXPECT_FALSE(set.Add(taken));
  taken->SetName("c");
  EXPECT_TRUE(set.Add(taken));

  EXPECT_EQ(NamesOf(set), (std::vector<std::string>{"b", "c"}));
}

TEST(ObjSet, DeletingTheMemberUnderTheCursorMovesTheCursorOn) {
  ObjSet set;
  for (const char* name : {"a", "b", "c"}) AddTo(set, name);
  set.First();
  set.Next();

  const std::unique_ptr<ObjBase> removed(set.Del("b"));

  const ObjBase* next = set.Next();
  ASSERT_NE(next, nullptr);
  EXPECT_EQ(next->GetName(), KorString("c"));
  EXPECT_EQ(set.Next(), nullptr);
}

TEST(ObjSet, RenamingAMemberKeepsLookUpsTrue) {
  for (const int members : {3, 100}) {
    ObjSet set;
    for (int number = 0; number < members; ++number) {
      AddTo(set, KorString(std::to_string(number)));
    }
    ObjBase* renamed = set.Get("1");

    EXPECT_TRUE(renamed->SetName("one"));
    EXPECT_FALSE(renamed->SetName("2"));
    EXPECT_TRUE(renamed->SetName("one"));

    EXPECT_EQ(set.Get("one"), renamed);
    EXPECT_EQ(set.Get("1"), nullptr);
    EXPECT_EQ(renamed->GetName(), KorString("one"));
    EXPECT_EQ(ObjSet::Before(renamed)->GetName(), KorString("0"));
  }
}

TEST(ObjSet, InsertAndMovePutMembersWhereTheyAreWanted) {
  ObjSet set;
  ObjBase* a = AddTo(set, "a");
  ObjBase* b = AddTo(set, "b");
  auto* front = new ObjBase("front");
  auto* middle = new ObjBase("middle");

  ASSERT_TRUE(set.Insert(front, nullptr));
  ASSERT_TRUE(set.Insert(middle, a));
  EXPECT_EQ(NamesOf(set), (std::vector<std::string>{"front", "a", "middle", "b"}));
  set.Move(b, nullptr);
  set.Move(front, middle);
  set.Move(middle, middle);

  EXPECT_EQ(NamesOf(set), (std::vector<std::string>{"b", "a", "middle", "front"}));
  EXPECT_EQ(NamesFromTheEnd(set), NamesOf(set));
}

TEST(ObjSet, SwappedMembersBelongToTheOtherSet) {
  ObjSet left;
  ObjSet right;
  for (int number = 0; number < 20; ++number) AddTo(left, KorString(std::to_string(number)));
  AddTo(right, "r");

  left.Swap(right);

  EXPECT_EQ(left.Count(), 1u);
  EXPECT_EQ(right.Count(), 20u);
  EXPECT_TRUE(right.Get("7")->SetName("seven"));
  EXPECT_NE(right.Get("seven"), nullptr);
  EXPECT_TRUE(left.Get("r")->SetName("7"));
}

// Any sequence of operations against the plainest possible model.
TEST(ObjSet, BehavesAsAListOfNamesUnderRandomOperations) {
  const uint64_t seed = RandomDocuments::Seed();
  SCOPED_TRACE("KOR_TEST_SEED=" + std::to_string(seed));
  RandomDocuments random(seed);
  ObjSet set;
  std::vector<std::string> model;
  const auto find = [&](const std::string& name) {
    return std::find(model.begin(), model.end(), name);
  };
  for (int step = 0; step < 20'000; ++step) {
    const std::string name = std::to_string(random.Below(60));
    const bool isThere = find(name) != model.end();
    const KorString key(name);
    ASSERT_EQ(set.Get(key) != nullptr, isThere);
    if (random.OneIn(3)) {
      const std::unique_ptr<ObjBase> removed(set.Del(key));
      ASSERT_EQ(removed != nullptr, isThere);
      if (isThere) model.erase(find(name));
    } else if (random.OneIn(3) && isThere) {
      const std::string newName = std::to_string(random.Below(60));
      const bool isFree = newName == name || find(newName) == model.end();
      ASSERT_EQ(set.Get(key)->SetName(KorString(newName)), isFree);
      if (isFree) *find(name) = newName;
    } else {
      ASSERT_EQ(AddTo(set, key) != nullptr, !isThere);
      if (!isThere) model.push_back(name);
    }
    ASSERT_EQ(set.Count(), model.size());
    if (step % 16 == 0) {
      ASSERT_EQ(NamesOf(set), model);
      ASSERT_EQ(NamesFromTheEnd(set), model);
    }
  }
}

TEST(ObjBase, AnElementIsMarkedOnceItHasAChangeOrAPlace) {
  ObjBase changed("a");
  ObjBase placed("a");
  EXPECT_FALSE(changed.HasMarks());

  changed.SetChange(ObjChange::kAdded);
  placed.SetPreviousPlace(ObjPlace::After("b"));

  EXPECT_TRUE(changed.HasMarks());
  EXPECT_TRUE(placed.HasMarks());
  EXPECT_FALSE(changed.SameMarks(placed));
  changed.CopyMarks(placed);
  EXPECT_TRUE(changed.SameMarks(placed));
  EXPECT_EQ(changed.GetPlace(), nullptr);
  ASSERT_NE(changed.GetPreviousPlace(), nullptr);
  EXPECT_EQ(changed.GetPreviousPlace()->GetAfter(), KorString("b"));
  EXPECT_FALSE(ObjPlace::First() == ObjPlace::After(""));
}
