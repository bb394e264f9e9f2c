#include "korcore/assignment.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "kor/debug.h"
#include "korcore/agent_context.h"
#include "support/temporary_folder.h"

namespace {

// Notes which operations are called.
class NotedAssignment : public KorAssignment {
 public:
  explicit NotedAssignment(std::vector<std::string>& calledOperations, bool failing = false)
      : called(calledOperations), fails(failing) {}

 protected:
  int64_t Assign() override { return Note("assign"); }
  int64_t Advertise() override { return Note("advertise"); }
  int64_t Update() override { return Note("update"); }
  int64_t Delete() override { return Note("delete"); }

 private:
  int64_t Note(const char* which) {
    called.push_back(std::string(which) + " " + GetName().Str() + " " + GetRawString().Str());
    if (fails) SetFailed();
    return 44003;
  }

  std::vector<std::string>& called;
  bool fails;
};

class AssignmentTest : public testing::Test {
 protected:
  AssignmentTest() { KorAgentSetDataDir(folder.Path() + "/"); }
  ~AssignmentTest() override { KorAgentSetDataDir(""); }

  static KorContainer Parameters(const char* name, const char* content) {
    KorContainer parameters;
    parameters.SetString("AssignmentName", name);
    parameters.SetString("AssignmentModule", "HardwareInventory");
    parameters.SetString("AssignmentContent", content);
    return parameters;
  }

  // The code of the operation; -1 when the assignment is not valid.
  int64_t Perform(KorContainer parameters, bool contentInContainer = true, bool failing = false) {
    NotedAssignment assignment(called, failing);
    assignment.Initialise("HardwareInventory", &parameters, nullptr, contentInContainer, false);
    parameters.Clear();  // as the callers do
    return assignment.IsValid() ? assignment.PerformAssignment() : -1;
  }

  TemporaryFolder folder;
  std::vector<std::string> called;
};

TEST_F(AssignmentTest, NewThenUnchangedThenChanged) {
  EXPECT_EQ(Perform(Parameters("7_rules", "one")), 44003);
  EXPECT_EQ(Perform(Parameters("7_rules", "one")), 0);
  EXPECT_EQ(Perform(Parameters("7_rules", "two")), 44003);

  EXPECT_EQ(called, (std::vector<std::string>{"assign 7_rules one", "update 7_rules two"}));
}

TEST_F(AssignmentTest, FailedContentIsTriedAgainWhenItIsSentAgain) {
  Perform(Parameters("7", "one"), true, true);
  Perform(Parameters("7", "one"));

  EXPECT_EQ(called, (std::vector<std::string>{"assign 7 one", "assign 7 one"}));
}

TEST_F(AssignmentTest, WithdrawIsForTheKnownOnly) {
  KorContainer withdraw = Parameters("7", "");
  withdraw.SetString("AssignmentOperation", "withdraw");

  EXPECT_EQ(Perform(withdraw), 0);
  Perform(Parameters("7", "one"));
  EXPECT_EQ(Perform(withdraw), 44003);
  EXPECT_EQ(Perform(withdraw), 0);
  Perform(Parameters("7", "one"));

  EXPECT_EQ(called, (std::vector<std::string>{"assign 7 one", "delete 7 ", "assign 7 one"}));
}

TEST_F(AssignmentTest, AdvertiseIsNotRemembered) {
  KorContainer advertise = Parameters("7", "one");
  advertise.SetString("AssignmentOperation", "advertise");

  Perform(advertise);
  Perform(Parameters("7", "one"));

  EXPECT_EQ(called, (std::vector<std::string>{"advertise 7 one", "assign 7 one"}));
}

TEST_F(AssignmentTest, NamesThatDifferInCaseOrHoldSettingSyntaxAreToldApart) {
  Perform(Parameters("a", "x"));
  Perform(Parameters("A", "x"));
  Perform(Parameters("a = b\n[c]", "x"));
  Perform(Parameters("a = b\n[c]", "x"));

  EXPECT_EQ(called, (std::vector<std::string>{"assign a x", "assign A x", "assign a = b\n[c] x"}));
}

TEST_F(AssignmentTest, ContentOver64MiBIsRefused) {
  class LastMessage : public KorDebugContext {
   public:
    bool Wants(KorLogLevel) const override { return true; }
    void Write(const KorLogRecord& record) override { text = record.text; }
    std::string text;
  };
  LastMessage log;
  const KorString path = folder.Write("large", "x");
  std::filesystem::resize_file(path.Str(), 64 * 1024 * 1024 + 1);
  KorContainer parameters = Parameters("7", "");
  parameters.SetString("FileType", "Assignment");
  parameters.SetString("FilePath", path);
  NotedAssignment assignment(called);
  assignment.Initialise("HardwareInventory", &parameters, &log, false, false);
  EXPECT_FALSE(assignment.IsValid());
  EXPECT_EQ(log.text,
            "Assignment '7' for module 'HardwareInventory' is refused: it is larger than 67108864 "
            "bytes");
}

TEST_F(AssignmentTest, IncompleteOnesAreNotValid) {
  KorContainer foreign = Parameters("7", "one");
  foreign.SetString("AssignmentModule", "SoftwareInventory");
  KorContainer nameless = Parameters("", "one");
  KorContainer unknown = Parameters("7", "one");
  unknown.SetString("AssignmentOperation", "explode");
  KorContainer empty;
  empty.SetString("AssignmentName", "7");
  empty.SetString("AssignmentModule", "HardwareInventory");

  EXPECT_EQ(Perform(foreign), -1);
  EXPECT_EQ(Perform(nameless), -1);
  EXPECT_EQ(Perform(unknown), -1);
  EXPECT_EQ(Perform(empty), -1);
  EXPECT_EQ(Perform(KorContainer()), -1);
  EXPECT_TRUE(called.empty());
}

TEST_F(AssignmentTest, ContentComesFromTheFileThatTheContainerNames) {
  KorContainer parameters = Parameters("7", "not this");
  parameters.SetString("FileType", KorAssignment::strFILETYPE);
  parameters.SetString("FilePath", folder.Write("received", "from the file"));

  Perform(parameters, false);

  EXPECT_EQ(called, (std::vector<std::string>{"assign 7 from the file"}));
}

TEST_F(AssignmentTest, FilesOfOtherTypesAndMissingFilesAreNotValid) {
  KorContainer other = Parameters("7", "");
  other.SetString("FileType", "Package");
  other.SetString("FilePath", folder.Write("received", "x"));
  KorContainer missing = Parameters("7", "");
  missing.SetString("FileType", KorAssignment::strFILETYPE);
  missing.SetString("FilePath", folder.Path("nowhere"));

  EXPECT_EQ(Perform(other, false), -1);
  EXPECT_EQ(Perform(missing, false), -1);
}

TEST_F(AssignmentTest, WhatIsAssignedAtOnceIsAllRemembered) {
  constexpr int kCount = 16;
  std::vector<std::thread> threads;
  for (int number = 0; number < kCount; ++number) {
    threads.emplace_back([number] {
      KorContainer parameters = Parameters(std::to_string(number).c_str(), "one");
      std::vector<std::string> calledHere;
      NotedAssignment assignment(calledHere);
      assignment.Initialise("HardwareInventory", &parameters, nullptr, true, false);
      assignment.PerformAssignment();
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int number = 0; number < kCount; ++number) {
    EXPECT_EQ(Perform(Parameters(std::to_string(number).c_str(), "one")), 0) << number;
  }
}

TEST_F(AssignmentTest, EmptyContentIsContent) {
  EXPECT_EQ(Perform(Parameters("7", "")), 44003);
  EXPECT_EQ(Perform(Parameters("7", "")), 0);
}

}  // namespace
