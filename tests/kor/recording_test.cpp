#include "kor/recording.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "kor/command.h"
#include "support/temporary_folder.h"

namespace {

using namespace std::string_literals;
using Outcome = KorCommandResult::Outcome;

KorCommandResult Exit(int status, std::string output) {
  return {Outcome::kExited, status, std::move(output)};
}

// Answers a list of results in turn.
class ScriptedMachine : public KorMachine {
 public:
  explicit ScriptedMachine(std::vector<KorCommandResult> scriptedResults)
      : results(std::move(scriptedResults)) {}
  KorCommandResult RunCommand(const KorString&) override { return results.at(next++); }
  bool FileExists(const KorString& path) override { return path.StartsWith("/yes", true); }
  KorString HostName() override { return "some host"; }
  KorString DistributionName() override { return "Some Linux"; }

 private:
  std::vector<KorCommandResult> results;
  size_t next = 0;
};

KorString ParseError(const std::string& text) {
  KorRecording recording;
  KorString error;
  return recording.Parse(text, error) ? KorString("no error") : error;
}

TEST(RecordingFormat, IsOneReadableText) {
  KorRecording recording;
  recording.hostName = "host1";
  recording.distributionName = "Debian GNU/Linux 12 (bookworm)";
  recording.files = {{"/proc/cpuinfo", true}, {"/etc/X11/xorg.conf", false}};
  recording.runs = {{"cat /proc/uptime", Exit(0, "354871.53 1401231.10\n")},
                    {"printf 'a\\nb\\tc'", Exit(3, "a\n\tb\t c")},
                    {"", {Outcome::kKilled, 9, "\n"}},
                    {"x", {Outcome::kStatusLost, 0, ""}},
                    {"y", {Outcome::kNotStarted, 0, ""}},
                    {"yes", {Outcome::kTooLong, 0, "y\ny"}}};
  EXPECT_EQ(recording.Format(),
            "kor-recording 1\n"
            "host host1\n"
            "distribution Debian GNU/Linux 12 (bookworm)\n"
            "missing /etc/X11/xorg.conf\n"
            "exists /proc/cpuinfo\n"
            "\n"
            "command cat /proc/uptime\n"
            "exit 0\n"
            "|354871.53 1401231.10\n"
            "\n"
            "command printf 'a\\\\nb\\\\tc'\n"
            "exit 3\n"
            "|a\n"
            "~\tb\t c\n"
            "\n"
            "command\n"
            "killed 9\n"
            "|\n"
            "\n"
            "command x\n"
            "status-lost\n"
            "\n"
            "command y\n"
            "not-started\n"
            "\n"
            "command yes\n"
            "too-long\n"
            "|y\n"
            "~y\n");
}

TEST(RecordingFormat, OutputCanNeitherForgeARecordNorHideBlanks) {
  KorRecording recording;
  recording.runs = {{"a\ncommand b ", Exit(0, "command c\nexit 0\r\n \n\t\n\x1b\x80\xff\0"s)}};
  EXPECT_EQ(recording.Format(),
            "kor-recording 1\n"
            "\n"
            "command a\\x0acommand b\\x20\n"
            "exit 0\n"
            "|command c\n"
            "|exit 0\\x0d\n"
            "|\\x20\n"
            "|\\x09\n"
            "~\\x1b\\x80\\xff\\x00\n");
}

TEST(RecordingFormat, CommentsAndEmptyLinesAreIgnored) {
  KorRecording recording;
  KorString error;
  ASSERT_TRUE(
      recording.Parse("kor-recording 1\n# by hand\n\ncommand a\nexit 1\n| x \n\n#end\n"
                      "exists /a b\n",
                      error))
      << error.CStr();
  KorRecording expected;
  expected.runs = {{"a", Exit(1, " x \n")}};
  expected.files = {{"/a b", true}};
  EXPECT_EQ(recording, expected);
}

TEST(RecordingFormat, WhatIsNotUnderstoodIsRefusedWithItsLine) {
  const std::string head = "kor-recording 1\n";
  const std::pair<std::string, const char*> cases[] = {
      {"", "1: not a recording of this format"},
      {"kor-recording 2\n", "1: not a recording of this format"},
      {"kor-recording 1", "1: not a recording of this format"},
      {head + "host a", "2: a line without its end"},
      {head + "\nhostname a\n", "3: an unknown kind of line"},
      {head + " host a\n", "2: an unknown kind of line"},
      {head + "host a\nhost a\n", "3: a name for the second time"},
      {head + "distribution a\ndistribution b\n", "3: a name for the second time"},
      {head + "exists /a\nmissing /a\n", "3: a file for the second time"},
      {head + "command a\n", "2: a command without its outcome"},
      {head + "command a\n\nexit 0\n", "3: not the outcome of a command"},
      {head + "command a\nexit\n", "3: not the outcome of a command"},
      {head + "command a\nexit 256\n", "3: not the outcome of a command"},
      {head + "command a\nexit -1\n", "3: not the outcome of a command"},
      {head + "command a\nexit 1 \n", "3: not the outcome of a command"},
      {head + "command a\nkilled 0\n", "3: not the outcome of a command"},
      {head + "command a\ntoo-long 1\n", "3: not the outcome of a command"},
      {head + "|a\n", "2: a line of output without a command, or after its last line"},
      {head + "command a\nexit 0\n~a\n|b\n",
       "5: a line of output without a command, or after its last line"},
      {head + "command a\nexit 0\n\n|b\n",
       "5: a line of output without a command, or after its last line"},
      {head + "command a\nexit 0\n~\n", "4: a last line of output that is empty"},
      {head + "host a\r\n", "2: a character that must be written as \\xHH"},
      {head + "host \xc3\xa9\n", "2: a character that must be written as \\xHH"},
      {head + "host \\n\n", "2: a backslash that begins neither \\\\ nor \\xHH"},
      {head + "host \\x1\n", "2: a backslash that begins neither \\\\ nor \\xHH"},
      {head + "host \\x-1\n", "2: a backslash that begins neither \\\\ nor \\xHH"},
      {head + "host a\\\n", "2: a backslash that begins neither \\\\ nor \\xHH"},
  };
  for (const auto& [text, error] : cases) EXPECT_EQ(ParseError(text), error) << text;
}

TEST(RecordingFormat, ARefusedTextChangesNothing) {
  KorRecording recording;
  recording.hostName = "before";
  const KorRecording before = recording;
  KorString error;
  EXPECT_FALSE(recording.Parse("kor-recording 1\nhost after\nnonsense\n", error));
  EXPECT_EQ(recording, before);
}

class RandomRecording {
 public:
  explicit RandomRecording(unsigned seed) : random(seed) {}

  KorRecording Make() {
    KorRecording recording;
    if (Below(2) == 0) recording.hostName = Text();
    if (Below(2) == 0) recording.distributionName = Text();
    for (unsigned count = Below(4); count > 0; --count) recording.files[Text()] = Below(2) == 0;
    std::vector<KorString> commands;
    for (int count = 0; count < 3; ++count) commands.push_back(Text());
    for (unsigned count = Below(8); count > 0; --count) {
      recording.runs.push_back({commands[Below(3)], Result()});
    }
    recording.DropTrailingRepeats();
    return recording;
  }

 private:
  unsigned Below(unsigned limit) { return static_cast<unsigned>(random() % limit); }

  KorString Text() {
    // Half of the texts are made of what the format itself uses.
    static const std::string kSpecial = "\n\r\t \\x0|~#ab";
    const bool special = Below(2) == 0;
    std::string text;
    for (unsigned length = Below(30); length > 0; --length) {
      text += special ? kSpecial[Below(static_cast<unsigned>(kSpecial.size()))]
                      : static_cast<char>(Below(256));
    }
    return KorString(std::move(text));
  }

  KorCommandResult Result() {
    const auto outcome = static_cast<Outcome>(Below(5));
    const unsigned status = outcome == Outcome::kExited   ? Below(256)
                            : outcome == Outcome::kKilled ? 1 + Below(64)
                                                          : 0;
    // Few different ones, so that results repeat.
    return {outcome, static_cast<int>(status), Below(2) == 0 ? "a\n" : Text().Str()};
  }

  std::mt19937 random;
};

TEST(RecordingFormat, EveryRecordingComesBackAsItWas) {
  const unsigned seed = std::random_device()();
  SCOPED_TRACE("seed " + std::to_string(seed));
  RandomRecording random(seed);
  for (int round = 0; round < 2000; ++round) {
    const KorRecording recording = random.Make();
    const std::string text = recording.Format();
    KorRecording again;
    KorString error;
    ASSERT_TRUE(again.Parse(text, error)) << error.CStr() << "\n" << text;
    ASSERT_EQ(again, recording) << text;
    ASSERT_EQ(again.Format(), text);
  }
}

TEST(RecordingFormat, EveryByteComesBackInEveryPlace) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::string text(1, static_cast<char>(byte));
    KorRecording recording;
    recording.hostName = KorString(text);
    recording.distributionName = KorString(text + "x" + text);
    recording.files[KorString(text)] = true;
    recording.runs = {{KorString(text), Exit(0, text)}, {KorString(text), Exit(0, text + text)}};
    KorRecording again;
    KorString error;
    ASSERT_TRUE(again.Parse(recording.Format(), error)) << byte;
    EXPECT_EQ(again, recording) << byte;
  }
}

TEST(RecordingFile, SavesAndLoads) {
  const TemporaryFolder folder;
  const KorString path = folder.Path("a.machine");
  KorRecording recording;
  recording.runs = {{"a", Exit(0, "b\n")}};
  KorString error;
  ASSERT_TRUE(recording.Save(path, error)) << error.CStr();
  EXPECT_EQ(folder.Read("a.machine"), recording.Format());
  KorRecording again;
  ASSERT_TRUE(again.Load(path, error)) << error.CStr();
  EXPECT_EQ(again, recording);
}

TEST(RecordingFile, ErrorsNameFileLineAndReason) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("a.machine", "kor-recording 1\nwhat\n");
  KorRecording recording;
  KorString error;
  EXPECT_FALSE(recording.Load(path, error));
  EXPECT_EQ(error, path + ":2: an unknown kind of line");
  EXPECT_FALSE(recording.Load(folder.Path("none"), error));
  EXPECT_EQ(error, folder.Path("none") + ": No such file or directory");
  EXPECT_FALSE(recording.Save(folder.Path("none/b"), error));
  EXPECT_TRUE(error.StartsWith(folder.Path("none/b"), true)) << error.CStr();
}

TEST(RecordingFile, IsRefusedAboveItsLimit) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("big", "kor-recording 1\n");
  std::filesystem::resize_file(path.Str(), (uintmax_t{256} << 20U) + 1);
  KorRecording recording;
  KorString error;
  EXPECT_FALSE(recording.Load(path, error));
  EXPECT_EQ(error, path + ": larger than a recording may be");
}

TEST(RecordingRepeats, OnlyThoseAtTheEndOfACommandGo) {
  KorRecording recording;
  recording.runs = {{"a", Exit(0, "1")}, {"a", Exit(0, "1")}, {"b", Exit(0, "1")},
                    {"a", Exit(0, "2")}, {"b", Exit(0, "1")}, {"a", Exit(0, "2")},
                    {"a", Exit(0, "2")}, {"c", Exit(0, "")},  {"b", Exit(1, "1")}};
  recording.DropTrailingRepeats();
  const std::vector<KorRecording::Run> expected = {
      {"a", Exit(0, "1")}, {"a", Exit(0, "1")}, {"b", Exit(0, "1")}, {"a", Exit(0, "2")},
      {"b", Exit(0, "1")}, {"c", Exit(0, "")},  {"b", Exit(1, "1")}};
  EXPECT_EQ(recording.runs, expected);
}

TEST(RecordingRepeats, AreNotWritten) {
  KorRecording recording;
  recording.runs = {{"a", Exit(0, "1")}, {"a", Exit(0, "1")}};
  EXPECT_EQ(recording.Format(), "kor-recording 1\n\ncommand a\nexit 0\n~1\n");
}

TEST(RecordingMachine, NotesWhatPassesThroughIt) {
  ScriptedMachine inner({Exit(0, "1\n"), Exit(1, "")});
  KorRecordingMachine machine(inner);
  EXPECT_EQ(machine.RunCommand("first"), Exit(0, "1\n"));
  EXPECT_EQ(machine.RunCommand("second"), Exit(1, ""));
  EXPECT_TRUE(machine.FileExists("/yes"));
  EXPECT_FALSE(machine.FileExists("/no"));
  EXPECT_EQ(machine.HostName(), "some host");
  EXPECT_EQ(machine.DistributionName(), "Some Linux");
  KorRecording expected;
  expected.runs = {{"first", Exit(0, "1\n")}, {"second", Exit(1, "")}};
  expected.files = {{"/yes", true}, {"/no", false}};
  expected.hostName = "some host";
  expected.distributionName = "Some Linux";
  EXPECT_EQ(machine.Recording(), expected);
}

TEST(RecordingMachine, TakesCallsFromSeveralThreads) {
  class Echo : public ScriptedMachine {
   public:
    Echo() : ScriptedMachine({}) {}
    KorCommandResult RunCommand(const KorString& command) override {
      return Exit(0, command.Str());
    }
  };
  Echo inner;
  KorRecordingMachine machine(inner);
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&machine, thread] {
      for (int index = 0; index < 100; ++index) {
        machine.RunCommand(KorString(std::to_string(thread)));
        machine.FileExists(KorString(std::to_string(index)));
        machine.Recording();
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  const KorRecording recording = machine.Recording();
  EXPECT_EQ(recording.runs.size(), 400U);
  EXPECT_EQ(recording.files.size(), 100U);
  for (const auto& run : recording.runs) EXPECT_EQ(run.result.output, run.command.Str());
}

TEST(ReplayMachine, GivesTheResultsInTurnAndRepeatsTheLast) {
  KorRecording recording;
  recording.runs = {{"a", Exit(0, "1")}, {"b", Exit(0, "x")}, {"a", Exit(2, "2")}};
  KorReplayMachine machine(recording);
  EXPECT_EQ(machine.RunCommand("a"), Exit(0, "1"));
  EXPECT_EQ(machine.RunCommand("a"), Exit(2, "2"));
  EXPECT_EQ(machine.RunCommand("a"), Exit(2, "2"));
  EXPECT_EQ(machine.RunCommand("b"), Exit(0, "x"));
  EXPECT_EQ(machine.RunCommand("b"), Exit(0, "x"));
  EXPECT_TRUE(machine.Missing().empty());
}

TEST(ReplayMachine, WhatIsMissingFailsAndIsToldOnce) {
  const TemporaryFolder folder;
  const KorString touched = folder.Path("touched");
  KorReplayMachine machine{KorRecording()};
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(machine.RunCommand(KorString("touch ") + touched), KorCommandResult());
    EXPECT_FALSE(machine.FileExists("/dev/null"));
    EXPECT_EQ(machine.HostName(), "");
    EXPECT_EQ(machine.DistributionName(), "");
  }
  EXPECT_EQ(folder.CountEntries(), 0U) << "nothing is ever run";
  EXPECT_EQ(machine.Missing(), (std::vector<KorString>{KorString("command touch ") + touched,
                                                       "file /dev/null", "host", "distribution"}));
}

TEST(ReplayMachine, AnswersNamesAndFiles) {
  KorRecording recording;
  recording.files = {{"/none", true}, {"/dev/null", false}};
  recording.hostName = "recorded";
  recording.distributionName = "Recorded Linux";
  KorReplayMachine machine(recording);
  EXPECT_TRUE(machine.FileExists("/none"));
  EXPECT_FALSE(machine.FileExists("/dev/null"));
  EXPECT_EQ(machine.HostName(), "recorded");
  EXPECT_EQ(machine.DistributionName(), "Recorded Linux");
  EXPECT_TRUE(machine.Missing().empty());
}

TEST(ReplayMachine, GivesWhatTheLiveMachineGave) {
  KorLiveMachine live;
  KorRecordingMachine recorder(live);
  const KorString commands[] = {"printf 'a\\r\\n b \\000'", "exit 4", "/nonexistent", "kill $$"};
  for (const KorString& command : commands) recorder.RunCommand(command);
  KorRecording loaded;
  KorString error;
  ASSERT_TRUE(loaded.Parse(recorder.Recording().Format(), error)) << error.CStr();
  KorReplayMachine replay(loaded);
  for (const KorString& command : commands) {
    EXPECT_EQ(replay.RunCommand(command), live.RunCommand(command)) << command.CStr();
  }
}

}  // namespace
