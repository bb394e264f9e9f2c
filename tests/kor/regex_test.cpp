#include "kor/regex.h"
#include "kor/regex_search.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "kor/debug.h"
#include "support/captured_log.h"

namespace {

constexpr int kAll = kPcreCaseless | kPcreMultiLine | kPcreDotAll;
constexpr int kHostileLength = 20000;

using Texts = std::vector<KorString>;

// A number that no other test has put into a pattern: warnings are given once per pattern.
std::string UniqueNumber() {
  static std::atomic<int> last = 0;
  return std::to_string(++last);
}

Texts Captures(const KorString& subject, const KorString& pattern, int options = 0) {
  KorVector<KorString> captures;
  EXPECT_NE(FindPcre(subject, pattern, captures, options, 1, 1), 0);
  return {captures.begin(), captures.end()};
}

KorString Replaced(const KorString& subject, const KorString& regex, const KorString& replacement) {
  return RegexReplace(subject, regex, replacement, true);
}

double SecondsOf(auto work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

TEST(FindPcre, FindsALineInTheMiddleOfAText) {
  const std::string_view text = "Cached: 5 kB\nmemtotal :  2055152 kB \nMemFree: 1 kB\n";
  KorVector<KorString> captures;
  EXPECT_NE(FindPcreSimple(text.data(), text.size(), "^MemTotal\\s*:\\s*(\\d+)\\s*([a-z]+)\\s*\\n",
                           kAll, captures),
            0);
  ASSERT_EQ(captures.Count(), 2U);
  EXPECT_EQ(captures[0], "2055152");
  EXPECT_EQ(captures[1], "kB");
}

TEST(FindPcre, PutsGroupOneAtIndexZero) {
  EXPECT_EQ(Captures("key = value", "(\\w+) = (\\w+)"), (Texts{"key", "value"}));
}

TEST(FindPcre, PatternWithoutGroupsGivesNone) {
  EXPECT_EQ(Captures("abc", "b"), Texts{});
}

TEST(FindPcre, ReplacesWhatTheCapturesHeld) {
  KorVector<KorString> captures;
  captures.Add("old");
  captures.Add("older");
  ASSERT_NE(FindPcre("abc", "(b)", captures, 0, 1, 1), 0);
  ASSERT_EQ(captures.Count(), 1U);
  EXPECT_EQ(captures[0], "b");
}

TEST(FindPcre, WithoutAMatchTheCapturesStay) {
  KorVector<KorString> captures;
  captures.Add("old");
  EXPECT_EQ(FindPcre("abc", "(x)", captures, 0, 1, 1), 0);
  ASSERT_EQ(captures.Count(), 1U);
  EXPECT_EQ(captures[0], "old");
}

TEST(FindPcre, UnsetGroupsAreEmptyAtTheirPlaces) {
  EXPECT_EQ(Captures("b", "(a)?(b)(c)?(d)?"), (Texts{"", "b", "", ""}));
}

TEST(FindPcre, SubjectAndPatternMayComeOutOfTheCaptures) {
  KorVector<KorString> captures;
  captures.Add("key=value");
  captures.Add("(\\w+)=(\\w+)");
  ASSERT_NE(FindPcre(captures[0], captures[1], captures, 0, 1, 1), 0);
  EXPECT_EQ(captures[0], "key");
  EXPECT_EQ(captures[1], "value");
}

TEST(FindPcre, TrailingArgumentsChangeNothing) {
  KorVector<KorString> captures;
  EXPECT_NE(FindPcre("abc", "^(b|abc)$", captures, 0, 0, -1), 0);
  EXPECT_EQ(captures[0], "abc");
}

TEST(FindPcre, LengthEndsTheTextAndNullIsEmpty) {
  KorVector<KorString> captures;
  EXPECT_EQ(FindPcreSimple("abc", 2, "c", 0, captures), 0);
  EXPECT_NE(FindPcreSimple(nullptr, 0, "^$", 0, captures), 0);
  EXPECT_TRUE(MatchPcreSimple(nullptr, 5, "^$", 0));
}

TEST(FindPcre, OptionBitsAreOneTwoAndFour) {
  EXPECT_FALSE(MatchPcre("ABC", "abc", 0));
  EXPECT_TRUE(MatchPcre("ABC", "abc", 1));
  EXPECT_FALSE(MatchPcre("a\nb\nc", "^b$", 0));
  EXPECT_TRUE(MatchPcre("a\nb\nc", "^b$", 2));
  EXPECT_FALSE(MatchPcre("a\nb", "a.b", 0));
  EXPECT_TRUE(MatchPcre("a\nb", "a.b", 4));
  EXPECT_FALSE(MatchPcre("a\nB", "^b", 1));
  EXPECT_TRUE(MatchPcre("a\nB", "^b", 3));
}

TEST(FindPcre, OtherOptionBitsAreIgnored) {
  EXPECT_TRUE(MatchPcre("abc", "b", 8 | 16 | (1 << 30)));
  EXPECT_TRUE(MatchPcre("abc", "b", -1));
}

TEST(FindPcre, SamePatternWithOtherOptionsIsAnotherOne) {
  for (int round = 0; round < 2; ++round) {
    EXPECT_FALSE(MatchPcre("X\ny", "x.y", 0));
    EXPECT_FALSE(MatchPcre("X\ny", "x.y", kPcreCaseless));
    EXPECT_TRUE(MatchPcre("X\ny", "x.y", kPcreCaseless | kPcreDotAll));
  }
}

TEST(FindPcre, NulBytesAreOrdinary) {
  const KorString text("a\0b=c\0d", 7);
  EXPECT_EQ(Captures(text, "=(.*)"), (Texts{KorString("c\0d", 3)}));
  EXPECT_TRUE(MatchPcre(text, KorString("a\0b", 3), 0));
  EXPECT_FALSE(MatchPcre("ab", KorString("a\0b", 3), 0));
}

TEST(FindPcre, BytesAreNotDecoded) {
  EXPECT_EQ(Captures("\xff\xfe", "^(.)(.)$"), (Texts{"\xff", "\xfe"}));
  EXPECT_EQ(Captures("\xc3\xa9", "^(.)"), Texts{"\xc3"});
  EXPECT_FALSE(MatchPcre("\xc4", "\xe4", kPcreCaseless));
  EXPECT_FALSE(MatchPcre("\xe9", "\\w", 0));
}

TEST(FindPcre, PatternCannotTurnOnDecoding) {
  const CapturedLog log(KorFrameworkLog());
  EXPECT_FALSE(MatchPcre("a", KorString("(*UTF)a(?#" + UniqueNumber() + ")"), 0));
  EXPECT_FALSE(MatchPcre("a", KorString("(*UCP)a(?#" + UniqueNumber() + ")"), 0));
  EXPECT_EQ(log.Entries().size(), 2U);
}

TEST(FindPcre, LineEndIsTheLineFeedAlone) {
  EXPECT_EQ(Captures("a\rb\r\nc", "^(.*)$", kPcreMultiLine), Texts{"a\rb\r"});
  EXPECT_FALSE(MatchPcre("a\rb", "^b", kPcreMultiLine));
  EXPECT_FALSE(MatchPcre("a\r", "a$", 0));
  EXPECT_TRUE(MatchPcre("a\nb", "^b", kPcreMultiLine));
}

TEST(FindPcre, DollarStandsBeforeAFinalLineEndToo) {
  EXPECT_TRUE(MatchPcre("abc\n", "c$", 0));
  EXPECT_TRUE(MatchPcre("abc", "c$", 0));
  EXPECT_FALSE(MatchPcre("abc\n\n", "c$", 0));
  EXPECT_FALSE(MatchPcre("abc\n", "c\\z", 0));
}

TEST(MatchRegex, SearchesAnywhere) {
  EXPECT_TRUE(MatchRegex("one two three", "two", true));
  EXPECT_FALSE(MatchRegex("one two three", "^two$", true));
}

TEST(MatchRegex, HonoursCase) {
  EXPECT_FALSE(MatchRegex("Two", "two", true));
  EXPECT_TRUE(MatchRegex("Two", "two", false));
}

TEST(MatchRegex, IsNeitherMultiLineNorDotAll) {
  EXPECT_FALSE(MatchRegex("a\nb", "^b", true));
  EXPECT_FALSE(MatchRegex("a\nb", "a.b", true));
}

TEST(MatchRegex, EmptyExpressionIsFoundEverywhere) {
  EXPECT_TRUE(MatchRegex("", "", true));
  EXPECT_TRUE(MatchRegex("abc", "", false));
}

TEST(BadRegex, MatchesAndReplacesNothingAndWarnsOnce) {
  const CapturedLog log(KorFrameworkLog());
  const KorString bad("(" + UniqueNumber());
  KorVector<KorString> captures;

  EXPECT_FALSE(MatchRegex("abc", bad, true));
  EXPECT_FALSE(MatchRegex("abc", bad, true));
  EXPECT_EQ(FindPcre("abc", bad, captures, 0, 1, 1), 0);
  EXPECT_EQ(RegexReplace("abc", bad, "x", true), "abc");

  const auto entries = log.Entries();
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].level, KorLogLevel::kWarning);
  EXPECT_EQ(entries[0].text, "Bad regular expression '" + bad.Str() +
                                 "': missing closing parenthesis at offset " +
                                 std::to_string(bad.GetLength()));
}

TEST(BadRegex, CheckSaysWhyAndWhereWithoutAWarning) {
  const CapturedLog log(KorFrameworkLog());
  KorString error("before");
  EXPECT_TRUE(CheckRegex("a(b)c", error));
  EXPECT_EQ(error, "before");
  EXPECT_FALSE(CheckRegex("ab[", error));
  EXPECT_EQ(error, "missing terminating ] for character class at offset 3");
  EXPECT_FALSE(CheckRegex("*", error));
  EXPECT_EQ(error, "quantifier does not follow a repeatable item at offset 0");
  EXPECT_TRUE(log.Entries().empty());
}

class HostileRegex : public testing::TestWithParam<const char*> {};

// Expected to be found to be hopeless in well under a second; unbounded they take years.
TEST_P(HostileRegex, EndsWithoutAMatchAndWarnsOnce) {
  const CapturedLog log(KorFrameworkLog());
  const KorString pattern(GetParam() + ("(?#" + UniqueNumber() + ")"));
  const KorString text(std::string(kHostileLength, 'a') + "b");

  const double seconds = SecondsOf([&] {
    EXPECT_FALSE(MatchRegex(text, pattern, true));
    EXPECT_FALSE(MatchRegex(text, pattern, true));
    EXPECT_EQ(RegexReplace(text, pattern, "x", true), text);
  });

  const auto entries = log.Entries();
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].level, KorLogLevel::kWarning);
  EXPECT_TRUE(entries[0].text.starts_with("Gave up the search for regular expression '" +
                                          pattern.Str() + "': "))
      << entries[0].text;
  EXPECT_LT(seconds, 20);
}

INSTANTIATE_TEST_SUITE_P(Compiled, HostileRegex,
                         testing::Values("(a+)+$", "(a|aa)+$", "(a*)*\\1x?$", "(?:(?R)a|a)+$"));
INSTANTIATE_TEST_SUITE_P(Interpreted, HostileRegex,
                         testing::Values("(*NO_JIT)(a+)+$", "(*NO_JIT)(a|aa)+$",
                                         "(*NO_JIT)(?:a(?R)|a)+$"));

TEST(RegexLimits, LongHonestTextsAreStillMatched) {
  const CapturedLog log(KorFrameworkLog());
  const std::string filler(4'000'000, 'x');
  const KorString text(filler + "\nkey: value\n" + filler);

  EXPECT_EQ(Captures(text, "^.*?key: (\\w+)", kAll), Texts{"value"});
  EXPECT_EQ(Captures(text, "(*NO_JIT)^.*?key: (\\w+)", kAll), Texts{"value"});
  EXPECT_TRUE(log.Entries().empty()) << log.Text();
}

TEST(RegexLimits, WhatIsTooDeepForTheJitStackIsInterpreted) {
  const CapturedLog log(KorFrameworkLog());
  const KorString text(std::string(100'000, 'a') + "c");
  EXPECT_TRUE(MatchRegex(text, "^(?:a|b)*c$", true));
  EXPECT_TRUE(MatchRegex(text, "(*NO_JIT)^(?:a|b)*c$", true));
  EXPECT_TRUE(log.Entries().empty()) << log.Text();
}

// Each is cheap from one starting point, and hopeless from all of them together.
class CostlyRegex : public testing::TestWithParam<const char*> {
 protected:
  void TearDown() override { SetRegexBudget(budget); }

  const RegexBudget budget = SetRegexBudget({50'000, 0});
};

TEST_P(CostlyRegex, IsGivenUpWhenAllStartingPointsTogetherCostTooMuch) {
  const CapturedLog log(KorFrameworkLog());
  const KorString pattern(GetParam() + ("(?#" + UniqueNumber() + ")"));
  const KorString text(std::string(200'000, 'a') + "c\n\nb");

  EXPECT_FALSE(MatchRegex(text, pattern, true));
  EXPECT_EQ(RegexReplace(text, pattern, "x", true), text);

  const auto entries = log.Entries();
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_EQ(entries[0].text, "Gave up the search for regular expression '" + pattern.Str() +
                                 "': match limit exceeded");
}

INSTANTIATE_TEST_SUITE_P(Patterns, CostlyRegex,
                         testing::Values("a*[a-z]b", "(?:ab?)*b", "(*NO_JIT)a++b",
                                         "(*COMMIT)a*[a-z]b"));

TEST(RegexLimits, BudgetIsThatOfAllSearchesOfAReplacement) {
  const CapturedLog log(KorFrameworkLog());
  const RegexBudget budget = SetRegexBudget({50'000, 0});
  // Every search goes over some of the text before it finds its match.
  std::string text;
  for (int n = 0; n < 400; ++n) text += std::string(3'000, 'a') + "b";
  const KorString pattern("a{2000,}+c|b(?#" + UniqueNumber() + ")");

  const KorString replaced = RegexReplace(KorString(text), pattern, "x", true);

  SetRegexBudget(budget);
  ASSERT_EQ(log.Entries().size(), 1U);
  EXPECT_NE(replaced.Find("x", 0), -1);
  EXPECT_TRUE(replaced.View().ends_with("aab"));
}

// Each of its searches ends with a match, but as machine code only after a million recursions. A
// long text is not interpreted.
TEST(RegexLimits, BudgetIsThatOfSearchesThatEachFindSomething) {
  const CapturedLog log(KorFrameworkLog());
  const RegexBudget budget = SetRegexBudget({50'000, 0});
  const KorString pattern("|(?R)(?#" + UniqueNumber() + ")");

  const KorString replaced = RegexReplace(KorString(std::string(5'000, 'a')), pattern, "x", true);

  SetRegexBudget(budget);
  ASSERT_EQ(log.Entries().size(), 1U);
  EXPECT_TRUE(replaced.View().starts_with("xa"));
  EXPECT_TRUE(replaced.View().ends_with("aaaa"));
}

TEST(RegexLimits, ManyShortSearchesAreNotTakenForLongOnes) {
  const CapturedLog log(KorFrameworkLog());
  const RegexBudget budget = SetRegexBudget({0, 60'000'000});
  const std::string text(1000, 'a');

  const KorString replaced = RegexReplace(KorString(text), "a", "b", true);

  SetRegexBudget(budget);
  EXPECT_EQ(replaced, KorString(std::string(1000, 'b')));
}

// In the same words for one call of the library and for many.
TEST(RegexLimits, LongTextsAreSearchedAsShortOnesAre) {
  const CapturedLog log(KorFrameworkLog());
  const std::string filler = std::string(150'000, '-') + "\n" + std::string(150'000, 'x') + "\n";
  const struct {
    const char* pattern;
    const char* text;
  } cases[] = {{"(?m)^key:[ ]*(.*?)$", "key:  value"},
               {"(?<=\\n)(\\w+)=\\d+$", "name=12"},
               {"(?i)(SIZE): 1", "size: 1"},
               {"\\b(q+)\\z", "qqq"},
               {"(?s)-\\n.*x\\n(.)", "z"},
               {"(*COMMIT)-(.)", ""}};
  for (const auto& [pattern, text] : cases) {
    const KorString longText(filler + text);
    const KorString shortText(std::string("--\nxx\n") + text);
    EXPECT_EQ(Captures(longText, pattern), Captures(shortText, pattern)) << pattern;
  }
  std::string replaced;
  for (int n = 0; n < 150'000; ++n) replaced += "y-";
  EXPECT_EQ(RegexReplace(KorString(filler), "x*", "y", true), KorString(replaced + "y\nyy\ny"));
  EXPECT_TRUE(log.Entries().empty()) << log.Text();
}

TEST(RegexLimits, MemoryOfADeepSearchIsNotKept) {
  const KorString text(std::string(100'000, 'a') + "c");
  ASSERT_TRUE(MatchRegex(text, "(*NO_JIT)^(?:a|b)*c$", true));
  EXPECT_LE(RegexBytesKept(), 256U * 1024);
  ASSERT_TRUE(MatchRegex("abc", "b", true));
  EXPECT_GT(RegexBytesKept(), 0U);
}

TEST(RegexLimits, ResultOfAReplacementIsAtMost64MiB) {
  const CapturedLog log(KorFrameworkLog());
  const std::string half(size_t{32} * 1024 * 1024, 'a');
  const KorString pattern("(?s)^(.*)$(?#" + UniqueNumber() + ")");
  EXPECT_EQ(RegexReplace(KorString(half), pattern, "$1$1", true).GetLength(), 2 * half.size());
  EXPECT_TRUE(log.Entries().empty());
  EXPECT_EQ(RegexReplace(KorString(half), pattern, "$1$1b", true), KorString(half));
  ASSERT_EQ(log.Entries().size(), 1U);
  EXPECT_EQ(log.Entries()[0].text, "Gave up replacing by regular expression '" + pattern.Str() +
                                       "': the result is over 64 MiB");
}

TEST(RegexLimits, ThreadGoesOnMatchingAfterALimit) {
  const CapturedLog log(KorFrameworkLog());
  const KorString text(std::string(kHostileLength, 'a') + "b");
  EXPECT_FALSE(MatchRegex(text, KorString("(a+)+$(?#" + UniqueNumber() + ")"), true));
  EXPECT_EQ(Captures("abc", "(a)(b)(c)"), (Texts{"a", "b", "c"}));
}

// The first searches are interpreted, later ones run machine code.
TEST(RegexLimits, ManyEqualSearchesFindTheSame) {
  const CapturedLog log(KorFrameworkLog());
  constexpr const char* kPatterns[] = {"^(\\w+)\\s*:\\s*(.*?)\\s*$",
                                       "(a+)(?=b)|\\Bc",
                                       "(?i)X(.)?",
                                       "\\d(?R)?(q)",
                                       "(?:(a)|b)*+c",
                                       "",
                                       "\\bnothing"};
  constexpr const char* kTexts[] = {"key : value ", "xaab", "aabc", "1aXq22q", "", "\n", "bac x"};
  const std::string unique = "(?#" + UniqueNumber() + ")";
  for (const char* beginning : kPatterns) {
    const KorString pattern(beginning + unique);
    for (const char* text : kTexts) {
      const KorString first = RegexReplace(text, pattern, "[\\0|\\1]", true);
      for (int n = 0; n < 20; ++n) {
        ASSERT_EQ(RegexReplace(text, pattern, "[\\0|\\1]", true), first) << beginning;
      }
    }
  }
  EXPECT_TRUE(log.Entries().empty()) << log.Text();
}

TEST(RegexCache, ManyPatternsAreForgottenAndCompiledAnew) {
  for (int round = 0; round < 2; ++round) {
    for (int number = 0; number < 3000; ++number) {
      const std::string digits = std::to_string(number);
      ASSERT_EQ(Captures(KorString("n" + digits + "."), KorString("^n(" + digits + ")\\.$")),
                Texts{KorString(digits)});
    }
  }
}

TEST(RegexCache, PatternInUseIsKept) {
  const CapturedLog log(KorFrameworkLog());
  const KorString bad("[" + UniqueNumber());
  for (int number = 0; number < 3000; ++number) {
    EXPECT_FALSE(MatchRegex("x", bad, true));
    EXPECT_TRUE(MatchRegex("x", KorString("x|k" + std::to_string(number)), true));
  }
  EXPECT_EQ(log.Entries().size(), 1U);  // forgotten, it would be warned about again
}

TEST(RegexThreads, MatchAtOnceWhileTheCacheOverflows) {
  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&wrong, thread] {
      KorVector<KorString> captures;
      for (int number = 0; number < 400; ++number) {
        const std::string digits = std::to_string(number + 200 * (thread % 4));
        const KorString text("<" + digits + "><shared>");
        if (FindPcre(text, KorString("<(" + digits + ")>"), captures, 0, 1, 1) == 0 ||
            captures[0] != KorString(digits) ||
            FindPcre(text, "<([a-z]+)>", captures, 0, 1, 1) == 0 || captures[0] != "shared" ||
            RegexReplace(text, "<(\\w+)>", "$1;", true) != KorString(digits + ";shared;")) {
          ++wrong;
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong, 0);
}

TEST(RegexThreads, WarnOnceForAllOfThem) {
  const CapturedLog log(KorFrameworkLog());
  const KorString bad("(" + UniqueNumber());
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 8; ++thread) {
    threads.emplace_back([&bad] { EXPECT_FALSE(MatchRegex("x", bad, true)); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(log.Entries().size(), 1U);
}

TEST(KorRegex, AnswersForEachSubjectAsMatchRegexDoes) {
  KorRegex insensitive("^disk [0-9]+$", false);
  EXPECT_TRUE(insensitive.Matches("Disk 1"));
  EXPECT_FALSE(insensitive.Matches("Disk"));
  EXPECT_TRUE(insensitive.Matches("DISK 22"));
  KorRegex sensitive("^disk", true);
  EXPECT_FALSE(sensitive.Matches("Disk 1"));
}

TEST(KorRegex, OneThatDoesNotCompileMatchesNothingAndWarnsOnce) {
  CapturedLog log(KorFrameworkLog());
  KorRegex bad("(", true);
  EXPECT_FALSE(bad.Matches("("));
  EXPECT_FALSE(bad.Matches("("));
  EXPECT_EQ(log.Entries().size(), 1U);
}

TEST(RegexReplace, ReplacesEveryMatch) {
  EXPECT_EQ(Replaced("a1b22c", "\\d+", "#"), "a#b#c");
  EXPECT_EQ(Replaced("abc", "x", "#"), "abc");
  EXPECT_EQ(Replaced("", "x", "#"), "");
  EXPECT_EQ(Replaced("abc", "b", ""), "ac");
}

TEST(RegexReplace, HonoursCase) {
  EXPECT_EQ(RegexReplace("Aa", "a", "x", true), "Ax");
  EXPECT_EQ(RegexReplace("Aa", "a", "x", false), "xx");
}

TEST(RegexReplace, IsNeitherMultiLineNorDotAll) {
  EXPECT_EQ(Replaced("a\na", "^a", "x"), "x\na");
  EXPECT_EQ(Replaced("a\nb", ".+", "x"), "x\nx");
}

TEST(RegexReplace, NamesGroupsInThreeWays) {
  EXPECT_EQ(Replaced("key=value", "(\\w+)=(\\w+)", "$2=${1}"), "value=key");
  EXPECT_EQ(Replaced("key=value", "(\\w+)=(\\w+)", "\\2=\\1"), "value=key");
  EXPECT_EQ(Replaced("abc", "b", "<$0${0}\\0>"), "a<bbb>c");
}

TEST(RegexReplace, AllDigitsThatFollowCount) {
  const KorString twelve("(a)(b)(c)(d)(e)(f)(g)(h)(i)(j)(k)(l)");
  EXPECT_EQ(Replaced("abcdefghijkl", twelve, "$12"), "l");
  EXPECT_EQ(Replaced("abcdefghijkl", twelve, "\\12"), "l");
  EXPECT_EQ(Replaced("abcdefghijkl", twelve, "${1}2"), "a2");
  EXPECT_EQ(Replaced("abcdefghijkl", twelve, "$0012"), "l");
}

TEST(RegexReplace, UnsetAndUnknownGroupsAreEmpty) {
  EXPECT_EQ(Replaced("b", "(a)?(b)(c)?", "<$1$2$3>"), "<b>");
  EXPECT_EQ(Replaced("b", "(b)", "<$2>"), "<>");
  EXPECT_EQ(Replaced("b", "(b)", "<$99999999999999999999999>"), "<>");
  EXPECT_EQ(Replaced("b", "(b)", "<$4294967297>"), "<>");
  EXPECT_EQ(Replaced("b", "(b)", "<$18446744073709551617>"), "<>");
}

TEST(RegexReplace, EverythingElseStandsAsItIs) {
  for (const char* text : {"$$", "$", "\\", "\\\\", "$x", "\\n", "${", "${}", "${1", "${x}",
                           "${1x}", "${ 1}", "$ 1", "&", "$-1", "${-1}", "%1"}) {
    EXPECT_EQ(Replaced("abc", "(b)", text), KorString("a") + text + "c") << text;
  }
}

TEST(RegexReplace, ReferenceMayFollowALoneSign) {
  EXPECT_EQ(Replaced("abc", "(b)", "$$1"), "a$bc");
  EXPECT_EQ(Replaced("abc", "(b)", "\\\\1"), "a\\bc");
  EXPECT_EQ(Replaced("abc", "(b)", "${$1"), "a${bc");
}

TEST(RegexReplace, WhatWasCapturedIsNotReadAsAReplacement) {
  EXPECT_EQ(Replaced("a$1b", "(\\$1)", "<$1>"), "a<$1>b");
}

TEST(RegexReplace, EmptyMatchesAdvance) {
  EXPECT_EQ(Replaced("abc", "", "-"), "-a-b-c-");
  EXPECT_EQ(Replaced("", "", "-"), "-");
  EXPECT_EQ(Replaced("abc", "x*", "-"), "-a-b-c-");
  EXPECT_EQ(Replaced("abc", "$", "-"), "abc-");
  EXPECT_EQ(Replaced("abc\n", "$", "-"), "abc-\n-");
  EXPECT_EQ(Replaced("abc", "^", "-"), "-abc");
}

TEST(RegexReplace, NonEmptyMatchMayFollowAnEmptyOneAtTheSamePlace) {
  EXPECT_EQ(Replaced("aab", "a*?", "-"), "-----b-");
  EXPECT_EQ(Replaced("xaay", "a*", "-"), "-x--y-");
}

TEST(RegexReplace, LooksBackAtWhatWasReplaced) {
  EXPECT_EQ(Replaced("aab", "(?<=a)b|a", "x"), "xxx");
  EXPECT_EQ(Replaced("aaa", "\\Ba", "x"), "axx");
}

TEST(RegexReplace, MatchThatForgetsItsBeginningAdvances) {
  EXPECT_EQ(Replaced("aaab", "a\\K", "-"), "a-a-a-b");
  EXPECT_EQ(Replaced("foobar", "foo\\Kbar", "-"), "foo-");
}

TEST(RegexReplace, NulBytesAreOrdinary) {
  const KorString text("a\0b", 3);
  EXPECT_EQ(Replaced(text, KorString("\0", 1), "-"), "a-b");
  EXPECT_EQ(Replaced("a-b", "-", KorString("\0", 1)), text);
  EXPECT_EQ(Replaced(text, "(.*)", "<$1>"), KorString("<a\0b><>", 7));
}

}  // namespace
