#include "agent/action_pool.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <set>
#include <stdexcept>
#include <string>

#include "kor/command.h"
#include "support/captured_log.h"

namespace agent {
namespace {

using namespace std::chrono_literals;

template <typename Condition>
bool WaitFor(Condition condition) {
  for (int n = 0; n < 10'000 && !condition(); ++n) std::this_thread::sleep_for(1ms);
  return condition();
}

TEST(ActionPool, RunsNoMoreJobsAtOnceThanItHasThreads) {
  std::atomic<int> now = 0;
  std::atomic<int> most = 0;
  std::atomic<int> done = 0;
  ActionPool pool(3, 100);
  for (int n = 0; n < 30; ++n) {
    ASSERT_TRUE(pool.Submit({"job", [&] {
                               const int running = ++now;
                               int before = most;
                               while (running > before &&
                                      !most.compare_exchange_weak(before, running)) {
                               }
                               std::this_thread::sleep_for(5ms);
                               --now;
                               ++done;
                             }}));
  }
  EXPECT_TRUE(WaitFor([&] { return done == 30; }));
  EXPECT_EQ(3, most);
}

TEST(ActionPool, RefusesWhatDoesNotFitIntoItsQueue) {
  std::atomic<bool> mayEnd = false;
  const auto work = [&mayEnd] {
    while (!mayEnd) std::this_thread::sleep_for(1ms);
  };
  ActionPool pool(1, 2);
  ASSERT_TRUE(pool.Submit({"running", work}));
  ASSERT_TRUE(WaitFor([&] { return pool.CountWaiting() == 0; }));
  EXPECT_TRUE(pool.Submit({"waits", work}));
  EXPECT_TRUE(pool.Submit({"waits", work}));
  EXPECT_FALSE(pool.Submit({"is too much", work}));
  EXPECT_EQ(2U, pool.CountWaiting());
  mayEnd = true;
}

TEST(ActionPool, NamesJobsInProgress) {
  std::atomic<bool> mayEnd = false;
  ActionPool pool(2, 2);
  pool.Submit({"slow", [&mayEnd] {
                 while (!mayEnd) std::this_thread::sleep_for(1ms);
               }});
  ASSERT_TRUE(WaitFor([&] { return pool.InProgress().size() == 1; }));
  EXPECT_EQ("slow", pool.InProgress()[0].name);
  mayEnd = true;
  EXPECT_TRUE(WaitFor([&] { return pool.InProgress().empty(); }));
}

TEST(ActionPool, JobThatThrowsIsReportedAndItsThreadServesOn) {
  const CapturedLog log(KorFrameworkLog());
  std::atomic<bool> served = false;
  ActionPool pool(1, 2);
  pool.Submit({"bad", [] { throw std::runtime_error("no luck"); }});
  pool.Submit({"good", [&served] { served = true; }});
  EXPECT_TRUE(WaitFor([&] { return served.load(); }));
  EXPECT_EQ("error: The action 'bad' failed: no luck\n", log.Text());
}

TEST(ActionPool, StopEndsAJobWhoseCommandHangs) {
  std::atomic<bool> wentOn = false;
  ActionPool pool(1, 4);
  pool.Submit({"hangs", [&wentOn] {
                 KorString output;
                 CommandToString("sleep 1000", output);
                 wentOn = true;
               }});
  pool.Submit({"never runs", [&wentOn] { wentOn = true; }});
  ASSERT_TRUE(WaitFor([&] { return pool.InProgress().size() == 1; }));
  const auto start = std::chrono::steady_clock::now();
  pool.Stop(200);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 100s);
  EXPECT_FALSE(wentOn);
  EXPECT_TRUE(pool.InProgress().empty());
  EXPECT_FALSE(pool.Submit({"late", [] {}}));
}

TEST(ActionPool, LetsGoOfAJobWhenItIsDone) {
  const auto held = std::make_shared<int>(1);
  const std::weak_ptr<int> watch = held;
  ActionPool pool(1, 1);
  {
    std::shared_ptr<int> moved = held;
    pool.Submit({"job", [moved] { EXPECT_EQ(1, *moved); }});
  }
  EXPECT_TRUE(WaitFor([&] { return watch.use_count() == 1; }));
}

}  // namespace
}  // namespace agent
