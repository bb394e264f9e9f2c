#include "agent/watched_machine.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "kor/thread.h"
#include "support/captured_log.h"

namespace agent {
namespace {

using namespace std::chrono_literals;

// Its commands last until the test lets them end, or throw.
class SlowMachine : public KorMachine {
 public:
  KorCommandResult RunCommand(const KorString& command) override {
    if (command == "cancelled") throw KorThreadCancelled();
    while (!mayEnd) std::this_thread::sleep_for(1ms);
    return {KorCommandResult::Outcome::kExited, 0, "output of " + command.Str()};
  }
  bool FileExists(const KorString& path) override { return path == "/there"; }
  KorString HostName() override { return "host"; }
  KorString DistributionName() override { return "distribution"; }

  std::atomic<bool> mayEnd = false;
};

size_t CountWarnings(const CapturedLog& log) {
  size_t count = 0;
  for (const CapturedLog::Entry& entry : log.Entries()) {
    count += entry.level == KorLogLevel::kWarning ? 1 : 0;
  }
  return count;
}

// Up to 10 s for that many commands in progress.
bool WaitForCommands(WatchedMachine& machine, size_t count) {
  for (int n = 0; n < 10'000 && machine.Commands().size() != count; ++n) {
    std::this_thread::sleep_for(1ms);
  }
  return machine.Commands().size() == count;
}

TEST(WatchedMachine, HandsOnWhatItIsAsked) {
  SlowMachine slow;
  slow.mayEnd = true;
  WatchedMachine machine(slow);
  EXPECT_EQ("output of x", machine.RunCommand("x").output);
  EXPECT_TRUE(machine.FileExists("/there"));
  EXPECT_FALSE(machine.FileExists("/elsewhere"));
  EXPECT_EQ("host", machine.HostName());
  EXPECT_EQ("distribution", machine.DistributionName());
}

TEST(WatchedMachine, NamesCommandsInProgressWithTheirThreadsAndSinceWhen) {
  SlowMachine slow;
  WatchedMachine machine(slow);
  const auto before = std::chrono::system_clock::now();
  std::thread first([&] { machine.RunCommand("first"); });
  ASSERT_TRUE(WaitForCommands(machine, 1));
  std::thread second([&] { machine.RunCommand("second"); });
  ASSERT_TRUE(WaitForCommands(machine, 2));

  const std::vector<WatchedMachine::Command> commands = machine.Commands();

  EXPECT_EQ("first", commands[0].line);
  EXPECT_EQ("second", commands[1].line);
  EXPECT_EQ(first.get_id(), commands[0].thread);
  EXPECT_GE(commands[0].since, before);
  EXPECT_LE(commands[0].since, std::chrono::system_clock::now());
  EXPECT_GE(commands[0].elapsed, commands[1].elapsed);
  slow.mayEnd = true;
  first.join();
  second.join();
  EXPECT_TRUE(machine.Commands().empty());
}

TEST(WatchedMachine, CommandThatIsEndedByForceIsNotInProgressAnyMore) {
  SlowMachine slow;
  WatchedMachine machine(slow);
  EXPECT_THROW(machine.RunCommand("cancelled"), KorThreadCancelled);
  EXPECT_TRUE(machine.Commands().empty());
}

TEST(WatchedMachine, WarnsOfACommandThatDoesNotEndOnceAndThenEachFurtherWhile) {
  const CapturedLog log(KorFrameworkLog());
  SlowMachine slow;
  WatchedMachine machine(slow, {.first = 50ms, .further = 200ms});
  std::thread thread([&] { machine.RunCommand("df -TP"); });
  ASSERT_TRUE(WaitForCommands(machine, 1));
  std::this_thread::sleep_for(20ms);
  EXPECT_EQ(0U, CountWarnings(log));
  std::this_thread::sleep_for(130ms);
  EXPECT_EQ(1U, CountWarnings(log));
  std::this_thread::sleep_for(200ms);
  EXPECT_EQ(2U, CountWarnings(log));
  slow.mayEnd = true;
  thread.join();
  EXPECT_NE(std::string::npos, log.Text().find("The command 'df -TP' has been in progress for 0 s, "
                                               "since 2"))
      << log.Text();
}

TEST(WatchedMachine, DoesNotWarnOfManyShortCommands) {
  const CapturedLog log(KorFrameworkLog());
  SlowMachine slow;
  slow.mayEnd = true;
  WatchedMachine machine(slow, {.first = 100ms, .further = 100ms});
  const auto end = std::chrono::steady_clock::now() + 300ms;
  while (std::chrono::steady_clock::now() < end) machine.RunCommand("short");
  EXPECT_EQ(0U, CountWarnings(log));
}

// Context switches of the process: a watcher that looked from time to time would show here.
TEST(WatchedMachine, SleepsWhileNoCommandIsInProgress) {
  SlowMachine slow;
  slow.mayEnd = true;
  WatchedMachine machine(slow, {.first = 1ms, .further = 1ms});
  machine.RunCommand("short");
  std::this_thread::sleep_for(50ms);
  rusage before = {};
  getrusage(RUSAGE_SELF, &before);
  std::this_thread::sleep_for(300ms);
  rusage after = {};
  getrusage(RUSAGE_SELF, &after);
  EXPECT_LE(after.ru_nvcsw - before.ru_nvcsw, 20);
}

}  // namespace
}  // namespace agent
