#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "kor/command.h"
#include "kor/machine.h"
#include "kor/thread.h"
#include "support/temporary_folder.h"

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using Outcome = KorCommandResult::Outcome;
using Clock = std::chrono::steady_clock;

KorCommandResult ResultOf(const std::string& command) {
  KorLiveMachine machine;
  return machine.RunCommand(KorString(command));
}

std::string OutputOf(const std::string& command) {
  return ResultOf(command).output;
}

// Sets an environment variable for the length of a test.
class ScopedVariable {
 public:
  ScopedVariable(const char* variable, const char* value) : name(variable) {
    const char* const before = getenv(variable);
    hadOld = before != nullptr;
    if (hadOld) old = before;
    setenv(variable, value, 1);
  }
  ~ScopedVariable() {
    if (hadOld) {
      setenv(name, old.c_str(), 1);
    } else {
      unsetenv(name);
    }
  }

 private:
  const char* name;
  std::string old;
  bool hadOld = false;
};

TEST(LiveMachineCommand, GivesStatusAndOutput) {
  const KorCommandResult result = ResultOf("printf 'a\\n\\000b'; exit 3");
  EXPECT_EQ(result.outcome, Outcome::kExited);
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.output, "a\n\0b"s);
}

TEST(LiveMachineCommand, TheShellInterpretsTheWholeLine) {
  EXPECT_EQ(OutputOf("X=\"a  b\"; echo \"$X\" | tr a \"`echo c`\"; echo 'it''s'; echo \\$X"),
            "c  b\nits\n$X\n");
}

TEST(LiveMachineCommand, EnvironmentIsOursAlone) {
  const ScopedVariable language("LC_ALL", "fr_FR.UTF-8");
  const ScopedVariable preload("LD_PRELOAD", "/nonexistent/library.so");
  const ScopedVariable blockSize("DF_BLOCK_SIZE", "7");
  const ScopedVariable path("PATH", "/nonexistent");
  const ScopedVariable separators("IFS", "/");
  const ScopedVariable startFile("ENV", "/nonexistent/start");
  const ScopedVariable bashStartFile("BASH_ENV", "/nonexistent/start");
  const ScopedVariable tunables("GLIBC_TUNABLES", "glibc.malloc.check=3");
  const ScopedVariable zone("TZ", "Asia/Tokyo");
  const ScopedVariable numbers("LC_NUMERIC", "de_DE.UTF-8");
  const std::string output =
      OutputOf("env | grep -v -e ^_= -e ^PWD= -e ^OLDPWD= -e ^SHLVL= | sort");
  EXPECT_EQ(output,
            "HOME=/\nLC_ALL=C\n"
            "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin\n");
}

TEST(LiveMachineCommand, ProgramsOfTheCallersPathAreNotRun) {
  const TemporaryFolder folder;
  const KorString fake = folder.Write("df", "#!/bin/sh\necho fake\n");
  ASSERT_EQ(chmod(fake.CStr(), 0700), 0);
  const char* const before = getenv("PATH");
  const ScopedVariable path("PATH", (folder.Path().Str() + ":" + before).c_str());
  const std::string found = OutputOf("command -v df");
  EXPECT_TRUE(found.ends_with("/df\n")) << found;
  EXPECT_FALSE(found.starts_with(folder.Path().Str())) << found;
  EXPECT_NE(OutputOf("df -P /"), "fake\n");
}

TEST(LiveMachineCommand, WorksInTheRootFolder) {
  EXPECT_EQ(OutputOf("pwd"), "/\n");
}

TEST(LiveMachineCommand, StandardInputIsEmpty) {
  EXPECT_EQ(OutputOf("cat; echo end"), "end\n");
}

TEST(LiveMachineCommand, ComplaintsAreDropped) {
  testing::internal::CaptureStderr();
  const std::string output = OutputOf("echo complaint >&2; echo value");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(output, "value\n");
}

TEST(LiveMachineCommand, DescriptorsOfTheHostAreNotInherited) {
  const int inheritable = open("/dev/null", O_RDONLY);
  ASSERT_GE(inheritable, 0);
  const int high = fcntl(inheritable, F_DUPFD, 200);
  // ls has one more for the folder it lists.
  EXPECT_EQ(OutputOf("ls /proc/self/fd"), "0\n1\n2\n3\n");
  close(high);
  close(inheritable);
}

TEST(LiveMachineCommand, WorksInAHostThatClosedItsStandardDescriptors) {
  const int savedInput = dup(STDIN_FILENO);
  close(STDIN_FILENO);
  const std::string output = OutputOf("cat; echo value");
  dup2(savedInput, STDIN_FILENO);
  close(savedInput);
  EXPECT_EQ(output, "value\n");
}

// Counts the processes whose arguments hold the marker; its own pattern does not match itself.
std::string CountArgumentsWith(const std::string& pattern) {
  return "cat /proc/[0-9]*/cmdline | tr '\\000' '\\n' | grep -c '" + pattern + "'";
}

TEST(LiveMachineCommand, TextIsNotInTheArgumentsOfAnyProcess) {
  const std::string output =
      OutputOf(": KorHiddenMarker; " + CountArgumentsWith("KorHidden[M]arker"));
  EXPECT_EQ(output, "0\n");
}

TEST(LiveMachineCommand, AMarkerInTheArgumentsWouldBeFound) {
  const std::string output =
      OutputOf("sh -c 'sleep 1; : KorShownMarker' > /dev/null & sleep 0.2; " +
               CountArgumentsWith("KorShown[M]arker"));
  EXPECT_EQ(output, "1\n");
}

TEST(LiveMachineCommand, PgrepDoesNotFindTheShellThatRunsIt) {
  ASSERT_EQ(ResultOf("command -v pgrep").status, 0) << "procps is missing";
  const KorCommandResult result = ResultOf("pgrep -f KorPgrepMarker");
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(result.status, 1);
}

TEST(LiveMachineCommand, SyntaxErrorsAndUnknownCommandsEndWithTheShellsStatus) {
  EXPECT_EQ(ResultOf("if").output, "");
  EXPECT_NE(ResultOf("if").status, 0);
  EXPECT_EQ(ResultOf("/nonexistent/command").status, 127);
  EXPECT_EQ(ResultOf("/etc/passwd").status, 126);
}

TEST(LiveMachineCommand, SignalsOfCommandAndShellAreTold) {
  const KorCommandResult command = ResultOf("sh -c 'kill -9 $$'; exit $?");
  EXPECT_EQ(command.outcome, Outcome::kExited);
  EXPECT_EQ(command.status, 137);
  const KorCommandResult shell = ResultOf("kill -9 $$");
  EXPECT_EQ(shell.outcome, Outcome::kKilled);
  EXPECT_EQ(shell.status, SIGKILL);
}

TEST(LiveMachineCommand, ATextWithANulByteIsNotRun) {
  KorLiveMachine machine;
  testing::internal::CaptureStderr();
  const KorCommandResult result = machine.RunCommand(KorString("echo a\0b", 8));
  EXPECT_NE(testing::internal::GetCapturedStderr().find("The shell cannot be run"),
            std::string::npos);
  EXPECT_EQ(result, KorCommandResult());
}

TEST(LiveMachineCommand, OutputUpToTheCapIsWhole) {
  const KorCommandResult result = ResultOf("head -c 67108864 /dev/zero");
  EXPECT_EQ(result.outcome, Outcome::kExited);
  EXPECT_EQ(result.output.size(), size_t{64} << 20U);
}

TEST(LiveMachineCommand, OutputPastTheCapIsCutAndTheCommandKilled) {
  const KorCommandResult result = ResultOf("cat /dev/zero");
  EXPECT_EQ(result.outcome, Outcome::kTooLong);
  EXPECT_EQ(result.output.size(), size_t{64} << 20U);
}

TEST(LiveMachineCommand, AddressSpaceOfItsProcessesIsTwoGibibytes) {
  EXPECT_EQ(OutputOf("ulimit -S -v; ulimit -H -v"), "2097152\n2097152\n");
}

TEST(LiveMachineCommand, ProcessThatWantsMoreMemoryFailsByItself) {
  EXPECT_EQ(ResultOf("dd if=/dev/null bs=1G count=1").status, 0);
  EXPECT_EQ(ResultOf("dd if=/dev/null bs=3G count=1").status, 1);
}

TEST(LiveMachineCommand, WaitsForWhatTheBackgroundStillPrints) {
  EXPECT_EQ(OutputOf("(sleep 0.2; echo late) & echo early"), "early\nlate\n");
}

TEST(LiveMachineCommand, WaitsForAShellThatClosedItsOutput) {
  const KorCommandResult result = ResultOf("echo a; exec > /dev/null; sleep 0.2; exit 5");
  EXPECT_EQ(result.output, "a\n");
  EXPECT_EQ(result.status, 5);
}

TEST(LiveMachineCommand, IgnoredAndBlockedSignalsActAsUsualInTheCommand) {
  const auto previous = signal(SIGPIPE, SIG_IGN);
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGPIPE);
  sigaddset(&blocked, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  const KorCommandResult result = ResultOf("grep -e SigBlk -e SigIgn /proc/self/status");
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  signal(SIGPIPE, previous);
  const size_t ignored = result.output.find("SigIgn:");
  ASSERT_NE(ignored, std::string::npos);
  EXPECT_EQ(result.output.substr(0, ignored), "SigBlk:\t0000000000000000\n");
  // The system's library keeps two real-time signals (32, 33) for itself.
  const uint64_t signals = std::stoull(result.output.substr(ignored + 7), nullptr, 16);
  EXPECT_EQ(signals & 0x7fffffffU, 0U);
}

TEST(LiveMachineCommand, WithoutChildStatusesTheStatusIsLost) {
  const auto previous = signal(SIGCHLD, SIG_IGN);
  const KorCommandResult result = ResultOf("echo a; exit 1");
  signal(SIGCHLD, previous);
  EXPECT_EQ(result.outcome, Outcome::kStatusLost);
  EXPECT_EQ(result.output, "a\n");
}

TEST(LiveMachineCommand, EightAtOnceKeepTheirOutputsApart) {
  std::vector<std::string> outputs(8);
  std::vector<std::thread> threads;
  for (size_t index = 0; index < outputs.size(); ++index) {
    threads.emplace_back([&outputs, index] {
      for (int round = 0; round < 5; ++round) {
        outputs[index] += OutputOf("echo " + std::to_string(index) + "; seq 1 2000 | wc -l");
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (size_t index = 0; index < outputs.size(); ++index) {
    std::string expected;
    for (int round = 0; round < 5; ++round) expected += std::to_string(index) + "\n2000\n";
    EXPECT_EQ(outputs[index], expected);
  }
}

// Runs a command on a KorThread and notes how it ended.
class CommandThread : public KorThread {
 public:
  explicit CommandThread(std::string commandLine) : command(std::move(commandLine)) {}
  ~CommandThread() override { Cancel(10000, true); }

  std::atomic<bool> unwound = false;
  std::string output;

 protected:
  void ThreadMain() override {
    SetPriority(20);
    try {
      output = OutputOf(command);
    } catch (const KorThreadCancelled&) {
      unwound = true;
      throw;
    }
  }

 private:
  std::string command;
};

bool WaitForFile(const KorString& path) {
  const auto end = Clock::now() + 10s;
  while (!std::filesystem::exists(path.Str())) {
    if (Clock::now() > end) return false;
    std::this_thread::sleep_for(5ms);
  }
  return true;
}

TEST(LiveMachineCancel, ByForceKillsTheWholeCommandAtOnce) {
  const TemporaryFolder folder;
  const std::string ready = folder.Path("ready").Str();
  const std::string survived = folder.Path("survived").Str();
  CommandThread thread("(sleep 6; touch " + survived + ") & touch " + ready +
                       "; sleep 100 | cat; echo done");
  ASSERT_TRUE(thread.Start());
  ASSERT_TRUE(WaitForFile(KorString(ready)));
  const auto start = Clock::now();
  EXPECT_FALSE(thread.Cancel(50, false));
  EXPECT_TRUE(thread.Cancel(100, true)) << "a command under way must not keep the thread";
  EXPECT_LT(Clock::now() - start, 5s);
  EXPECT_TRUE(thread.unwound);
  std::this_thread::sleep_until(start + 7s);
  EXPECT_FALSE(std::filesystem::exists(survived)) << "the process group must be gone";
}

TEST(LiveMachineCancel, ByForceEndsTheWaitForASilentShellToo) {
  const TemporaryFolder folder;
  const std::string ready = folder.Path("ready").Str();
  CommandThread thread("exec > /dev/null; touch " + ready + "; sleep 100; :");
  ASSERT_TRUE(thread.Start());
  ASSERT_TRUE(WaitForFile(KorString(ready)));
  EXPECT_TRUE(thread.Cancel(200, true));
  EXPECT_TRUE(thread.unwound);
}

TEST(LiveMachineCancel, AfterForceNoFurtherCommandStarts) {
  const TemporaryFolder folder;
  class Stubborn : public KorThread {
   public:
    explicit Stubborn(std::string commandLine) : command(std::move(commandLine)) {}
    ~Stubborn() override { Cancel(10000, true); }

   protected:
    void ThreadMain() override {
      while (!CheckCancelled(false)) std::this_thread::sleep_for(1ms);
      while (!CurrentIsForced()) std::this_thread::sleep_for(1ms);
      ResultOf(command);
    }

   private:
    std::string command;
  };
  const KorString touched = folder.Path("touched");
  Stubborn thread("touch " + touched.Str());
  ASSERT_TRUE(thread.Start());
  EXPECT_TRUE(thread.Cancel(200, true));
  EXPECT_FALSE(std::filesystem::exists(touched.Str()));
}

TEST(LiveMachineCommand, InheritsThePriorityOfItsThread) {
  const int own = getpriority(PRIO_PROCESS, 0);
  CommandThread thread("nice");
  ASSERT_TRUE(thread.Start());
  while (thread.IsThreadRunning()) std::this_thread::sleep_for(1ms);
  ASSERT_TRUE(thread.Cancel(1000, false));
  EXPECT_EQ(thread.output, std::to_string(std::max(own, 10)) + "\n");
  EXPECT_EQ(getpriority(PRIO_PROCESS, 0), own) << "only that thread is below normal";
}

TEST(LiveMachine, TellsWhetherAFileExists) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("a b", "");
  KorLiveMachine machine;
  EXPECT_TRUE(machine.FileExists(path));
  EXPECT_FALSE(machine.FileExists(folder.Path("c")));
}

TEST(LiveMachine, GivesTheHostNameOfTheSystem) {
  KorLiveMachine machine;
  KorString expected(OutputOf("uname -n"));
  expected.Trim();
  EXPECT_EQ(machine.HostName(), expected);
}

TEST(LiveMachine, AlwaysHasADistributionName) {
  KorLiveMachine machine;
  EXPECT_FALSE(machine.DistributionName().IsEmpty());
}

TEST(CommandTimeout, CommandThatTakesLongerIsKilledWithAllThatItStarted) {
  const TemporaryFolder folder;
  KorLiveMachine machine;
  machine.SetTimeout(200);
  const Clock::time_point start = Clock::now();
  const KorCommandResult result = machine.RunCommand("echo begun; (sleep 6; touch " +
                                                     folder.Path("late") + ") & sleep 1000 | cat");
  EXPECT_EQ(Outcome::kKilled, result.outcome);
  EXPECT_EQ(SIGKILL, result.status);
  EXPECT_EQ("begun\n", result.output);
  EXPECT_GE(Clock::now() - start, 200ms);
  EXPECT_LT(Clock::now() - start, 5s);
  std::this_thread::sleep_for(start + 7s - Clock::now());
  EXPECT_FALSE(std::filesystem::exists(folder.Path("late").Str()));
}

TEST(CommandTimeout, CommandThatClosedItsOutputIsBoundedToo) {
  KorLiveMachine machine;
  machine.SetTimeout(200);
  const KorCommandResult result = machine.RunCommand("echo begun; exec >&-; sleep 1000");
  EXPECT_EQ(Outcome::kKilled, result.outcome);
  EXPECT_EQ("begun\n", result.output);
}

TEST(CommandTimeout, CommandThatEndsInTimeIsLeftAlone) {
  KorLiveMachine machine;
  machine.SetTimeout(60'000);
  EXPECT_EQ((KorCommandResult{Outcome::kExited, 3, "done\n"}),
            machine.RunCommand("echo done; exit 3"));
}

TEST(CommandTimeout, ZeroIsWithoutABound) {
  KorLiveMachine machine;
  machine.SetTimeout(1);
  machine.SetTimeout(0);
  EXPECT_EQ((KorCommandResult{Outcome::kExited, 0, "done\n"}),
            machine.RunCommand("sleep 0.3; echo done"));
}

}  // namespace
