#include "agent/transfer_windows.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

using agent::TransferWindows;

// The process is in another time zone while it lives.
class TimeZone {
 public:
  explicit TimeZone(const char* name) {
    if (const char* value = std::getenv("TZ")) before = value;
    setenv("TZ", name, 1);
    tzset();
  }
  ~TimeZone() {
    before.empty() ? unsetenv("TZ") : setenv("TZ", before.c_str(), 1);
    tzset();
  }

 private:
  std::string before;
};

// Without the system's zone files.
constexpr const char* kBerlin = "CET-1CEST,M3.5.0,M10.5.0/3";

time_t Local(int month, int day, int hour, int minute) {
  tm parts = {};
  parts.tm_year = 126;
  parts.tm_mon = month - 1;
  parts.tm_mday = day;
  parts.tm_hour = hour;
  parts.tm_min = minute;
  parts.tm_isdst = -1;
  return mktime(&parts);
}

TEST(TransferWindows, NoneIsAlways) {
  const TransferWindows windows = TransferWindows::Parse(" ").Value();
  EXPECT_TRUE(windows.IsOpen(0));
  EXPECT_EQ(1234567, windows.NextOpening(1234567));
}

TEST(TransferWindows, WindowsMayGoOverMidnightAndBeSeveral) {
  const TimeZone zone("UTC0");
  const TransferWindows windows = TransferWindows::Parse("22:00-06:00, 12:00-13:00").Value();
  EXPECT_TRUE(windows.IsOpen(Local(1, 15, 23, 59)));
  EXPECT_TRUE(windows.IsOpen(Local(1, 15, 5, 59)));
  EXPECT_FALSE(windows.IsOpen(Local(1, 15, 6, 0)));
  EXPECT_TRUE(windows.IsOpen(Local(1, 15, 12, 0)));
  EXPECT_FALSE(windows.IsOpen(Local(1, 15, 13, 0)));
  EXPECT_EQ(Local(1, 15, 12, 0), windows.NextOpening(Local(1, 15, 6, 0) + 17));
  EXPECT_EQ(Local(1, 15, 22, 0), windows.NextOpening(Local(1, 15, 13, 0)));
}

TEST(TransferWindows, EndOfTheDayIsATime) {
  const TimeZone zone("UTC0");
  const TransferWindows windows = TransferWindows::Parse("23:00-24:00").Value();
  EXPECT_TRUE(windows.IsOpen(Local(1, 15, 23, 30)));
  EXPECT_FALSE(windows.IsOpen(Local(1, 15, 0, 0)));
}

TEST(TransferWindows, LocalTimeIsMeantAcrossTheChangeOfClocks) {
  const TimeZone zone(kBerlin);
  const TransferWindows windows = TransferWindows::Parse("04:00-05:00").Value();
  const time_t spring = windows.NextOpening(Local(3, 28, 20, 0));
  EXPECT_EQ(7 * 3600, spring - Local(3, 28, 20, 0));
  const time_t autumn = windows.NextOpening(Local(10, 24, 20, 0));
  EXPECT_EQ(9 * 3600, autumn - Local(10, 24, 20, 0));
}

TEST(TransferWindows, WindowThatTheClocksSkipIsTheNextDays) {
  const TimeZone zone(kBerlin);
  const TransferWindows windows = TransferWindows::Parse("02:10-02:50").Value();
  EXPECT_EQ(Local(3, 30, 2, 10), windows.NextOpening(Local(3, 29, 1, 0)));
}

TEST(TransferWindows, BadTextsAreRefusedWithTheirReason) {
  for (const char* text : {"22:00", "22-06", "25:00-26:00", "10:60-11:00", "24:00-01:00",
                           "10:00-11:00,", "1:00-2:00", "10:00-11:00x"}) {
    EXPECT_FALSE(TransferWindows::Parse(text).IsOk()) << text;
  }
  EXPECT_EQ("the window '10:00-10:00' is empty (the whole day is 00:00-24:00)",
            TransferWindows::Parse("10:00-10:00").Reason());
  EXPECT_EQ("'nonsense' is not a window such as 22:00-06:00",
            TransferWindows::Parse("nonsense").Reason());
}

}  // namespace
