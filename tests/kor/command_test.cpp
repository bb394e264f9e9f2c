#include "kor/command.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "kor/debug.h"
#include "kor/thread.h"

namespace {

using namespace std::string_literals;
using Outcome = KorCommandResult::Outcome;

// Gives the same answer to every command line, and is the current machine while it lives.
class FixedMachine : public KorMachine {
 public:
  explicit FixedMachine(KorCommandResult fixedResult)
      : result(std::move(fixedResult)), before(SetCurrent(this)) {}
  ~FixedMachine() override { SetCurrent(before); }

  KorCommandResult RunCommand(const KorString& command) override {
    lastCommand = command;
    return result;
  }
  bool FileExists(const KorString&) override { return false; }
  KorString HostName() override { return {}; }
  KorString DistributionName() override { return {}; }

  KorString lastCommand;

 private:
  KorCommandResult result;
  KorMachine* before;
};

// Keeps expected complaints off the terminal and counts them.
class LogCounter : public KorDebugContext {
 public:
  LogCounter() { KorFrameworkLog().SetContext(this); }
  ~LogCounter() override { KorFrameworkLog().SetContext(nullptr); }
  bool Wants(KorLogLevel) const override { return true; }
  void Write(const KorLogRecord& record) override {
    ++count;
    last = record.text;
  }
  int count = 0;
  std::string last;
};

bool Exited(int status, const std::string& output) {
  return KorCommandSucceeded({Outcome::kExited, status, output});
}

TEST(CommandSucceeded, StatusZeroIsSuccessWithAndWithoutOutput) {
  EXPECT_TRUE(Exited(0, ""));
  EXPECT_TRUE(Exited(0, "a"));
}

TEST(CommandSucceeded, OtherStatusesAreJudgedByTheOutput) {
  for (const int status : {1, 2, 125, 128, 193, 255}) {
    EXPECT_FALSE(Exited(status, "")) << status;
    EXPECT_TRUE(Exited(status, "a")) << status;
  }
}

TEST(CommandSucceeded, ACommandThatCannotBeRunFailsWhateverWasPrinted) {
  EXPECT_FALSE(Exited(126, "a"));
  EXPECT_FALSE(Exited(127, "a"));
}

TEST(CommandSucceeded, TheShellsWordForASignalIsAFailure) {
  for (const int status : {129, 137, 143, 192}) EXPECT_FALSE(Exited(status, "a")) << status;
}

TEST(CommandSucceeded, ALostStatusIsJudgedByTheOutput) {
  EXPECT_TRUE(KorCommandSucceeded({Outcome::kStatusLost, 0, "a"}));
  EXPECT_FALSE(KorCommandSucceeded({Outcome::kStatusLost, 0, ""}));
}

TEST(CommandSucceeded, WhatDidNotEndByItselfFails) {
  EXPECT_FALSE(KorCommandSucceeded({Outcome::kNotStarted, 0, "a"}));
  EXPECT_FALSE(KorCommandSucceeded({Outcome::kTooLong, 0, "a"}));
  EXPECT_FALSE(KorCommandSucceeded({Outcome::kKilled, 9, "a"}));
}

TEST(CommandToStringLineEnd, GoesFromAnOutputOfExactlyOneLine) {
  const std::pair<std::string, std::string> cases[] = {
      {"5.10.0\n", "5.10.0"}, {"a\nb\n", "a\nb\n"}, {"a\n\n", "a\n\n"}, {"\n", ""},
      {"\na\n", "\na\n"},     {"a", "a"},           {"a\r\n", "a\r"},   {"", ""},
      {"a\nb", "a\nb"},       {"\0\n"s, "\0"s},
  };
  for (const auto& [printed, expected] : cases) {
    FixedMachine machine({Outcome::kExited, 0, printed});
    KorString output = "before";
    EXPECT_TRUE(CommandToString("x", output));
    EXPECT_EQ(output, KorString(expected));
  }
}

TEST(CommandToString, PassesTheCommandLineOnAsItIs) {
  FixedMachine machine({Outcome::kExited, 0, ""});
  KorString output;
  CommandToString("  a | b \n", output);
  EXPECT_EQ(machine.lastCommand, "  a | b \n");
}

TEST(CommandToString, FillsTheOutputOfAFailedCommandToo) {
  LogCounter log;
  FixedMachine machine({Outcome::kExited, 127, "part\n"});
  KorString output;
  EXPECT_FALSE(CommandToString("x", output));
  EXPECT_EQ(output, "part");
}

TEST(CommandToString, TellsTheLogAboutEachFailureAndNothingElse) {
  LogCounter log;
  KorString output;
  {
    FixedMachine machine({Outcome::kExited, 1, "a"});
    CommandToString("some command", output);
  }
  EXPECT_EQ(log.count, 0);
  const std::pair<KorCommandResult, std::string> cases[] = {
      {{Outcome::kExited, 127, ""}, "Command 'some command' failed with status 127"},
      {{Outcome::kStatusLost, 0, ""},
       "Command 'some command' printed nothing and its status was lost"},
      {{Outcome::kNotStarted, 0, ""}, "Command 'some command' could not be run"},
      {{Outcome::kTooLong, 0, "a"}, "Command 'some command' printed too much and was stopped"},
      {{Outcome::kKilled, 9, "a"}, "Command 'some command' was killed by signal 9"},
  };
  for (const auto& [result, text] : cases) {
    FixedMachine machine(result);
    CommandToString("some command", output);
    EXPECT_EQ(log.last, text);
  }
  EXPECT_EQ(log.count, 5);
}

TEST(CommandToString, RunsOnTheLiveMachineWhenNoOtherIsSet) {
  ASSERT_EQ(KorMachine::SetCurrent(nullptr), nullptr);
  KorString output;
  EXPECT_TRUE(CommandToString("echo a; exit 1", output));
  EXPECT_EQ(output, "a");
  LogCounter log;
  EXPECT_FALSE(CommandToString("exit 1", output));
  EXPECT_EQ(output, "");
}

TEST(CommandToString, IsLeftByAForcedCancel) {
  struct Notes {
    bool returned = false;
    KorString output = "before";
  } notes;
  KorThread thread;
  ASSERT_TRUE(thread.Start(
      [](void* argument) {
        auto& given = *static_cast<Notes*>(argument);
        CommandToString("echo a; sleep 100", given.output);
        given.returned = true;
      },
      &notes));
  EXPECT_TRUE(thread.Cancel(100, true));
  EXPECT_FALSE(notes.returned);
  EXPECT_EQ(notes.output, "before") << "nothing half-known is handed out";
}

TEST(CurrentMachine, IsTheOneThatWasSetUntilNullGoesBackToTheLiveOne) {
  KorMachine& live = KorMachine::Current();
  KorLiveMachine other;
  EXPECT_EQ(KorMachine::SetCurrent(&other), nullptr);
  EXPECT_EQ(&KorMachine::Current(), &other);
  EXPECT_EQ(KorMachine::SetCurrent(nullptr), &other);
  EXPECT_EQ(&KorMachine::Current(), &live);
}

}  // namespace
