#include "kor/processor_time.h"

#include <gtest/gtest.h>

#include <thread>

TEST(ProcessorTime, GrowsWithTheWorkOfTheThread) {
  const uint64_t start = KorProcessorMicroseconds();
  while (KorProcessorMicroseconds() < start + 2'000) {
  }
  EXPECT_GE(KorProcessorMicroseconds(), start + 2'000);
}

TEST(ProcessorTime, IsThatOfTheCallingThread) {
  const uint64_t start = KorProcessorMicroseconds();
  while (KorProcessorMicroseconds() < start + 20'000) {
  }
  uint64_t other = start + 20'000;
  std::thread([&other] { other = KorProcessorMicroseconds(); }).join();
  EXPECT_LT(other, start + 20'000);
}

TEST(Tick, PassesAtFirstThenNowAndThen) {
  KorTick tick;
  EXPECT_TRUE(tick.HasPassed());
  int stayed = 0;
  while (!tick.HasPassed()) ++stayed;
  while (!tick.HasPassed()) ++stayed;
  EXPECT_GT(stayed, 0);
}
