#include "agent/display_text.h"

#include <gtest/gtest.h>

namespace {

using agent::DisplayText;

TEST(DisplayTexts, PlainAndAccentedTextStaysAsItIs) {
  EXPECT_EQ(
      "Gr\xc3\xb6\xc3\x9f"
      "e 5 \xe2\x82\xac",
      DisplayText("Gr\xc3\xb6\xc3\x9f"
                  "e 5 \xe2\x82\xac"));
}

TEST(DisplayTexts, ControlCharactersAreEscaped) {
  EXPECT_EQ("a\\nb\\tc\\rd\\x1b[31m\\x00\\x7f",
            DisplayText(std::string_view("a\nb\tc\rd\x1b[31m\0\x7f", 14)));
}

TEST(DisplayTexts, ControlsAboveAsciiAreEscaped) {
  EXPECT_EQ("\\xc2\\x9b", DisplayText("\xc2\x9b"));
}

TEST(DisplayTexts, MarksOfDirectionAreEscaped) {
  EXPECT_EQ(
      "\\xe2\\x80\\xae"
      "txt",
      DisplayText("\xe2\x80\xae"
                  "txt"));
}

TEST(DisplayTexts, WhatIsNotUtf8IsEscapedByteByByte) {
  EXPECT_EQ("\\xff", DisplayText("\xff"));
  EXPECT_EQ("\\xc3", DisplayText("\xc3"));           // cut short
  EXPECT_EQ("\\xc0\\xaf", DisplayText("\xc0\xaf"));  // overlong
  EXPECT_EQ("\\xe0\\x80\\xaf", DisplayText("\xe0\x80\xaf"));
  EXPECT_EQ("\\xed\\xa0\\x80", DisplayText("\xed\xa0\x80"));  // a surrogate
  EXPECT_EQ("\\xf4\\x90\\x80\\x80", DisplayText("\xf4\x90\x80\x80"));
}

}  // namespace
