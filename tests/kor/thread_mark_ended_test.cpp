#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

#include "kor/thread.h"
#include "support/body_thread.h"

namespace {

using namespace std::chrono_literals;

TEST(ThreadMarkEnded, LetsAStarterInAndTheRemainsEndFirst) {
  Gate marked;
  Gate remainsMayEnd;
  std::atomic<int> run = 0;
  std::atomic<bool> remainsEnded = false;
  std::atomic<bool> secondSawEnd = false;
  BodyThread thread([&](BodyThread& self) {
    if (++run == 1) {
      self.MarkEnded();
      marked.Open();
      remainsMayEnd.Wait();
      remainsEnded = true;
    } else {
      secondSawEnd = remainsEnded.load();
    }
  });
  ASSERT_TRUE(thread.Start());
  marked.Wait();
  EXPECT_FALSE(thread.IsThreadRunning());
  EXPECT_FALSE(KorThread::WaitUntilNoneRuns(20)) << "what remains still counts";
  ASSERT_TRUE(thread.Start());
  EXPECT_TRUE(thread.IsThreadRunning());
  EXPECT_EQ(run, 1);
  remainsMayEnd.Open();
  ASSERT_TRUE(KorThread::WaitUntilNoneRuns(10000));
  EXPECT_EQ(run, 2);
  EXPECT_TRUE(secondSawEnd);
}

TEST(ThreadMarkEnded, RemainsMayThemselvesStartTheNextRun) {
  std::atomic<int> runs = 0;
  BodyThread thread([&](BodyThread& self) {
    self.MarkEnded();
    if (++runs < 5) {
      EXPECT_TRUE(self.Start());
    }
  });
  ASSERT_TRUE(thread.Start());
  ASSERT_TRUE(KorThread::WaitUntilNoneRuns(10000));
  EXPECT_EQ(runs, 5);
}

TEST(ThreadMarkEnded, TheRemainsAreNotTakenForTheNextRun) {
  Gate marked;
  Gate restarted;
  std::atomic<int> run = 0;
  std::atomic<bool> secondEnded = false;
  BodyThread thread([&](BodyThread& self) {
    if (++run == 1) {
      self.MarkEnded();
      marked.Open();
      restarted.Wait();
      self.MarkEnded();  // about this run, which has been given up already
    } else {
      self.Pause(100);
      secondEnded = true;
    }
  });
  ASSERT_TRUE(thread.Start());
  marked.Wait();
  ASSERT_TRUE(thread.Start());
  restarted.Open();
  std::this_thread::sleep_for(20ms);
  EXPECT_TRUE(thread.IsThreadRunning());
  EXPECT_FALSE(secondEnded);
  ASSERT_TRUE(KorThread::WaitUntilNoneRuns(10000));
  EXPECT_TRUE(secondEnded);
}

TEST(ThreadMarkEnded, TheRemainsKeepTheirOwnCancel) {
  Gate marked;
  Gate restarted;
  std::atomic<int> run = 0;
  std::atomic<bool> remainsAreCancelled = false;
  std::atomic<bool> secondIsCancelled = true;
  BodyThread thread([&](BodyThread& self) {
    if (++run > 1) {
      secondIsCancelled = self.CheckCancelled(false);
      return;
    }
    while (!self.CheckCancelled(false)) std::this_thread::sleep_for(1ms);
    self.MarkEnded();
    marked.Open();
    restarted.Wait();
    remainsAreCancelled = self.CheckCancelled(false);
  });
  ASSERT_TRUE(thread.Start());
  EXPECT_FALSE(thread.Cancel(20, false));
  marked.Wait();
  ASSERT_TRUE(thread.Start());
  restarted.Open();
  ASSERT_TRUE(KorThread::WaitUntilNoneRuns(10000));
  EXPECT_TRUE(remainsAreCancelled);
  EXPECT_FALSE(secondIsCancelled);
}

TEST(ThreadMarkEnded, CancelWaitsForTheRemains) {
  Gate marked;
  std::atomic<bool> over = false;
  BodyThread thread([&](BodyThread& self) {
    self.MarkEnded();
    marked.Open();
    std::this_thread::sleep_for(50ms);
    over = true;
  });
  ASSERT_TRUE(thread.Start());
  marked.Wait();
  EXPECT_TRUE(thread.Cancel(10000, false));
  EXPECT_TRUE(over);
}

TEST(ThreadMarkEnded, CancelByForceReachesTheRemainsBeforeAWaitingRun) {
  Gate marked;
  std::atomic<int> run = 0;
  BodyThread thread([&](BodyThread& self) {
    const bool first = ++run == 1;
    if (first) {
      self.MarkEnded();
      marked.Open();
    }
    for (;;) self.Pause(1000);
  });
  ASSERT_TRUE(thread.Start());
  marked.Wait();
  ASSERT_TRUE(thread.Start());
  EXPECT_TRUE(thread.Cancel(500, true));
  EXPECT_FALSE(thread.IsThreadRunning());
}

}  // namespace
