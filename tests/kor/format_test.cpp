#include "kor/format.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

#include "kor/string.h"

namespace {

template <typename... Args>
consteval bool Fits(std::string_view format) {
  return kor_format::Fits(format, {kor_format::KindOf<Args>()...});
}

// What does not fit does not compile: the constructor of KorFormatString asks the same question.
static_assert(Fits<>("plain"));
static_assert(Fits<>("100%%"));
static_assert(Fits<KorString, const char*, int, unsigned int, uint64_t>("%S %s %d %u %gu"));
static_assert(Fits<unsigned long long>("%gu"));
static_assert(Fits<std::string, std::string_view, char[4]>("%s%s%s"));
static_assert(!Fits<>("%S"), "too few arguments");
static_assert(!Fits<int>("plain"), "too many arguments");
static_assert(!Fits<int>("%%"), "a percent sign takes none");
static_assert(!Fits<const char*>("%S"), "a text is no KorString");
static_assert(!Fits<KorString>("%s"), "and the other way round");
static_assert(!Fits<int>("%u"), "a sign would be lost");
static_assert(!Fits<unsigned int>("%d"), "large numbers would turn negative");
static_assert(!Fits<uint64_t>("%u"), "half of the number would be lost");
static_assert(!Fits<unsigned int>("%gu"));
static_assert(!Fits<int, KorString>("%S %d"), "the order counts");
static_assert(!Fits<bool>("%d") && !Fits<char>("%d") && !Fits<long>("%d") && !Fits<double>("%d"));
static_assert(!Fits<int>("%x") && !Fits<int>("%5d") && !Fits<int>("%ld"), "unknown placeholders");
static_assert(!Fits<>("%") && !Fits<>("%g") && !Fits<>("half a % sign"));

TEST(Format, UnsignedNumbersAreBareDecimalDigits) {
  KorString text;
  text.Printf("%gu", uint64_t{2000});
  EXPECT_EQ(text, "2000");
  text.Printf("%u", 3U);
  EXPECT_EQ(text, "3");
  text.Printf("%u %gu", 0U, uint64_t{0});
  EXPECT_EQ(text, "0 0");
}

TEST(Format, NumbersReachTheEndsOfTheirTypes) {
  KorString text;
  text.Printf("%d %d %u %gu", std::numeric_limits<int>::min(), std::numeric_limits<int>::max(),
              std::numeric_limits<unsigned int>::max(), std::numeric_limits<uint64_t>::max());
  EXPECT_EQ(text, "-2147483648 2147483647 4294967295 18446744073709551615");
}

TEST(Format, TextsStandAsTheyAre) {
  KorString text;
  text.Printf("<%S|%s|%s>", KorString("a\0b", 3), std::string_view("%S"), "");
  EXPECT_EQ(text, KorString("<a\0b|%S|>", 9));
}

TEST(Format, NullTextIsEmpty) {
  const char* none = nullptr;
  KorString text;
  text.Printf("<%s>", none);
  EXPECT_EQ(text, "<>");
}

TEST(Format, PercentSignIsDoubled) {
  KorString text;
  text.Printf("%%%u%%S", 50U);
  EXPECT_EQ(text, "%50%S");
}

TEST(Format, ReplacesTheContent) {
  KorString text("before");
  text.Printf("after");
  EXPECT_EQ(text, "after");
}

TEST(Format, StringMayBeItsOwnArgument) {
  KorString text("a long text that does not fit into a small buffer");
  text.Printf("%S, %S", text, text);
  EXPECT_EQ(text,
            "a long text that does not fit into a small buffer, "
            "a long text that does not fit into a small buffer");
}

}  // namespace
