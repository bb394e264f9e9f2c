// What is done under the module's lock, and what is not.

#include <algorithm>
#include <map>

#include "hardware/inventory/upload.h"
#include "hardware/module/module_fixture.h"

namespace {

using HardwareInventory::debugInv;
using HardwareInventory::mutexInv;
using HardwareInventory::threadInv;

class ModuleLockTest : public ModuleFixture {
 protected:
  // Notes for each message of the module whether the lock was held.
  class LockLog : public KorDebugContext {
   public:
    bool Wants(KorLogLevel) const override { return true; }
    void Write(const KorLogRecord& record) override { held[std::string(record.text)] = IsLocked(); }
    // Of a message that has not come: as if the lock were both.
    bool IsHeldAt(const std::string& text) const { return held.contains(text) && held.at(text); }
    bool IsFreeAt(const std::string& text) const { return held.contains(text) && !held.at(text); }

    // Of all messages, of which there is at least one.
    bool WasHeldThroughout() const {
      return !held.empty() && std::all_of(held.begin(), held.end(),
                                          [](const auto& message) { return message.second; });
    }

   private:
    std::map<std::string, bool> held;
  };

  void SetUp() override {
    StartModule();
    debugInv.SetContext(&lockLog);
  }
  void TearDown() override { debugInv.SetContext(&log); }

  // Whether that cannot end while somebody else holds the lock. What waits never ends too early,
  // however slow the machine is.
  template <typename Body>
  static bool Waits(Body body) {
    std::future<void> ended;
    bool waited = false;
    {
      const KorMutexLock lock(mutexInv);
      ended = std::async(std::launch::async, body);
      waited = ended.wait_for(std::chrono::milliseconds(50)) == std::future_status::timeout;
    }
    ended.get();
    return waited;
  }

  LockLog lockLog;
};

TEST_F(ModuleLockTest, ARunHoldsItWhileItReadsTheFilterAndStoresButNotWhileItScans) {
  const std::string dump = DataFile("HardwareInventoryLast.sqlite3").Str();
  ASSERT_TRUE(PathCreate(KorString(dump) + "/in/the/way"));
  std::atomic<bool> scannedUnderLock = false;
  machine.Play([&](const KorString&) -> KorCommandResult {
    if (IsLocked()) scannedUnderLock = true;
    return {KorCommandResult::Outcome::kExited, 127, ""};
  });
  threadInv.StartInventory(0, false, false, false, true);
  ASSERT_TRUE(WaitForRunEnd());
  EXPECT_GT(machine.commands, 0);
  EXPECT_FALSE(scannedUnderLock);
  const std::string filter = DataFile("hwinvcfg.xml").Str();
  EXPECT_TRUE(lockLog.IsFreeAt("Using translation file '" + filter + "'"));
  EXPECT_TRUE(lockLog.IsHeldAt("Processing xml '" + filter + "'"));
  EXPECT_TRUE(lockLog.IsFreeAt("Hardware Inventory finished"));
  EXPECT_TRUE(lockLog.IsHeldAt("Failed to dump inventory '" + dump + "'"));
}

TEST_F(ModuleLockTest, AnUploadHoldsItFromTheFirstLookToTheEndOfTheSending) {
  bool sentUnderLock = false;
  neighbours.whenGivenFile = [&] { sentUnderLock = IsLocked(); };
  ObjInv document(nullptr);
  FillInventory(document, "new");
  EXPECT_TRUE(HardwareInventory::ProcessUpload(document, true, false, false));
  EXPECT_TRUE(lockLog.IsHeldAt("Inventory has not been processed yet"));
  SaveInventory(DataFile("HardwareInventoryLast.xml"), "new");
  ASSERT_TRUE(PathCreate(DataFile("HardwareInventorySent.xml") + "/in/the/way"));
  EXPECT_TRUE(HardwareInventory::ProcessUpload(document, true, false, false));
  EXPECT_TRUE(sentUnderLock);
  EXPECT_TRUE(lockLog.IsHeldAt("Failed to rename file '" +
                               DataFile("HardwareInventoryLast.xml").Str() + "' to '" +
                               DataFile("HardwareInventorySent.xml").Str() + "'"));
  EXPECT_FALSE(IsLocked());
}

TEST_F(ModuleLockTest, AStatusNeedsNone) {
  bool reportedUnderLock = true;
  neighbours.whenCalled = [&] { reportedUnderLock = IsLocked(); };
  HardwareInventory::ProcessUploadStatus("s", "e");
  EXPECT_FALSE(reportedUnderLock);
}

TEST_F(ModuleLockTest, TheActionsHoldItWhileTheyReadTheFilter) {
  Invoke("HardwareAuditNow");
  const std::string filter = DataFile("hwinvcfg.xml").Str();
  EXPECT_TRUE(lockLog.IsHeldAt("Processing xml '" + filter + "'"));
  EXPECT_TRUE(lockLog.IsFreeAt("Scanning processor"));
}

TEST_F(ModuleLockTest, TheActionsHoldItWhileTheyLookAtTheInventories) {
  Invoke("HardwareUploadInventory");
  EXPECT_TRUE(lockLog.IsHeldAt("The hardware inventory has not been processed"));
  const KorString sent = DataFile("HardwareInventorySent.xml");
  ASSERT_TRUE(PathCreate(sent + "/in/the/way"));
  Invoke("HardwareInventoryInventoryReset");
  EXPECT_TRUE(lockLog.IsHeldAt("Failed to remove file '" + sent.Str() + "'"));
}

TEST_F(ModuleLockTest, QuestionsAboutRunsWaitForIt) {
  EXPECT_TRUE(Waits([] { HardwareInventory::IsInventoryRunning(); }));
  EXPECT_TRUE(Waits([this] { Invoke("HardwareInventoryWithError"); }));
  EXPECT_TRUE(Waits([this] { Invoke("HardwareInventoryQuery"); }));
}

TEST_F(ModuleLockTest, RequestsForRunsWaitForIt) {
  neighbours.guid = "";
  EXPECT_TRUE(Waits([] { threadInv.StartInventory(0, false, false, false, true); }));
  SetRunning(true);
  EXPECT_TRUE(Waits([this] { Invoke("HardwareStartInventory"); }));
  SetRunning(false);
}

TEST_F(ModuleLockTest, InitialisingWaitsForIt) {
  EXPECT_TRUE(Waits([] { ModuleMain(3, 0, nullptr); }));
}

TEST_F(ModuleLockTest, LooksAtTheInventoriesWaitForIt) {
  SaveInventory(DataFile("HardwareInventorySent.xml"), "sent");
  EXPECT_TRUE(Waits([this] { Invoke("HardwareInvGUIDCallback"); }));
  EXPECT_TRUE(Waits([this] { Invoke("HardwareInventoryInventoryReset"); }));
  EXPECT_TRUE(Waits([this] { Invoke("HardwareUploadInventory"); }));
}

TEST_F(ModuleLockTest, TheFirstUploadReadsTheInventoryUnderIt) {
  folder.Write("data/HardwareInventory/HardwareInventoryLast.xml", "damaged");
  KorAgentSetDebugContext(&lockLog);
  Invoke("HardwareInvGUIDCallback");
  KorAgentSetDebugContext(&log);
  EXPECT_TRUE(lockLog.WasHeldThroughout());
}

// The thread that ends marks its end and gives up its flag in one.
TEST_F(ModuleLockTest, TheEndOfARunWaitsForIt) {
  threadInv.StartInventory(1000, false, false, false, true);
  {
    const KorMutexLock lock(mutexInv);
    EXPECT_FALSE(threadInv.Cancel(50, false));
    EXPECT_TRUE(HardwareInventory::fRunningInv);
  }
  EXPECT_TRUE(WaitForRunEnd());
}

}  // namespace
