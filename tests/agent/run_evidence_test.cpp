#include "agent/run_evidence.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <thread>

#include "kor/xml_sax_parser.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

using agent::Home;
using agent::ReadKeptRun;
using agent::RunEvidence;

class EchoMachine : public KorMachine {
 public:
  EchoMachine() : before(SetCurrent(this)) {}
  ~EchoMachine() override { SetCurrent(before); }
  KorCommandResult RunCommand(const KorString& command) override {
    return {KorCommandResult::Outcome::kExited, 0, command.Str() + "\n"};
  }
  bool FileExists(const KorString&) override { return true; }
  KorString HostName() override { return "host"; }
  KorString DistributionName() override { return "distribution"; }

 private:
  KorMachine* before;
};

class KeptRuns : public testing::Test {
 protected:
  KeptRuns() { mkdir(folder.Path("data").CStr(), 0750); }

  // A whole run that asks one thing.
  void Run(const KorString& command) const {
    KorMachine& machine = KorMachine::Current();
    machine.RunBegins(rules);
    machine.RunCommand(command);
    machine.RunIsStored();
  }

  KorRecording Kept() const {
    KorRecording recording;
    KorString error;
    EXPECT_TRUE(recording.Load(file, error)) << error.CStr();
    return recording;
  }

  const TemporaryFolder folder;
  const Home home{folder.Path()};
  const KorString file = folder.Path("data/kor-agent-last-run.machine");
  const KorString rules = folder.Write("rules.xml", "<rules/>");
  const EchoMachine echo;
};

TEST_F(KeptRuns, HoldWhatTheRunAskedAndItsRules) {
  RunEvidence evidence(home, true);
  KorMachine& machine = KorMachine::Current();
  machine.RunBegins(rules);
  EXPECT_EQ(machine.RunCommand("a").output, "a\n");
  EXPECT_TRUE(machine.FileExists("/b"));
  EXPECT_EQ(machine.HostName(), KorString("host"));
  EXPECT_EQ(machine.DistributionName(), KorString("distribution"));
  machine.RunIsStored();

  const KorRecording kept = Kept();
  ASSERT_EQ(kept.runs.size(), 2U);
  EXPECT_EQ(kept.runs[1].command, KorString("a"));
  EXPECT_EQ(kept.runs[1].result.output, "a\n");
  EXPECT_EQ(kept.files.at("/b"), true);
  EXPECT_EQ(kept.hostName, KorString("host"));
  EXPECT_EQ(kept.distributionName, KorString("distribution"));
  const auto read = ReadKeptRun(home);
  ASSERT_TRUE(read.IsOk()) << read.Reason().CStr();
  EXPECT_EQ(read.Value().recordingFile, file);
  EXPECT_EQ(read.Value().translationFile, rules);
  EXPECT_EQ(read.Value().rules, "<rules/>");
}

TEST_F(KeptRuns, AreForTheirOwnerOnly) {
  RunEvidence evidence(home, true);
  Run("a");

  struct stat status = {};
  ASSERT_EQ(stat(file.CStr(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600U);
}

TEST_F(KeptRuns, AreReplacedByTheNextOne) {
  RunEvidence evidence(home, true);
  Run("a");
  Run("b");

  EXPECT_EQ(Kept().runs.size(), 2U);
  EXPECT_EQ(Kept().runs.back().command, KorString("b"));
}

TEST_F(KeptRuns, StayWhenTheNextOneFails) {
  RunEvidence evidence(home, true);
  Run("a");
  KorMachine::Current().RunBegins(rules);
  KorMachine::Current().RunCommand("b");

  EXPECT_EQ(Kept().runs.back().command, KorString("a"));
}

TEST_F(KeptRuns, LeaveOutWhatIsAskedBesideThem) {
  RunEvidence evidence(home, true);
  KorMachine& machine = KorMachine::Current();
  machine.RunCommand("before");
  machine.RunBegins(rules);
  std::thread([&machine] { machine.RunCommand("beside"); }).join();
  machine.RunCommand("within");
  machine.RunIsStored();
  machine.RunCommand("after");

  ASSERT_EQ(Kept().runs.size(), 2U);
  EXPECT_EQ(Kept().runs.back().command, KorString("within"));
}

TEST_F(KeptRuns, AreRemovedWhereNoneAreWanted) {
  {
    RunEvidence evidence(home, true);
    Run("a");
  }
  RunEvidence evidence(home, false);
  Run("b");

  const auto read = ReadKeptRun(home);
  ASSERT_FALSE(read.IsOk());
  EXPECT_NE(read.Reason().Find("run 'kor-agent inventory' once", 0), -1) << read.Reason().CStr();
}

TEST_F(KeptRuns, FollowTheSetting) {
  RunEvidence evidence(home, false);
  Run("a");
  evidence.SetKeeping(true);
  Run("b");

  EXPECT_EQ(Kept().runs.back().command, KorString("b"));
}

TEST_F(KeptRuns, ThatCannotBeWrittenAreSaidInOneLine) {
  const CapturedLog log(KorFrameworkLog());
  RunEvidence evidence(Home{folder.Path("nowhere")}, true);
  Run("a");

  EXPECT_NE(log.Text().find("cannot be kept for 'kor-agent explain'"), std::string::npos)
      << log.Text();
}

TEST_F(KeptRuns, DoWithoutRulesThatAreTooLarge) {
  std::filesystem::resize_file(rules.Str(), kXmlSizeLimit + 1);
  const CapturedLog log(KorFrameworkLog());
  RunEvidence evidence(home, true);
  Run("a");

  EXPECT_EQ(log.Text(),
            "warning: The rules of the run cannot be kept for 'kor-agent explain': it is larger "
            "than 268435456 bytes\n");
}

TEST_F(KeptRuns, DamagedOrWithoutRulesAreRefused) {
  folder.Write("data/kor-agent-last-run.machine", "something else\n");
  EXPECT_FALSE(ReadKeptRun(home).IsOk());
  folder.Write("data/kor-agent-last-run.machine", "kor-recording 1\n");
  EXPECT_FALSE(ReadKeptRun(home).IsOk());
}

TEST_F(KeptRuns, GiveTheMachineBack) {
  { const RunEvidence evidence(home, true); }

  EXPECT_EQ(&KorMachine::Current(), &echo);
}

}  // namespace
