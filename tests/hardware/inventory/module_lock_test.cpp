// What is done under the module's lock, and what is not.

#include <map>

#include "hardware/inventory/upload.h"
#include "hardware/module/module_fixture.h"

namespace {

using HardwareInventory::debugInv;
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

   private:
    std::map<std::string, bool> held;
  };

  void SetUp() override {
    StartModule();
    debugInv.SetContext(&lockLog);
  }
  void TearDown() override { debugInv.SetContext(&log); }

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

}  // namespace
