#include "kor/string.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <unordered_set>

namespace {

TEST(KorStringTest, NullPointerIsTheEmptyText) {
  const char* none = nullptr;
  const KorString text(none);
  EXPECT_TRUE(text.IsEmpty());
  EXPECT_EQ(text.GetLength(), 0U);
  EXPECT_STREQ(text.CStr(), "");
}

TEST(KorStringTest, NulBytesAreOrdinary) {
  const KorString text("a\0b", 3);
  EXPECT_EQ(text.GetLength(), 3U);
  EXPECT_NE(text, KorString("a"));
  EXPECT_EQ((text + KorString("\0", 1)).GetLength(), 4U);
  EXPECT_EQ(text.Find(KorString("\0b", 2), 0), 1);
  EXPECT_FALSE(text.IsEqualTo(KorString("a\0c", 3), true));
}

TEST(KorStringTest, Concatenates) {
  KorString text("a");
  text += "b";
  text += text;
  EXPECT_EQ(text + "c", "ababc");
  text.Clear();
  EXPECT_TRUE(text.IsEmpty());
}

TEST(KorStringTest, OrdersByUnsignedBytes) {
  EXPECT_LT(KorString("a"), KorString("b"));
  EXPECT_LT(KorString("a"), KorString("a\0", 2));
  EXPECT_LT(KorString("z"), KorString("\xff"));
}

TEST(KorStringTest, EqualTextsHashAlike) {
  std::unordered_set<KorString> texts{"a", "b"};
  EXPECT_TRUE(texts.contains(KorString("a", 1)));
  EXPECT_FALSE(texts.contains(KorString("a\0", 2)));
}

TEST(KorStringTrim, RemovesAsciiWhiteSpaceAtBothEnds) {
  KorString text(" \t\n\v\f\r a \t b \r\f\v\n\t ");
  text.Trim();
  EXPECT_EQ(text, "a \t b");
}

TEST(KorStringTrim, KeepsWhatIsNotAsciiWhiteSpace) {
  const KorString noBreakSpace("\xc2\xa0x\xc2\xa0");
  KorString text = noBreakSpace;
  text.Trim();
  EXPECT_EQ(text, noBreakSpace);

  KorString nul(" \0 ", 3);
  nul.Trim();
  EXPECT_EQ(nul, KorString("\0", 1));
}

TEST(KorStringTrim, BlankTextBecomesEmpty) {
  KorString text(" \n ");
  text.Trim();
  EXPECT_TRUE(text.IsEmpty());
  text.Trim();
  EXPECT_TRUE(text.IsEmpty());
}

TEST(KorStringNumbers, ReadTheStartOfTheText) {
  EXPECT_EQ(KorString("42").ToInt(), 42);
  EXPECT_EQ(KorString(" \t\n+42 MB").ToInt(), 42);
  EXPECT_EQ(KorString("-7").ToInt(), -7);
  EXPECT_EQ(KorString("0012").ToUINT64(), 12U);
  EXPECT_EQ(KorString("8 GB").ToUINT64(), 8U);
}

TEST(KorStringNumbers, WithoutDigitsAreZero) {
  for (const char* text : {"", "x", " ", "-", "+", "--1", "+-1", "- 1", "kB 7"}) {
    EXPECT_EQ(KorString(text).ToInt(), 0) << text;
    EXPECT_EQ(KorString(text).ToUINT64(), 0U) << text;
  }
}

TEST(KorStringNumbers, SaturateAtTheEndsOfTheType) {
  EXPECT_EQ(KorString("2147483647").ToInt(), INT32_MAX);
  EXPECT_EQ(KorString("2147483648").ToInt(), INT32_MAX);
  EXPECT_EQ(KorString("-2147483648").ToInt(), INT32_MIN);
  EXPECT_EQ(KorString("-2147483649").ToInt(), INT32_MIN);
  EXPECT_EQ(KorString("99999999999999999999999").ToInt(), INT32_MAX);
  EXPECT_EQ(KorString("-99999999999999999999999").ToInt(), INT32_MIN);
  EXPECT_EQ(KorString("18446744073709551615").ToUINT64(), UINT64_MAX);
  EXPECT_EQ(KorString("18446744073709551616").ToUINT64(), UINT64_MAX);
  EXPECT_EQ(KorString("18446744073709551620").ToUINT64(), UINT64_MAX);
  EXPECT_EQ(KorString("184467440737095516150").ToUINT64(), UINT64_MAX);
  EXPECT_EQ(KorString("1844674407370955161500000000").ToUINT64(), UINT64_MAX);
}

TEST(KorStringNumbers, UnsignedFormOfANegativeIsZero) {
  EXPECT_EQ(KorString("-1").ToUINT64(), 0U);
}

TEST(KorStringEquality, IgnoresCaseWhenAsked) {
  EXPECT_TRUE(KorString("kB").IsEqualTo("kb", false));
  EXPECT_FALSE(KorString("kB").IsEqualTo("kb", true));
  EXPECT_TRUE(KorString("kB").IsEqualTo("kB", true));
  EXPECT_FALSE(KorString("kB").IsEqualTo("kBs", false));
}

TEST(KorStringEquality, EmptyAndNullEqualOnlyTheEmptyText) {
  const char* none = nullptr;
  EXPECT_TRUE(KorString().IsEqualTo("", false));
  EXPECT_TRUE(KorString().IsEqualTo(none, true));
  EXPECT_FALSE(KorString("a").IsEqualTo("", false));
  EXPECT_FALSE(KorString("a").IsEqualTo(none, false));
  EXPECT_FALSE(KorString("\0", 1).IsEqualTo(none, true));
}

TEST(KorStringEquality, FoldsTheAsciiLettersOnly) {
  EXPECT_TRUE(KorString("AZaz09").IsEqualTo("azAZ09", false));
  EXPECT_FALSE(KorString("\xc4").IsEqualTo("\xe4", false));  // A and a with dots, in Latin-1
  EXPECT_FALSE(KorString("@").IsEqualTo("`", false));        // the neighbours of the letters
  EXPECT_FALSE(KorString("[").IsEqualTo("{", false));
}

TEST(KorStringStartsWith, HonoursCase) {
  EXPECT_FALSE(KorString("HDa").StartsWith("hd", true));
  EXPECT_TRUE(KorString("HDa").StartsWith("hd", false));
  EXPECT_TRUE(KorString("hda").StartsWith("hd", true));
}

TEST(KorStringStartsWith, LongerPrefixDoesNotFitAndTheEmptyOneDoes) {
  EXPECT_FALSE(KorString("hd").StartsWith("hda", true));
  EXPECT_TRUE(KorString("hd").StartsWith("hd", true));
  EXPECT_TRUE(KorString("hd").StartsWith("", true));
  EXPECT_TRUE(KorString().StartsWith("", false));
}

TEST(KorStringFind, GivesTheFirstPlaceFromThere) {
  const KorString text("abcabc");
  EXPECT_EQ(text.Find("bc", 0), 1);
  EXPECT_EQ(text.Find("bc", 1), 1);
  EXPECT_EQ(text.Find("bc", 2), 4);
  EXPECT_EQ(text.Find("bc", 5), -1);
  EXPECT_EQ(text.Find("x", 0), -1);
  EXPECT_EQ(text.Find("BC", 0), -1);
}

TEST(KorStringFind, StartBeyondTheEndFindsNothing) {
  EXPECT_EQ(KorString("abc").Find("", 3), 3);
  EXPECT_EQ(KorString("abc").Find("", 4), -1);
  EXPECT_EQ(KorString("abc").Find("c", SIZE_MAX), -1);
}

TEST(KorStringReplaceAll, ReplacesEveryOccurrence) {
  KorString text("a,b,,c,");
  text.ReplaceAll(",", ", ", true);
  EXPECT_EQ(text, "a, b, , c, ");
}

TEST(KorStringReplaceAll, DoesNotLookAgainAtWhatWasPutIn) {
  KorString text("aaa");
  text.ReplaceAll("a", "aa", true);
  EXPECT_EQ(text, "aaaaaa");
  text.ReplaceAll("aa", "a", true);
  EXPECT_EQ(text, "aaa");
}

TEST(KorStringReplaceAll, IgnoresCaseWhenAsked) {
  KorString text("Foo fOO foo");
  text.ReplaceAll("FOO", "bar", false);
  EXPECT_EQ(text, "bar bar bar");
  text.ReplaceAll("BAR", "x", true);
  EXPECT_EQ(text, "bar bar bar");
}

TEST(KorStringReplaceAll, EmptyTextToFindChangesNothing) {
  KorString text("abc");
  text.ReplaceAll("", "x", true);
  text.ReplaceAll("", "x", false);
  EXPECT_EQ(text, "abc");
}

TEST(KorStringReplaceAll, ArgumentsMayBeTheTextItself) {
  KorString text("ab");
  text.ReplaceAll(text, text + text, false);
  EXPECT_EQ(text, "abab");
  text.ReplaceAll("b", text, true);
  EXPECT_EQ(text, "aababaabab");
}

TEST(KorStringMatch, GivesTheGroups) {
  KorVector<KorString> captures;
  EXPECT_TRUE(KorString("Linux 6.1.0-9").Match("(\\d+)\\.(\\d+)", captures, 0));
  ASSERT_EQ(captures.Count(), 2U);
  EXPECT_EQ(captures[0], "6");
  EXPECT_EQ(captures[1], "1");
  EXPECT_FALSE(KorString("Linux").Match("linux", captures, 0));
  EXPECT_TRUE(KorString("Linux").Match("linux", captures, 1));
}

}  // namespace
