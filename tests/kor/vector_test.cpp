#include "kor/vector.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(KorVectorTest, KeepsTheOrderOfAdding) {
  KorVector<int> numbers;
  EXPECT_TRUE(numbers.IsEmpty());
  for (const int number : {3, 1, 2}) numbers.Add(number);
  ASSERT_EQ(numbers.Count(), 3U);
  EXPECT_EQ(numbers[0], 3);
  EXPECT_EQ(numbers[2], 2);
  EXPECT_FALSE(numbers.IsEmpty());
}

TEST(KorVectorTest, ElementsCanBeChangedInPlaceAndWalked) {
  KorVector<std::string> texts;
  texts.Add("a");
  texts.Add("b");
  texts[0] += "!";
  std::string all;
  for (const std::string& text : texts) all += text;
  EXPECT_EQ(all, "a!b");
}

TEST(KorVectorTest, ClearedIsEqualToANewOne) {
  KorVector<int> numbers;
  numbers.Add(1);
  EXPECT_FALSE(numbers == KorVector<int>());
  numbers.Clear();
  EXPECT_EQ(numbers.Count(), 0U);
  EXPECT_TRUE(numbers == KorVector<int>());
}

}  // namespace
