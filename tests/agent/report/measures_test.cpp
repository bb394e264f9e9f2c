#include "agent/report/measures.h"

#include <gtest/gtest.h>

namespace {

using namespace agent;  // NOLINT(google-build-using-namespace): all of it is under test

TEST(ReportMeasures, SizesHaveThreeDigits) {
  EXPECT_EQ("0 MB", DiskSizeText(0));
  EXPECT_EQ("999 MB", DiskSizeText(999));
  EXPECT_EQ("1.0 GB", DiskSizeText(1000));
  EXPECT_EQ("20.2 GB", DiskSizeText(20158));
  EXPECT_EQ("977 GB", DiskSizeText(976762));
  EXPECT_EQ("2.0 TB", DiskSizeText(2000398));
  EXPECT_EQ("1000 PB", DiskSizeText(1'000'000'000'000));
}

TEST(ReportMeasures, MemoryIsCountedInPowersOfTwo) {
  EXPECT_EQ("1023 MiB", MemorySizeText(1023));
  EXPECT_EQ("1.0 GiB", MemorySizeText(1024));
  EXPECT_EQ("15.6 GiB", MemorySizeText(15947));
  EXPECT_EQ("6.0 TiB", MemorySizeText(6ULL << 20U));
}

TEST(ReportMeasures, DurationsHaveTheirTwoLargestParts) {
  EXPECT_EQ("0 minutes", DurationText(59));
  EXPECT_EQ("1 hour 1 minute", DurationText(3660));
  EXPECT_EQ("4 days 2 hours", DurationText(354871));
}

TEST(ReportMeasures, OnlyAWholeNumberIsOne) {
  EXPECT_EQ(12U, WholeNumber(" 12 "));
  EXPECT_FALSE(WholeNumber(""));
  EXPECT_FALSE(WholeNumber("12 kB"));
  EXPECT_FALSE(WholeNumber("-1"));
  EXPECT_FALSE(WholeNumber("99999999999999999999"));
}

TEST(ReportMeasures, NumbersMayHaveASignAndAPoint) {
  for (const char* text : {"7", "-7", "+7", "2394.230", " 1 "}) EXPECT_TRUE(IsNumber(text)) << text;
  for (const char* text : {"", "-", ".", "1.", ".5", "1.2.3", "0x7", "1e5", "7 %"}) {
    EXPECT_FALSE(IsNumber(text)) << text;
  }
}

}  // namespace
