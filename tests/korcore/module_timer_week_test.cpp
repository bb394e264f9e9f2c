// The timers over days, on a clock of their own.

#include <gtest/gtest.h>

#include <chrono>
#include <vector>

#include "korcore/action_db.h"
#include "korcore/module_timer.h"
#include "support/simulated_clock.h"

namespace {

using std::chrono::hours;
using std::chrono::seconds;

constexpr char kModule = 0;
constexpr hours kWeek{7 * 24};

class ModuleTimerWeek : public testing::Test {
 protected:
  ModuleTimerWeek() {
    Register("Hourly ()", hourly);
    Register("Minutely ()", minutely);
  }
  ~ModuleTimerWeek() override { ActionDbDropModule(&kModule); }

  void Register(const char* action, std::vector<seconds>& ticks) {
    ActionDbRegisterAction(
        action,
        [this, &ticks](KorContainer*) {
          ticks.push_back(std::chrono::duration_cast<seconds>(clock.Now() - start));
          return ACTIONDB_ERROR_SUCCESS;
        },
        &kModule);
  }

  std::vector<seconds> hourly;
  std::vector<seconds> minutely;
  SimulatedClock clock;
  const SimulatedClock::Time start = clock.Now();
};

TEST_F(ModuleTimerWeek, NoTickIsSkippedOrDoubled) {
  SetModuleTimerEntry("Hours", "Hourly", 3600, 0);
  SetModuleTimerEntry("Minutes", "Minutely", 60, 0);

  clock.Advance(kWeek);

  ASSERT_EQ(7U * 24, hourly.size());
  for (size_t index = 0; index < hourly.size(); ++index) {
    EXPECT_EQ(seconds(3600 * (index + 1)), hourly[index]);
  }
  ASSERT_EQ(7U * 24 * 60, minutely.size());
  EXPECT_EQ(seconds(kWeek), minutely.back());
}

TEST_F(ModuleTimerWeek, TicksThatWereSleptThroughComeOnceAndLate) {
  SetModuleTimerEntry("Hours", "Hourly", 3600, 0);
  clock.Advance(hours(2));

  clock.Sleep(hours(5) + seconds(10));
  clock.Advance(hours(2));

  const std::vector<seconds> expected = {hours(1), hours(2), hours(7) + seconds(10),
                                         hours(8) + seconds(10), hours(9) + seconds(10)};
  EXPECT_EQ(expected, hourly);
}

}  // namespace
