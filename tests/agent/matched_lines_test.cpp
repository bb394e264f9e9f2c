#include "agent/matched_lines.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kor/regex.h"

namespace {

using agent::MatchedLines;
using agent::NearestLine;
using Lines = std::vector<std::string>;

constexpr int kAnyLine = kPcreCaseless | kPcreMultiLine | kPcreDotAll;

KorTraceSource Source(std::string_view text, std::string_view pattern) {
  return {"", text, pattern, kAnyLine, false};
}

TEST(MatchedLines, AreThoseOfTheFirstMatchWithoutItsLineEnd) {
  EXPECT_EQ(MatchedLines(Source("a: 1\nb: 2\n\nb: 3\n", R"(^b:\s*(\d+)\s*\n)")), Lines{"b: 2"});
}

TEST(MatchedLines, AreWholeLines) {
  EXPECT_EQ(MatchedLines(Source("one two three\nfour five\n", "two.*four")),
            (Lines{"one two three", "four five"}));
}

TEST(MatchedLines, BlanksBeforeAndAfterBelongToNoLine) {
  EXPECT_EQ(MatchedLines(Source("one\n\n  UP \n\ntwo", R"(^\s+UP\s+)")), Lines{"  UP "});
}

TEST(MatchedLines, OfEveryMatchWhereAllCount) {
  KorTraceSource source = Source("a1\nb\na2\n", "^a[0-9]");
  source.everyMatch = true;

  EXPECT_EQ(MatchedLines(source), (Lines{"a1", "a2"}));
}

TEST(MatchedLines, EmptyMatchIsItsLine) {
  EXPECT_EQ(MatchedLines(Source("one\ntwo", "(x*)")), Lines{"one"});
  EXPECT_EQ(MatchedLines(Source("", "(x*)")), Lines{});
}

TEST(MatchedLines, WithoutAPatternAreAll) {
  EXPECT_EQ(MatchedLines({"", "one\n\ntwo\n", {}, 0, false}), (Lines{"one", "", "two"}));
}

TEST(MatchedLines, WithoutAMatchAreNone) {
  EXPECT_EQ(MatchedLines(Source("one\n", "two")), std::nullopt);
  EXPECT_EQ(MatchedLines(Source("one\n", "(")), std::nullopt);
}

TEST(NearestLine, HasTheWordsOfThePattern) {
  EXPECT_EQ(NearestLine("MemFree: 1\nSwapTotal 2\n", R"(^SwapTotal\s*:\s*(\d+))"), "SwapTotal 2");
  EXPECT_EQ(NearestLine("x\nBIOS Revision is 3\n", R"(\s+BIOS Revision:\s+([-.0-9a-zA-Z]+))"),
            "BIOS Revision is 3");
}

TEST(NearestLine, HasTheirBeginnings) {
  EXPECT_EQ(NearestLine("MemFree: 1\nMemTot: 2\n", R"(^MemTotal\s*:)"), "MemTot: 2");
}

TEST(NearestLine, IsElseTheFirstThatIsNotBlank) {
  EXPECT_EQ(NearestLine("\n  \nsomething\nother\n", "^(?:word)$"), "something");
  EXPECT_EQ(NearestLine("something\n", R"([a-z]+\d[^)"), "something");
  EXPECT_EQ(NearestLine("\n \n", "word"), "");
  EXPECT_EQ(NearestLine("", "word"), "");
}

}  // namespace
