#include "hardware/inventory/upload.h"

#include <ctime>
#include <filesystem>

#include "hardware/module/module_fixture.h"
#include "support/log_trap.h"

namespace {

using HardwareInventory::hwConfig;
using HardwareInventory::ProcessUpload;

class UploadTest : public ModuleFixture {
 protected:
  void SetUp() override {
    StartModule();
    FillInventory(document, "new");
  }

  void StoreLast(const char* value) { SaveInventory(LastPath(), value); }
  void StoreSent(const char* value) { SaveInventory(SentPath(), value); }

  KorString LastPath() { return DataFile("HardwareInventoryLast.xml"); }
  KorString SentPath() { return DataFile("HardwareInventorySent.xml"); }
  KorString DiffPath() { return DataFile("HardwareInventoryDiff.xml"); }
  KorString UpldPath() { return DataFile("HardwareInventoryUpld.xml"); }

  // What was handed to the file store last.
  void ReadUploaded(ObjInv& uploaded) { ASSERT_TRUE(uploaded.Parse(UpldPath(), nullptr)); }

  static uint32_t Now() { return static_cast<uint32_t>(std::time(nullptr)); }

  ObjInv document{nullptr};
};

// In place of a file that can be neither removed nor replaced.
void MakeFolder(const KorString& path) {
  ASSERT_TRUE(PathCreate(path + "/inner"));
}

TEST_F(UploadTest, NoGapIsAlwaysTimeToSend) {
  hwConfig.SetLastInventorySent(Now() + 1000000, true);
  EXPECT_TRUE(HardwareInventory::IsTimeToSendInventory());
}

TEST_F(UploadTest, TheGapHasToBeOver) {
  hwConfig.SetUploadGap(100, true);
  hwConfig.SetLastInventorySent(Now() - 102, true);
  EXPECT_TRUE(HardwareInventory::IsTimeToSendInventory());
  hwConfig.SetLastInventorySent(Now() - 50, true);
  EXPECT_FALSE(HardwareInventory::IsTimeToSendInventory());
}

TEST_F(UploadTest, TheVeryEndOfTheGapIsNotYetTime) {
  bool exact = false;
  // Repeated in case the clock strikes in between.
  for (int attempt = 0; attempt < 100 && !exact; ++attempt) {
    const uint32_t now = Now();
    hwConfig.SetUploadGap(100, true);
    hwConfig.SetLastInventorySent(now - 100, true);
    const bool isTime = HardwareInventory::IsTimeToSendInventory();
    exact = Now() == now;
    if (exact) {
      EXPECT_FALSE(isTime);
    }
  }
  EXPECT_TRUE(exact);
}

TEST_F(UploadTest, TheEndOfTheGapIsComputedIn32Bits) {
  hwConfig.SetUploadGap(4294967295u, true);
  hwConfig.SetLastInventorySent(2, true);
  EXPECT_TRUE(HardwareInventory::IsTimeToSendInventory());
}

TEST_F(UploadTest, WithinTheGapNothingIsSent) {
  StoreLast("new");
  hwConfig.SetUploadGap(100000, true);
  hwConfig.SetLastInventorySent(Now(), true);
  {
    const KorMutexLock lock(HardwareInventory::mutexInv);
    HardwareInventory::fUploadRequested = true;
  }
  EXPECT_TRUE(ProcessUpload(document, true, false, false));
  EXPECT_EQ(log.Lines(),
            std::vector<std::string>{"print: Gap since last inventory sent is too short"});
  EXPECT_TRUE(neighbours.files.empty());
  EXPECT_TRUE(FileExists(LastPath()));
  EXPECT_TRUE(IsUploadRequested());
}

TEST_F(UploadTest, ForceSendsWithinTheGap) {
  StoreLast("new");
  hwConfig.SetUploadGap(100000, true);
  hwConfig.SetLastInventorySent(Now(), true);
  EXPECT_TRUE(ProcessUpload(document, true, true, false));
  EXPECT_EQ(neighbours.files.size(), 1u);
}

TEST_F(UploadTest, WithoutAnInventoryThereIsNothingToSend) {
  {
    const KorMutexLock lock(HardwareInventory::mutexInv);
    HardwareInventory::fUploadRequested = true;
  }
  EXPECT_TRUE(ProcessUpload(document, true, false, false));
  EXPECT_EQ(log.Lines(), std::vector<std::string>{"print: Inventory has not been processed yet"});
  EXPECT_FALSE(IsUploadRequested());
}

TEST_F(UploadTest, TheFirstUploadIsWhole) {
  StoreLast("new");
  const KorString lastSum = FileMd5(LastPath());
  const uint32_t before = Now();
  EXPECT_TRUE(ProcessUpload(document, true, false, false));
  EXPECT_TRUE(log.Has("print: No diff will be sent as there is no last sent inventory"));
  ObjInv uploaded(nullptr);
  ReadUploaded(uploaded);
  EXPECT_EQ(uploaded.GetType(), 1u);
  EXPECT_EQ(uploaded.GetName(), "HWINVENTORY");
  EXPECT_EQ(uploaded.GetChecksum(), lastSum);
  EXPECT_TRUE(uploaded.GetLastChecksum().IsEmpty());
  EXPECT_FALSE(FileExists(LastPath()));
  EXPECT_EQ(FileMd5(SentPath()), lastSum);
  EXPECT_FALSE(FileExists(DiffPath()));
  EXPECT_GE(hwConfig.GetLastInventorySent(true), before);
}

TEST_F(UploadTest, TheTimeOfSendingIsPersistedAlone) {
  StoreLast("new");
  hwConfig.SetUploadInterval(77, true);
  EXPECT_TRUE(ProcessUpload(document, true, false, false));
  const std::string settings = folder.Read("config/HardwareInventory.ini");
  const std::string sent = std::to_string(hwConfig.GetLastInventorySent(true));
  EXPECT_NE(settings.find("LastInventorySent = " + sent), std::string::npos) << settings;
  EXPECT_EQ(settings.find("UploadInterval"), std::string::npos) << settings;
}

TEST_F(UploadTest, TheFileStoreGetsTheUploadFile) {
  StoreLast("new");
  EXPECT_TRUE(ProcessUpload(document, true, false, true));
  KorContainer expected;
  expected.SetString("FileName", "");
  expected.SetBool("Upstream", true);
  expected.SetBool("Bypass", true);
  expected.SetString("FileType", "HardwareInventory2");
  expected.SetString("FileLabel", "HardwareInventory2");
  expected.SetString("CopyPath", UpldPath());
  ASSERT_EQ(neighbours.files.size(), 1u);
  EXPECT_TRUE(neighbours.files[0] == expected);
}

TEST_F(UploadTest, AnUnconnectedDeviceNamesItsFile) {
  neighbours.topology = "_DB_DEVTYPE_UNCONNECTED_";
  StoreLast("new");
  EXPECT_TRUE(ProcessUpload(document, true, false, false));
  ASSERT_EQ(neighbours.files.size(), 1u);
  bool unconnected = false;
  KorString path;
  EXPECT_TRUE(neighbours.files[0].GetBool("Unconnected", unconnected));
  EXPECT_TRUE(unconnected);
  EXPECT_TRUE(neighbours.files[0].GetString("FilePath", path));
  EXPECT_EQ(path, UpldPath());
}

TEST_F(UploadTest, AnotherOrUnknownTopologyChangesNothing) {
  neighbours.topology = "_DB_DEVTYPE_UNCONNECTED_";
  neighbours.topologyResult = 1;
  StoreLast("new");
  EXPECT_TRUE(ProcessUpload(document, true, false, false));
  neighbours.topology = "_DB_DEVTYPE_CLIENT_";
  neighbours.topologyResult = 0;
  StoreLast("newer");
  EXPECT_TRUE(ProcessUpload(document, true, true, false));
  ASSERT_EQ(neighbours.files.size(), 2u);
  EXPECT_EQ(neighbours.files[0].CountValues("Unconnected"), -1);
  EXPECT_EQ(neighbours.files[1].CountValues("Unconnected"), -1);
}

TEST_F(UploadTest, WhatChangedIsSentAsADifferential) {
  StoreLast("new");
  StoreSent("old");
  const KorString lastSum = FileMd5(LastPath());
  const KorString sentSum = FileMd5(SentPath());
  EXPECT_TRUE(ProcessUpload(document, true, false, false));
  ObjInv uploaded(nullptr);
  ReadUploaded(uploaded);
  EXPECT_EQ(uploaded.GetType(), 2u);
  EXPECT_EQ(uploaded.GetName(), "HWINVENTORY");
  EXPECT_EQ(uploaded.GetChecksum(), lastSum);
  EXPECT_EQ(uploaded.GetLastChecksum(), sentSum);
  EXPECT_EQ(uploaded.Objects().Count(), 1u);
  EXPECT_EQ(FileMd5(SentPath()), lastSum);
  ObjInv difference(nullptr);
  ASSERT_TRUE(difference.Parse(DiffPath(), nullptr));
  EXPECT_EQ(difference.GetName(), "HWINVENTORY");
  EXPECT_TRUE(SameObjects(difference, uploaded));
}

TEST_F(UploadTest, WhatIsSentHasItsNameWhateverItWasCalled) {
  StoreLast("new");
  document.SetName("OTHER");
  EXPECT_TRUE(ProcessUpload(document, true, false, false));
  ObjInv uploaded(nullptr);
  ReadUploaded(uploaded);
  EXPECT_EQ(uploaded.GetName(), "HWINVENTORY");
}

TEST_F(UploadTest, AWholeUploadCarriesTheDifferenceWithIt) {
  StoreLast("new");
  StoreSent("old");
  const KorString lastSum = FileMd5(LastPath());
  const KorString sentSum = FileMd5(SentPath());
  EXPECT_TRUE(ProcessUpload(document, false, false, false));
  ObjInv uploaded(nullptr);
  ReadUploaded(uploaded);
  EXPECT_EQ(uploaded.GetType(), 3u);
  EXPECT_EQ(uploaded.GetChecksum(), lastSum);
  EXPECT_EQ(uploaded.GetLastChecksum(), sentSum);
  EXPECT_FALSE(log.Has("print: No diff will be sent as there is no last sent inventory"));
}

TEST_F(UploadTest, WhatDidNotChangeIsNotSent) {
  StoreLast("new");
  StoreSent("new");
  EXPECT_TRUE(ProcessUpload(document, true, false, false));
  EXPECT_EQ(log.Lines(),
            std::vector<std::string>{"print: Not sending unchanged hardware inventory"});
  EXPECT_TRUE(neighbours.files.empty());
  EXPECT_FALSE(FileExists(LastPath()));
  EXPECT_TRUE(FileExists(SentPath()));
  EXPECT_EQ(hwConfig.GetLastInventorySent(true), 0u);
}

// Neither sum is known: that is not "the same as last time".
TEST_F(UploadTest, UnreadableSumsAreNotEqual) {
  MakeFolder(LastPath());
  EXPECT_TRUE(ProcessUpload(document, true, false, false));
  EXPECT_FALSE(log.Has("print: Not sending unchanged hardware inventory"));
  EXPECT_EQ(neighbours.files.size(), 1u);
}

// The next difference is told by it.
TEST_F(UploadTest, AFileThatCannotBeReadHasTheSumOfWhatItStores) {
  MakeFolder(LastPath());
  const KorString stored = folder.Path("stored.xml");
  ASSERT_TRUE(document.Save(stored));

  EXPECT_TRUE(ProcessUpload(document, true, false, false));

  ObjInv uploaded(nullptr);
  ReadUploaded(uploaded);
  EXPECT_EQ(uploaded.GetChecksum(), FileMd5(stored));
}

TEST_F(UploadTest, ForceSendsWhatDidNotChangeAsAWhole) {
  StoreLast("new");
  StoreSent("new");
  EXPECT_TRUE(ProcessUpload(document, true, true, false));
  ObjInv uploaded(nullptr);
  ReadUploaded(uploaded);
  EXPECT_EQ(uploaded.GetType(), 1u);
  EXPECT_TRUE(uploaded.GetLastChecksum().IsEmpty());
  EXPECT_TRUE(SameObjects(uploaded, document));
}

// The files differ, the documents in them do not.
TEST_F(UploadTest, AnEmptyDifferenceIsNotSent) {
  StoreLast("new");
  ObjInv sent(nullptr);
  FillInventory(sent, "new");
  sent.SetName("OTHER");
  ASSERT_TRUE(sent.Save(SentPath()));
  ASSERT_FALSE(FileMd5(SentPath()) == FileMd5(LastPath()));
  EXPECT_TRUE(ProcessUpload(document, true, false, false));
  EXPECT_EQ(log.Lines(),
            std::vector<std::string>{"print: Not sending unchanged hardware inventory"});
  EXPECT_TRUE(neighbours.files.empty());
  EXPECT_FALSE(FileExists(LastPath()));
}

TEST_F(UploadTest, ADamagedSentFileMakesTheUploadWhole) {
  StoreLast("new");
  const std::string sentPath =
      folder.Write("data/HardwareInventory/HardwareInventorySent.xml", "<broken").Str();
  EXPECT_TRUE(ProcessUpload(document, true, false, false));
  EXPECT_TRUE(log.Has("warning: Failed to parse last sent inventory (" + sentPath + ")"));
  EXPECT_FALSE(log.Has("print: Not sending unchanged hardware inventory"));
  ASSERT_EQ(neighbours.files.size(), 1u);
  ObjInv uploaded(nullptr);
  ReadUploaded(uploaded);
  EXPECT_EQ(uploaded.GetType(), 1u);
  EXPECT_TRUE(uploaded.GetLastChecksum().IsEmpty());
  EXPECT_TRUE(SameObjects(uploaded, document));
}

// A differential has no state of its own to compare with. What cannot be computed is not taken for
// unchanged, nor for a part of what changed.
TEST_F(UploadTest, AnUncomputedDifferenceMakesTheUploadWhole) {
  StoreLast("new");
  ObjInv sent(nullptr);
  FillInventory(sent, "old");
  sent.Objects().Get("Machine")->SetChange(ObjChange::kAdded);
  ASSERT_TRUE(sent.Save(SentPath()));
  EXPECT_TRUE(ProcessUpload(document, true, false, false));
  EXPECT_TRUE(log.Has("warning: Failed to compute inventory delta"));
  EXPECT_FALSE(log.Has("print: Not sending unchanged hardware inventory"));
  EXPECT_FALSE(FileExists(DiffPath()));
  ObjInv uploaded(nullptr);
  ReadUploaded(uploaded);
  EXPECT_EQ(uploaded.GetType(), 1u);
  EXPECT_TRUE(uploaded.GetLastChecksum().IsEmpty());
  EXPECT_TRUE(SameObjects(uploaded, document));
}

TEST_F(UploadTest, AFailedSendKeepsTheLastFileAndLosesTheSentFile) {
  neighbours.fileStoreResult = 1;
  StoreLast("new");
  StoreSent("old");
  EXPECT_FALSE(ProcessUpload(document, true, false, false));
  EXPECT_TRUE(FileExists(LastPath()));
  EXPECT_FALSE(FileExists(SentPath()));
  EXPECT_EQ(hwConfig.GetLastInventorySent(true), 0u);
  EXPECT_TRUE(log.Lines().empty());

  neighbours.fileStoreResult = 0;
  ObjInv again(nullptr);
  FillInventory(again, "new");
  EXPECT_TRUE(ProcessUpload(again, true, false, false));
  ObjInv uploaded(nullptr);
  ReadUploaded(uploaded);
  EXPECT_EQ(uploaded.GetType(), 1u);
}

TEST_F(UploadTest, AnUploadFileThatCannotBeRemovedFailsTheSend) {
  StoreLast("new");
  MakeFolder(UpldPath());
  EXPECT_FALSE(ProcessUpload(document, false, false, false));
  EXPECT_EQ(log.Lines(), (std::vector<std::string>{
                             "detail: " + UpldPath().Str() + ": cannot remove: Is a directory",
                             "error: Failed to remove file '" + UpldPath().Str() + "'"}));
  EXPECT_TRUE(FileExists(LastPath()));
}

TEST_F(UploadTest, AnUploadFileThatCannotBeWrittenFailsTheSend) {
  StoreLast("new");
  HardwareInventory::strModuleUpldDataFile = folder.Path("nowhere/Upld.xml");
  EXPECT_FALSE(ProcessUpload(document, false, false, false));
  EXPECT_TRUE(
      log.Has("error: Failed to save inventory '" + folder.Path("nowhere/Upld.xml").Str() + "'"));
  EXPECT_TRUE(neighbours.files.empty());
}

TEST_F(UploadTest, ADiffFileInTheWayIsWarnedOf) {
  StoreLast("new");
  StoreSent("old");
  MakeFolder(DiffPath());
  EXPECT_TRUE(ProcessUpload(document, true, false, false));
  EXPECT_TRUE(log.Has("warning: Failed to remove file '" + DiffPath().Str() + "'"));
  EXPECT_TRUE(log.Has("warning: Failed to save inventory delta"));
  // The difference is known even so.
  ObjInv uploaded(nullptr);
  ReadUploaded(uploaded);
  EXPECT_EQ(uploaded.GetType(), 2u);
}

TEST_F(UploadTest, ASentFileInTheWayIsWarnedOf) {
  StoreLast("new");
  MakeFolder(SentPath());
  const std::string sent = SentPath().Str();
  EXPECT_TRUE(ProcessUpload(document, false, false, false));
  EXPECT_EQ(log.Count("warning: Failed to remove file '" + sent + "'"), 2u);
  EXPECT_TRUE(
      log.Has("warning: Failed to rename file '" + LastPath().Str() + "' to '" + sent + "'"));
  EXPECT_EQ(neighbours.files.size(), 1u);
}

TEST_F(UploadTest, ASentInventoryThatCannotBeReadIsNotTakenForTheSame) {
  StoreLast("new");
  MakeFolder(SentPath());
  EXPECT_TRUE(ProcessUpload(document, true, false, false));
  EXPECT_FALSE(log.Has("print: Not sending unchanged hardware inventory"));
  EXPECT_EQ(neighbours.files.size(), 1u);
}

// It could be read a moment later only: the server would not know what the difference is to.
TEST_F(UploadTest, ADifferenceToAnInventoryOfUnknownSumIsNotSent) {
  StoreLast("new");
  MakeFolder(SentPath());
  MakeFolder(DiffPath());
  const LogTrap trap(HardwareInventory::debugInv, "Failed to remove file '" + DiffPath().Str(),
                     [this] {
                       std::filesystem::remove_all(SentPath().Str());
                       StoreSent("old");
                     });
  EXPECT_TRUE(ProcessUpload(document, true, false, false));
  ObjInv uploaded(nullptr);
  ReadUploaded(uploaded);
  EXPECT_EQ(uploaded.GetType(), 1u);
  EXPECT_TRUE(uploaded.GetLastChecksum().IsEmpty());
  EXPECT_TRUE(FileExists(SentPath()));
}

TEST_F(UploadTest, AStatusGoesToTheServer) {
  HardwareInventory::ProcessUploadStatus("_STATUS_ASSIGNOK_", "entry");
  KorContainer parameters;
  parameters.SetString("EntryName", "entry");
  parameters.SetString("Status", "_STATUS_ASSIGNOK_");
  parameters.SetString("DeviceGUID", "{guid}");
  KorContainer expected;
  expected.SetContainer("ParametersAsContainer", parameters);
  expected.SetString("ActionName", "K42DbHardwareGiveStatus");
  expected.SetString(
      "LogInfo",
      "Hardware status from device '{guid}': status '_STATUS_ASSIGNOK_' for entry 'entry'");
  expected.SetInt32("Priority", 1);
  expected.SetString("TargetsAsString", ":/MASTER///");
  ASSERT_EQ(neighbours.calls.size(), 1u);
  EXPECT_TRUE(neighbours.calls[0] == expected);
  EXPECT_EQ(log.Lines(), std::vector<std::string>{
                             "print: Sending status '_STATUS_ASSIGNOK_' for entry 'entry'"});
}

TEST_F(UploadTest, AStatusNeedsAGuid) {
  neighbours.guid = "";
  HardwareInventory::ProcessUploadStatus("s", "e");
  EXPECT_EQ(log.Lines(), std::vector<std::string>{"print: Sending status 's' for entry 'e'"});
  neighbours.guid = "G";
  neighbours.identityResult = 1;
  HardwareInventory::ProcessUploadStatus("s", "e");
  EXPECT_TRUE(log.Has("error: Cannot get our GUID while sending status"));
  EXPECT_TRUE(neighbours.calls.empty());
}

TEST_F(UploadTest, AStatusThatIsNotTakenIsAnError) {
  neighbours.callResult = 1;
  HardwareInventory::ProcessUploadStatus("s", "e");
  EXPECT_TRUE(log.Has("error: Failed to call AsynchronousActions to send status"));
}

}  // namespace
