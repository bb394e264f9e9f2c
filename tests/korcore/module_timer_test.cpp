#include "korcore/module_timer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <thread>

#include "korcore/action_db.h"
#include "korcore/host_worker.h"

namespace {

using std::chrono::milliseconds;

constexpr char kModule = 0;

class ModuleTimer : public testing::Test {
 protected:
  ModuleTimer() {
    HostWorkerStart();
    ModuleTimersStart();
    ActionDbRegisterAction(
        "Tick ()",
        [this](KorContainer*) {
          ++ticks;
          return ACTIONDB_ERROR_SUCCESS;
        },
        &kModule);
  }
  ~ModuleTimer() override {
    ModuleTimersStop();
    HostWorkerStop();
    ActionDbDropModule(&kModule);
  }

  std::atomic<int> ticks = 0;
};

TEST_F(ModuleTimer, FirstTickComesOnePeriodFromNow) {
  SetModuleTimerEntry("Timer", "Tick", 1, 0);
  std::this_thread::sleep_for(milliseconds(600));
  EXPECT_EQ(0, ticks);
  std::this_thread::sleep_for(milliseconds(800));
  HostWorkerDrain();
  EXPECT_EQ(1, ticks);
}

TEST_F(ModuleTimer, TicksComeAgainAndAgain) {
  SetModuleTimerEntry("Timer", "Tick", 1, 0);
  std::this_thread::sleep_for(milliseconds(2500));
  HostWorkerDrain();
  EXPECT_EQ(2, ticks);
}

TEST_F(ModuleTimer, PeriodZeroIsOff) {
  SetModuleTimerEntry("Timer", "Tick", 1, 0);
  SetModuleTimerEntry("Timer", "Tick", 0, 0);
  std::this_thread::sleep_for(milliseconds(1300));
  HostWorkerDrain();
  EXPECT_EQ(0, ticks);
  ASSERT_EQ(1U, ModuleTimerEntries().size());
  EXPECT_EQ(0U, ModuleTimerEntries()[0].seconds);
}

TEST_F(ModuleTimer, ReplacedEntryStartsItsPeriodAnew) {
  SetModuleTimerEntry("Timer", "Tick", 1, 0);
  std::this_thread::sleep_for(milliseconds(700));
  SetModuleTimerEntry("Timer", "Tick", 1, 0);
  std::this_thread::sleep_for(milliseconds(700));
  HostWorkerDrain();
  EXPECT_EQ(0, ticks);
  EXPECT_EQ(1U, ModuleTimerEntries().size());
}

TEST_F(ModuleTimer, EntriesStandInTheOrderOfTheirCreation) {
  SetModuleTimerEntry("B", "First", 3600, 0);
  SetModuleTimerEntry("A", "Second", 60, 0);
  SetModuleTimerEntry("B", "Third", 7200, 0);
  const std::vector<ModuleTimerEntry> entries = ModuleTimerEntries();
  ASSERT_EQ(2U, entries.size());
  EXPECT_EQ("B", entries[0].name);
  EXPECT_EQ("Third", entries[0].action);
  EXPECT_EQ(7200U, entries[0].seconds);
  EXPECT_EQ("A", entries[1].name);
}

TEST_F(ModuleTimer, TickIsSkippedWhileItsActionRuns) {
  std::promise<void> mayEnd;
  const std::shared_future<void> end = mayEnd.get_future().share();
  std::atomic<int> calls = 0;
  ActionDbRegisterAction(
      "Slow ()",
      [&calls, end](KorContainer*) {
        ++calls;
        end.wait();
        return ACTIONDB_ERROR_SUCCESS;
      },
      &kModule);
  SetModuleTimerEntry("Timer", "Slow", 1, 0);
  std::this_thread::sleep_for(milliseconds(2500));  // the second tick comes while the first runs

  mayEnd.set_value();
  HostWorkerDrain();

  EXPECT_EQ(1, calls);
}

TEST_F(ModuleTimer, StopForgetsTheEntries) {
  SetModuleTimerEntry("Timer", "Tick", 1, 0);
  ModuleTimersStop();
  EXPECT_TRUE(ModuleTimerEntries().empty());
  ModuleTimersStart();
  std::this_thread::sleep_for(milliseconds(1200));
  HostWorkerDrain();
  EXPECT_EQ(0, ticks);
}

// A tick that is dropped with the worker's queue must not count as under way for ever.
TEST_F(ModuleTimer, DroppedTickDoesNotSilenceTheTimer) {
  std::promise<void> mayEnd;
  const std::shared_future<void> end = mayEnd.get_future().share();
  HostWorkerQueue([end] { end.wait(); });
  SetModuleTimerEntry("Timer", "Tick", 1, 0);
  std::this_thread::sleep_for(milliseconds(1300));  // the tick is queued behind the call
  std::thread stopper([] { HostWorkerStop(); });
  std::this_thread::sleep_for(milliseconds(100));
  mayEnd.set_value();
  stopper.join();
  ASSERT_EQ(0, ticks);

  HostWorkerStart();
  std::this_thread::sleep_for(milliseconds(1000));
  HostWorkerDrain();

  EXPECT_EQ(1, ticks);
}

}  // namespace
