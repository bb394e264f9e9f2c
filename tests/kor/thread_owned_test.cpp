#include "kor/thread_owned.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace {

std::atomic<int> alive = 0;

struct Counted {
  Counted() { ++alive; }
  ~Counted() { --alive; }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
};

TEST(ThreadOwned, EachThreadHasItsOwnUntilItEnds) {
  static KorThreadOwned<Counted> owned;
  Counted* const ofThisThread = &owned.OfThisThread();
  Counted* ofOther = nullptr;
  bool isKept = false;
  int aliveBesides = 0;

  std::thread([&] {
    ofOther = &owned.OfThisThread();
    isKept = ofOther == &owned.OfThisThread();
    aliveBesides = alive;
  }).join();

  EXPECT_NE(ofThisThread, ofOther);
  EXPECT_TRUE(isKept);
  EXPECT_EQ(2, aliveBesides);
  EXPECT_EQ(1, alive);
  EXPECT_EQ(ofThisThread, &owned.OfThisThread());
}

}  // namespace
