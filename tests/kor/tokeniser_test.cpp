#include "kor/tokeniser.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

std::vector<KorString> Pieces(const KorString& text, const KorString& separator) {
  StringTokeniser tokeniser(text, separator, 0);
  std::vector<KorString> pieces;
  KorString piece;
  while (tokeniser.GetNextToken(&piece) != 0) pieces.push_back(piece);
  return pieces;
}

using Texts = std::vector<KorString>;

TEST(StringTokeniserTest, CutsLines) {
  EXPECT_EQ(Pieces("one\ntwo\nthree", "\n"), (Texts{"one", "two", "three"}));
}

TEST(StringTokeniserTest, CutsParagraphsAtBlankLines) {
  EXPECT_EQ(Pieces("a\nb\n\nc\n", "\n\n"), (Texts{"a\nb", "c\n"}));
}

TEST(StringTokeniserTest, SeparatorIsOneStringNotASetOfCharacters) {
  EXPECT_EQ(Pieces("a,b, c,,d", ", "), (Texts{"a,b", "c,,d"}));
}

TEST(StringTokeniserTest, GivesEmptyPiecesBetweenSeparators) {
  EXPECT_EQ(Pieces(",a,,b", ","), (Texts{"", "a", "", "b"}));
}

TEST(StringTokeniserTest, SeparatorAtTheEndOpensNoFurtherPiece) {
  EXPECT_EQ(Pieces("a\nb\n", "\n"), (Texts{"a", "b"}));
  EXPECT_EQ(Pieces("a\n\n", "\n"), (Texts{"a", ""}));
  EXPECT_EQ(Pieces("\n", "\n"), (Texts{""}));
}

TEST(StringTokeniserTest, ThreeNewlinesAreASeparatorAndTheRest) {
  EXPECT_EQ(Pieces("a\n\n\nb", "\n\n"), (Texts{"a", "\nb"}));
}

TEST(StringTokeniserTest, EmptyTextGivesNothing) {
  EXPECT_EQ(Pieces("", "\n"), Texts{});
}

TEST(StringTokeniserTest, EmptySeparatorGivesTheWholeText) {
  EXPECT_EQ(Pieces("a b", ""), Texts{"a b"});
  EXPECT_EQ(Pieces("", ""), Texts{});
}

TEST(StringTokeniserTest, NulBytesAreOrdinary) {
  EXPECT_EQ(Pieces(KorString("a\0b\nc", 5), "\n"), (Texts{KorString("a\0b", 3), "c"}));
  EXPECT_EQ(Pieces(KorString("a\0b", 3), KorString("\0", 1)), (Texts{"a", "b"}));
}

TEST(StringTokeniserTest, StringIsLeftAloneAtTheEnd) {
  StringTokeniser tokeniser("only", "\n", 0);
  KorString piece;
  EXPECT_NE(tokeniser.GetNextToken(&piece), 0);
  EXPECT_EQ(tokeniser.GetNextToken(&piece), 0);
  EXPECT_EQ(tokeniser.GetNextToken(&piece), 0);
  EXPECT_EQ(piece, "only");
}

TEST(StringTokeniserTest, NextTokenIsEmptyAtTheEnd) {
  StringTokeniser tokeniser("a,b", ",", 0);
  EXPECT_EQ(tokeniser.NextToken(), "a");
  EXPECT_EQ(tokeniser.NextToken(), "b");
  EXPECT_EQ(tokeniser.NextToken(), "");
}

TEST(StringTokeniserTest, KeepsItsOwnCopyOfTheText) {
  KorString text("a,b");
  StringTokeniser tokeniser(text, ",", 0);
  text = "changed";
  EXPECT_EQ(tokeniser.NextToken(), "a");
  EXPECT_EQ(tokeniser.NextToken(), "b");
}

TEST(StringTokeniserTest, FlagIsIgnored) {
  StringTokeniser tokeniser(",a", ",", 1);
  EXPECT_EQ(tokeniser.NextToken(), "");
  EXPECT_EQ(tokeniser.NextToken(), "a");
}

}  // namespace
