// The upload timer over a week that takes seconds, with a time of day that people change.

#include <gtest/gtest.h>
#include <time.h>

#include <atomic>
#include <chrono>
#include <filesystem>

#include "soak_home.h"
#include "support/simulated_clock.h"
#include "support/temporary_folder.h"

namespace {

constexpr time_t kMonday = 1'800'000'000;

std::atomic<time_t> timeOfDay = kMonday;

}  // namespace

// Stands before the system's for all of the process: the module asks for the time of day with it.
extern "C" time_t time(time_t* out) noexcept {
  const time_t now = timeOfDay;
  if (out != nullptr) *out = now;
  return now;
}

namespace {

using std::chrono::hours;

class UploadWeek : public testing::Test {
 protected:
  UploadWeek() {
    home.Host().Activate();
    // The first inventory, which would come after 100 s of another clock.
    home.Host().CancelRuns();
  }

  // An inventory, and the time up to the next tick; the number of uploads that it brought.
  size_t UploadsOfNextInterval() {
    home.Run(false);
    clock.Advance(hours(6) - std::chrono::seconds(1));
    const size_t early = home.TakeDelivered();
    clock.Advance(std::chrono::seconds(1));
    timeOfDay += 6 * 3600;
    clock.NextTick();
    return early == 0 ? home.TakeDelivered() : 0;
  }

  const TemporaryFolder folder;
  SoakHome home{folder.Path().Str(),
                KOR_MODULE_FILE,
                {KOR_SOURCE_DIR "/tests/machines/classic_server.machine",
                 KOR_SOURCE_DIR "/tests/machines/modern_nvme.machine"},
                "UploadInterval = 21600\nUploadOnStartup = no\n"};
  SimulatedClock clock;
};

TEST_F(UploadWeek, EachTickUploadsOnceWhateverTheTimeOfDayDoes) {
  for (int interval = 0; interval < 28; ++interval) {
    if (interval == 9) timeOfDay -= 2 * 24 * 3600;
    if (interval == 18) timeOfDay += 3 * 24 * 3600;
    EXPECT_EQ(1U, UploadsOfNextInterval()) << "interval " << interval;
  }
  EXPECT_EQ(clock.Now() + hours(6), clock.NextTick());
}

}  // namespace
