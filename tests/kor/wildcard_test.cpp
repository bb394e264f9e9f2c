#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <string>
#include <string_view>

#include "kor/debug.h"
#include "kor/regex.h"
#include "support/captured_log.h"

namespace {

bool Matches(const KorString& text, const KorString& pattern, bool caseSensitive = true) {
  return MatchRegex(text, PatternToRegex(pattern), caseSensitive);
}

// What a wildcard pattern means, in its plainest and slowest form.
bool MeansMatch(std::string_view text, std::string_view pattern) {
  if (pattern.empty()) return text.empty();
  if (pattern[0] == '*') {
    return MeansMatch(text, pattern.substr(1)) ||
           (!text.empty() && MeansMatch(text.substr(1), pattern));
  }
  if (text.empty() || (pattern[0] != '?' && pattern[0] != text[0])) return false;
  return MeansMatch(text.substr(1), pattern.substr(1));
}

TEST(PatternToRegexTest, StarIsAnyRun) {
  EXPECT_TRUE(Matches("hda1", "hda*"));
  EXPECT_TRUE(Matches("hda", "hda*"));
  EXPECT_FALSE(Matches("hdb1", "hda*"));
  EXPECT_TRUE(Matches("", "*"));
  EXPECT_TRUE(Matches("anything", "*"));
  EXPECT_TRUE(Matches("Physical Disk", "*Disk"));
  EXPECT_TRUE(Matches("a.b.c", "a*b*c"));
  EXPECT_FALSE(Matches("a.c.b", "a*b*c"));
}

TEST(PatternToRegexTest, QuestionMarkIsExactlyOneByte) {
  EXPECT_TRUE(Matches("hda1", "hda?"));
  EXPECT_FALSE(Matches("hda", "hda?"));
  EXPECT_FALSE(Matches("hda12", "hda?"));
  EXPECT_TRUE(Matches("\xff", "?"));
  EXPECT_TRUE(Matches("\n", "?"));
}

TEST(PatternToRegexTest, WholeTextMustFit) {
  EXPECT_TRUE(Matches("Name", "Name"));
  EXPECT_FALSE(Matches("Name2", "Name"));
  EXPECT_FALSE(Matches("My Name", "Name"));
  EXPECT_FALSE(Matches("Name\n", "Name"));
  EXPECT_FALSE(Matches("x\nName", "Name"));
}

TEST(PatternToRegexTest, LineEndsAreBytesAsAnyOther) {
  EXPECT_TRUE(Matches("a\nb\r\nc", "a*c"));
  EXPECT_TRUE(Matches("a\n", "a*"));
  EXPECT_TRUE(Matches("a\nb", "a\nb"));
}

TEST(PatternToRegexTest, HoldsUnderEveryOption) {
  for (int options = 0; options < 8; ++options) {
    EXPECT_TRUE(MatchPcre("a\nb", PatternToRegex("a*b"), options)) << options;
    EXPECT_FALSE(MatchPcre("a\nb\n", PatternToRegex("a*b"), options)) << options;
    EXPECT_FALSE(MatchPcre("x\nb", PatternToRegex("b"), options)) << options;
  }
}

TEST(PatternToRegexTest, EmptyPatternFitsTheEmptyTextOnly) {
  EXPECT_TRUE(Matches("", ""));
  EXPECT_FALSE(Matches("a", ""));
  EXPECT_FALSE(Matches("\n", ""));
}

TEST(PatternToRegexTest, CaseIsTheMatchersQuestion) {
  EXPECT_FALSE(Matches("NAME", "n*e", true));
  EXPECT_TRUE(Matches("NAME", "n*e", false));
}

TEST(PatternToRegexTest, EveryByteButTheTwoStandsForItself) {
  for (int code = 0; code < 256; ++code) {
    const auto byte = static_cast<char>(code);
    if (byte == '*' || byte == '?') continue;
    const KorString pattern("x" + std::string(1, byte) + "0y");
    for (int other = 0; other < 256; ++other) {
      const KorString text("x" + std::string(1, static_cast<char>(other)) + "0y");
      ASSERT_EQ(Matches(text, pattern), other == code) << code << " against " << other;
    }
  }
}

TEST(PatternToRegexTest, ExpressionSyntaxIsLiteral) {
  for (const char* text : {"(a|b)+", "[a-z]{2}", "^a.b$", "\\d\\Q\\E", "(?i)a", "(*UTF)", "#a b"}) {
    EXPECT_TRUE(Matches(text, text)) << text;
    EXPECT_FALSE(Matches("a", text)) << text;
  }
}

TEST(PatternToRegexTest, MeansTheSameAsThePlainDefinition) {
  std::mt19937 random(20261121);
  const auto pick = [&](std::string_view from, size_t longest) {
    std::string text(random() % (longest + 1), ' ');
    for (char& c : text) c = from[random() % from.size()];
    return text;
  };
  int matches = 0;
  for (int round = 0; round < 20000; ++round) {
    const std::string pattern = pick("ab**?", 8);
    const std::string text = pick("ab\n", 10);
    const bool expected = MeansMatch(text, pattern);
    ASSERT_EQ(Matches(KorString(text), KorString(pattern)), expected)
        << "text " << testing::PrintToString(text) << ", pattern " << pattern;
    matches += expected ? 1 : 0;
  }
  EXPECT_GT(matches, 2000);
  EXPECT_LT(matches, 18000);
}

TEST(PatternToRegexTest, ManyStarsOnALongTextEndQuicklyWithTheRightAnswer) {
  const CapturedLog log(KorFrameworkLog());
  std::string stars;
  for (int piece = 0; piece < 50; ++piece) stars += "*a";
  // It begins with the letter that is not found at its end.
  const std::string text = "b" + std::string(200'000, 'a');

  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(Matches(KorString(text), KorString(stars + "*b")));
  EXPECT_FALSE(Matches(KorString(text), KorString(stars + "b")));
  EXPECT_FALSE(Matches(KorString(text), KorString(stars + "**?b*?")));
  EXPECT_TRUE(Matches(KorString(text), KorString(stars)));
  EXPECT_TRUE(Matches(KorString(text + "b"), KorString(stars + "*b")));
  EXPECT_TRUE(Matches(KorString(text), KorString(std::string(5000, '*') + "a")));
  const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;

  EXPECT_LT(passed.count(), 10);
  EXPECT_TRUE(log.Entries().empty()) << log.Text();
}

}  // namespace
