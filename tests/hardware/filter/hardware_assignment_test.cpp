#include "hardware/filter/hardware_assignment.h"

#include <atomic>
#include <filesystem>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "hardware/filter/hw_filter.h"
#include "hardware/inventory/scan_run.h"
#include "hardware/module/module_fixture.h"

namespace {

using HardwareInventory::hwConfig;
using HardwareInventory::mutexInv;

constexpr const char* kAssigned = "_STATUS_ASSIGNOK_";
constexpr const char* kUpdated = "_STATUS_UPDATEOK_";
constexpr const char* kFailed = "_STATUS_CONFIGUREFAILURE_";

class AssignmentActionTest : public ModuleFixture {
 protected:
  void SetUp() override { StartModule(); }

  static KorContainer Assignment(const KorString& name, const KorString& content) {
    KorContainer container;
    container.SetString("AssignmentName", name);
    container.SetString("AssignmentModule", "HardwareInventory");
    container.SetString("AssignmentContent", content);
    return container;
  }
  static KorContainer Withdrawal(const KorString& name) {
    KorContainer container;
    container.SetString("AssignmentName", name);
    container.SetString("AssignmentModule", "HardwareInventory");
    container.SetString("AssignmentOperation", "withdraw");
    return container;
  }
  // The same as a file that the file store has received.
  KorContainer Received(const KorString& name, const std::string& content) {
    KorContainer container;
    container.SetString("FileType", "Assignment");
    container.SetString("FilePath", folder.Write("received.xml", content));
    container.SetString("AssignmentName", name);
    container.SetString("AssignmentModule", "HardwareInventory");
    return container;
  }

  void Assign(const KorString& name, const KorString& content) {
    KorContainer container = Assignment(name, content);
    EXPECT_EQ(Invoke("HardwareAssign", container), 0u);
  }

  // "status entry" of each report to the server.
  std::vector<std::string> Reports() {
    std::vector<std::string> reports;
    for (const KorContainer& call : neighbours.calls) {
      KorContainer parameters;
      KorString action, status, entry;
      call.GetContainer("ParametersAsContainer", parameters);
      call.GetString("ActionName", action);
      parameters.GetString("Status", status);
      parameters.GetString("EntryName", entry);
      EXPECT_EQ(action, "K42DbHardwareGiveStatus");
      reports.push_back(status.Str() + " " + entry.Str());
    }
    return reports;
  }
  static std::vector<std::string> One(const char* status, const char* entry = "7") {
    return {std::string(status) + " " + entry};
  }

  std::string Stored() { return folder.Read("data/HardwareInventory/hwinvcfg.xml"); }
  static std::string Configured(const KorString& setting) {
    return "print: Assign or update translation file '" + setting.Str() + "'";
  }
  static std::string Sending(const char* status) {
    return std::string("print: Sending status '") + status + "' for entry '7'";
  }
};

// The operations, called as the protocol calls them.
class ExposedAssignment : public HardwareInventory::HardwareAssignment {
 public:
  using HardwareAssignment::Assign;
  using HardwareAssignment::Delete;
  using HardwareAssignment::Update;
};

TEST_F(AssignmentActionTest, AnAssignedFileIsStoredAndReported) {
  Assign("7_rules", "<HWINVCONFIG/>");
  EXPECT_EQ(Stored(), "<HWINVCONFIG/>");
  EXPECT_EQ(Reports(), One(kAssigned));
  EXPECT_EQ(log.Lines(),
            (std::vector<std::string>{Configured("../data/HardwareInventory/hwinvcfg.xml"),
                                      "detail: New translation file has been copied to '" +
                                          DataFile("hwinvcfg.xml").Str() + "'",
                                      Sending(kAssigned)}));
}

TEST_F(AssignmentActionTest, ChangedContentIsAnUpdate) {
  Assign("7_rules", "a longer text than the next");
  neighbours.calls.clear();
  log.Clear();
  Assign("7_rules", "two");
  EXPECT_EQ(Stored(), "two");
  EXPECT_EQ(Reports(), One(kUpdated));
  EXPECT_EQ(log.Lines().back(), Sending(kUpdated));
}

TEST_F(AssignmentActionTest, TheSameContentOnceMoreChangesNothing) {
  Assign("7_rules", "one");
  folder.Write("data/HardwareInventory/hwinvcfg.xml", "edited since");
  Assign("7_rules", "one");
  EXPECT_EQ(Stored(), "edited since");
  EXPECT_EQ(Reports(), One(kAssigned));
}

TEST_F(AssignmentActionTest, TheIdentifierEndsAtTheFirstUnderscore) {
  Assign("12_rules_of_all", "one");
  Assign("whole-name", "two");
  EXPECT_EQ(Reports(),
            (std::vector<std::string>{"_STATUS_ASSIGNOK_ 12", "_STATUS_ASSIGNOK_ whole-name"}));
}

TEST_F(AssignmentActionTest, TheContentIsNotLookedAt) {
  const std::string damaged("<broken\0\xff\r\n", 11);
  Assign("7_rules", KorString(damaged));
  EXPECT_EQ(Stored(), damaged);
  EXPECT_EQ(Reports(), One(kAssigned));
  Assign("8_rules", "");
  EXPECT_EQ(Stored(), "");
  EXPECT_EQ(Reports().back(), "_STATUS_ASSIGNOK_ 8");
}

TEST_F(AssignmentActionTest, AnAbsolutePathIsUsedAsItIs) {
  const KorString path = folder.Path("./mine.xml");
  hwConfig.SetTranslationFile(path, true);
  Assign("7_rules", "one");
  EXPECT_EQ(folder.Read("mine.xml"), "one");
  EXPECT_TRUE(log.Has("detail: New translation file has been copied to '" + path.Str() + "'"));
}

TEST_F(AssignmentActionTest, ABareFileNameIsOneOfTheConfigurationFolder) {
  hwConfig.SetTranslationFile("bare.xml", true);
  Assign("7_rules", "one");
  EXPECT_EQ(folder.Read("config/bare.xml"), "one");
}

TEST_F(AssignmentActionTest, ADriveLetterMakesNoPathAbsolute) {
  hwConfig.SetTranslationFile("C:\\rules\\mine.xml", true);
  Assign("7_rules", "one");
  EXPECT_EQ(folder.Read("config/C:\\rules\\mine.xml"), "one");
  ASSERT_TRUE(PathCreate(folder.Path("config/c:")));
  hwConfig.SetTranslationFile("c:/mine.xml", true);
  Assign("8_rules", "two");
  EXPECT_EQ(folder.Read("config/c:/mine.xml"), "two");
}

TEST_F(AssignmentActionTest, ABackslashMakesAPathAbsolute) {
  hwConfig.SetTranslationFile("\\nowhere/mine.xml", true);
  Assign("7_rules", "one");
  EXPECT_EQ(Reports(), One(kFailed));
  EXPECT_TRUE(log.Has("error: Failed to copy the new translation file to '\\nowhere/mine.xml'"));
}

TEST_F(AssignmentActionTest, AnEmptySettingIsTheStandardFile) {
  hwConfig.SetTranslationFile("", true);
  Assign("7_rules", "one");
  EXPECT_EQ(Stored(), "one");
  const std::string path = DataFile("hwinvcfg.xml").Str();
  EXPECT_EQ(
      log.Lines(),
      (std::vector<std::string>{
          Configured(""), "warning: Translation file path is empty, using default '" + path + "'",
          "detail: New translation file has been copied to '" + path + "'", Sending(kAssigned)}));
}

TEST_F(AssignmentActionTest, AUrlIsRefusedBeforeAnythingIsDeleted) {
  folder.Write("data/HardwareInventory/hwinvcfg.xml", "old");
  folder.Write("data/HardwareInventory/hwinvcfg_net.xml", "old net");
  // Refused for "://" wherever it stands; it names a file that is there.
  ASSERT_TRUE(PathCreate(folder.Path("a:")));
  const KorString url = folder.Path("a://b");
  folder.Write("a:/b", "old");
  hwConfig.SetTranslationFile(url, true);
  Assign("7_rules", "new");
  EXPECT_EQ(Stored(), "old");
  EXPECT_EQ(folder.Read("data/HardwareInventory/hwinvcfg_net.xml"), "old net");
  EXPECT_EQ(folder.Read("a:/b"), "old");
  EXPECT_EQ(Reports(), One(kFailed));
  EXPECT_EQ(log.Lines(),
            (std::vector<std::string>{
                Configured(url),
                "error: Cannot assign translation file configured as URL '" + url.Str() + "'",
                Sending(kFailed)}));
}

TEST_F(AssignmentActionTest, AUrlNeedsNoScheme) {
  hwConfig.SetTranslationFile("://server/rules.xml", true);
  Assign("7_rules", "one");
  EXPECT_EQ(Reports(), One(kFailed));
}

TEST_F(AssignmentActionTest, WhatFailedIsTriedAgainWhenItIsSentAgain) {
  hwConfig.SetTranslationFile("http://server/rules.xml", true);
  Assign("7_rules", "one");
  hwConfig.SetTranslationFile("mine.xml", true);
  Assign("7_rules", "one");
  EXPECT_EQ(folder.Read("config/mine.xml"), "one");
  EXPECT_EQ(Reports(),
            (std::vector<std::string>{"_STATUS_CONFIGUREFAILURE_ 7", "_STATUS_ASSIGNOK_ 7"}));
}

TEST_F(AssignmentActionTest, AFileThatCannotBeRemovedIsAFailure) {
  const KorString path = DataFile("hwinvcfg.xml");
  ASSERT_TRUE(PathCreate(path + "/inner"));
  Assign("7_rules", "one");
  EXPECT_TRUE(std::filesystem::is_directory((path + "/inner").Str()));
  EXPECT_EQ(Reports(), One(kFailed));
  EXPECT_EQ(log.Lines(),
            (std::vector<std::string>{Configured("../data/HardwareInventory/hwinvcfg.xml"),
                                      "detail: " + path.Str() + ": cannot remove: Is a directory",
                                      "error: Failed to remove file '" + path.Str() + "'",
                                      Sending(kFailed)}));
}

TEST_F(AssignmentActionTest, AFileThatCannotBeWrittenIsAFailure) {
  const KorString path = folder.Path("nowhere/mine.xml");
  hwConfig.SetTranslationFile(path, true);
  Assign("7_rules", "one");
  EXPECT_EQ(Reports(), One(kFailed));
  EXPECT_TRUE(log.Has("error: Failed to copy the new translation file to '" + path.Str() + "'"));
  EXPECT_FALSE(log.Has("detail: New translation file has been copied to '" + path.Str() + "'"));
}

TEST_F(AssignmentActionTest, AWithdrawalLeavesTheFileAndReportsNothing) {
  Assign("7_rules", "one");
  neighbours.calls.clear();
  log.Clear();
  KorContainer container = Withdrawal("7_rules");
  EXPECT_EQ(Invoke("HardwareAssign", container), 0u);
  EXPECT_EQ(Stored(), "one");
  EXPECT_TRUE(neighbours.calls.empty());
  EXPECT_TRUE(log.Lines().empty());
  // It was forgotten: the same content is new again.
  Assign("7_rules", "one");
  EXPECT_EQ(Reports(), One(kAssigned));
}

TEST_F(AssignmentActionTest, AnAdvertisementChangesNothing) {
  KorContainer container = Assignment("7_rules", "one");
  container.SetString("AssignmentOperation", "advertise");
  EXPECT_EQ(Invoke("HardwareAssign", container), 0u);
  EXPECT_FALSE(FileExists(DataFile("hwinvcfg.xml")));
  EXPECT_TRUE(neighbours.calls.empty());
  EXPECT_TRUE(log.Lines().empty());
}

// The server reads the reports, not the codes.
TEST_F(AssignmentActionTest, EveryOperationAnswersTheSameCode) {
  KorContainer container = Assignment("7_rules", "one");
  ExposedAssignment assignment;
  assignment.Initialise("HardwareInventory", &container, &log, true, false);
  EXPECT_EQ(assignment.Assign(), 44003);
  EXPECT_EQ(assignment.Update(), 44003);
  EXPECT_EQ(assignment.Delete(), 44003);
  hwConfig.SetTranslationFile("http://server/rules.xml", true);
  EXPECT_EQ(assignment.Assign(), 44003);
  EXPECT_EQ(assignment.Update(), 44003);
  EXPECT_EQ(Reports(), (std::vector<std::string>{"_STATUS_ASSIGNOK_ 7", "_STATUS_UPDATEOK_ 7",
                                                 "_STATUS_CONFIGUREFAILURE_ 7",
                                                 "_STATUS_CONFIGUREFAILURE_ 7"}));
}

TEST_F(AssignmentActionTest, WhatIsForAnotherModuleIsLeftAlone) {
  KorContainer container = Assignment("7_rules", "one");
  container.SetString("AssignmentModule", "SoftwareInventory");
  EXPECT_EQ(Invoke("HardwareAssign", container), 0u);
  container = Received("7_rules", "one");
  container.SetString("AssignmentModule", "SoftwareInventory");
  EXPECT_EQ(Invoke("HardwareReceiveFile", container), 44004u);
  EXPECT_EQ(container.Keys(), std::vector<KorString>{"ErrorCode"});
  EXPECT_FALSE(FileExists(DataFile("hwinvcfg.xml")));
  EXPECT_TRUE(neighbours.calls.empty());
  EXPECT_TRUE(log.Lines().empty());
}

TEST_F(AssignmentActionTest, WhatIsIncompleteIsRefusedWithAWarning) {
  KorContainer container = Assignment("", "one");
  EXPECT_EQ(Invoke("HardwareAssign", container), 0u);
  container = Received("7_rules", "one");
  container.SetString("FilePath", folder.Path("none.xml"));
  EXPECT_EQ(Invoke("HardwareReceiveFile", container), 44004u);
  EXPECT_EQ(log.Lines(),
            (std::vector<std::string>{
                "warning: Assignment '' for module 'HardwareInventory' is refused: "
                "AssignmentName is missing",
                "warning: Assignment '7_rules' for module 'HardwareInventory' is refused: "
                "No such file or directory"}));
  EXPECT_TRUE(neighbours.calls.empty());
}

// Only the action takes the content from its container, only a received file from a file.
TEST_F(AssignmentActionTest, EachWayHasItsOwnPlaceForTheContent) {
  KorContainer container = Received("7_rules", "of the file");
  container.SetString("AssignmentContent", "of the container");
  EXPECT_EQ(Invoke("HardwareReceiveFile", container), 44002u);
  EXPECT_EQ(Stored(), "of the file");
  container = Received("7_rules", "of the file");
  container.SetString("AssignmentContent", "of the container");
  EXPECT_EQ(Invoke("HardwareAssign", container), 0u);
  EXPECT_EQ(Stored(), "of the container");
  EXPECT_EQ(Reports(), (std::vector<std::string>{"_STATUS_ASSIGNOK_ 7", "_STATUS_UPDATEOK_ 7"}));
}

TEST_F(AssignmentActionTest, AReceivedWithdrawalNeedsNoFile) {
  Assign("7_rules", "one");
  KorContainer container = Withdrawal("7_rules");
  container.SetString("FileType", "Assignment");
  EXPECT_EQ(Invoke("HardwareReceiveFile", container), 44002u);
  EXPECT_EQ(Stored(), "one");
  EXPECT_EQ(Reports(), One(kAssigned));
}

TEST_F(AssignmentActionTest, TheLockIsHeldUntilTheOutcomeIsReported) {
  std::vector<bool> callsUnderLock;
  neighbours.whenCalled = [&] { callsUnderLock.push_back(IsLocked()); };
  Assign("7_rules", "one");
  EXPECT_EQ(callsUnderLock, std::vector<bool>{true});
  hwConfig.SetTranslationFile("http://server/rules.xml", true);
  Assign("8_rules", "one");
  EXPECT_EQ(callsUnderLock, (std::vector<bool>{true, false}));
  EXPECT_FALSE(IsLocked());
}

TEST_F(AssignmentActionTest, TheOldFileStaysWhileTheLockIsAnothers) {
  folder.Write("data/HardwareInventory/hwinvcfg.xml", "old");
  std::future<void> assigned;
  {
    const KorMutexLock lock(mutexInv);
    assigned = std::async(std::launch::async, [this] { Assign("7_rules", "new"); });
    EXPECT_EQ(assigned.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
    EXPECT_EQ(Stored(), "old");
  }
  assigned.get();
  EXPECT_EQ(Stored(), "new");
}

TEST_F(AssignmentActionTest, NoReaderMeetsHalfAFile) {
  std::string rules;
  for (int i = 0; i < 200; ++i) {
    rules += "<TRANSLATEHW><ACTION>Reject</ACTION></TRANSLATEHW>";
  }
  const std::string document =
      "<HWINVCONFIG><TRANSLATEHWLIST>" + rules + "</TRANSLATEHWLIST></HWINVCONFIG>";
  Assign("7_rules", KorString(document));
  std::atomic<bool> done = false;
  std::thread writer([&] {
    for (int round = 0; round < 30; ++round) {
      Assign("7_rules", KorString(document + std::string(static_cast<size_t>(round % 2), '\n')));
    }
    done = true;
  });
  int damaged = 0;
  while (!done) {
    HardwareInventory::HwFilter filter;
    const bool whole = HardwareInventory::LoadInventoryFilter(filter) && filter.AttrCount() == 200;
    damaged += whole ? 0 : 1;
  }
  writer.join();
  EXPECT_EQ(damaged, 0);
  EXPECT_EQ(Reports().size(), 30u);
}

}  // namespace
