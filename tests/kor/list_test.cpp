#include "kor/list.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(KorListTest, FirstRewindsAndNextAdvancesUntilNull) {
  int numbers[] = {1, 2, 3};
  KorList<int> list;
  for (int& number : numbers) EXPECT_TRUE(list.Add(&number));

  for (int walk = 0; walk < 2; ++walk) {
    std::vector<int> seen;
    list.First();
    for (const int* item = list.Next(); item != nullptr; item = list.Next()) seen.push_back(*item);
    EXPECT_EQ(seen, (std::vector<int>{1, 2, 3}));
  }
  EXPECT_EQ(list.Next(), nullptr);
  EXPECT_EQ(list.Count(), 3U);
}

TEST(KorListTest, WalkOverANewListNeedsNoRewind) {
  int number = 1;
  KorList<int> list;
  list.Add(&number);
  EXPECT_EQ(list.Next(), &number);
}

TEST(KorListTest, NullIsNotAdded) {
  KorList<int> list;
  EXPECT_FALSE(list.Add(nullptr));
  EXPECT_EQ(list.Count(), 0U);
  EXPECT_EQ(list.Next(), nullptr);
}

TEST(KorListTest, WhatIsAddedDuringAWalkIsStillVisited) {
  int numbers[] = {1, 2};
  KorList<int> list;
  list.Add(&numbers[0]);
  list.First();
  EXPECT_EQ(list.Next(), &numbers[0]);
  list.Add(&numbers[1]);
  EXPECT_EQ(list.Next(), &numbers[1]);
  EXPECT_EQ(list.Next(), nullptr);
}

TEST(KorListTest, ClearForgetsItemsAndCursor) {
  int numbers[] = {1, 2};
  KorList<int> list;
  list.Add(&numbers[0]);
  list.Next();
  list.Clear();
  EXPECT_EQ(list.Count(), 0U);
  EXPECT_EQ(list.Next(), nullptr);
  list.Add(&numbers[1]);
  EXPECT_EQ(list.Next(), &numbers[1]);
}

}  // namespace
