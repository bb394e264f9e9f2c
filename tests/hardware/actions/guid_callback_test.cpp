#include "hardware/module/module_fixture.h"

namespace {

class GuidCallbackTest : public ModuleFixture {
 protected:
  KorString LastPath() { return DataFile("HardwareInventoryLast.xml"); }
  KorString SentPath() { return DataFile("HardwareInventorySent.xml"); }
};

TEST_F(GuidCallbackTest, StartsTheRunThatWasPostponed) {
  neighbours.guid = "";
  StartModule();
  ModuleMain(4, 0, nullptr);
  ASSERT_FALSE(HardwareInventory::IsInventoryRunning());
  neighbours.guid = "{guid}";
  EXPECT_EQ(Invoke("HardwareInvGUIDCallback"), 0u);
  EXPECT_TRUE(HardwareInventory::IsInventoryRunning());
  ASSERT_TRUE(WaitFor([&] { return log.Has("trace: Starting a new hardware inventory"); }));
  // It waits as the run that follows activation does.
  EXPECT_FALSE(log.Has("print: Inventory starting"));
  EXPECT_TRUE(HardwareInventory::threadInv.Cancel(kWatchdogMilliseconds, false));
  EXPECT_EQ(machine.commands, 0);
}

TEST_F(GuidCallbackTest, AfterAnUploadThereIsNothingToDo) {
  StartModule();
  SaveInventory(SentPath(), "old");
  EXPECT_EQ(Invoke("HardwareInvGUIDCallback"), 0u);
  SaveInventory(LastPath(), "new");
  EXPECT_EQ(Invoke("HardwareInvGUIDCallback"), 0u);
  EXPECT_FALSE(HardwareInventory::IsInventoryRunning());
  EXPECT_TRUE(neighbours.files.empty());
  EXPECT_TRUE(log.Lines().empty());
}

TEST_F(GuidCallbackTest, UploadsWhatWasNeverSent) {
  StartModule();
  SaveInventory(LastPath(), "new");
  EXPECT_EQ(Invoke("HardwareInvGUIDCallback"), 0u);
  ASSERT_EQ(neighbours.files.size(), 1u);
  bool bypass = true;
  EXPECT_TRUE(neighbours.files[0].GetBool("Bypass", bypass));
  EXPECT_FALSE(bypass);
  EXPECT_TRUE(log.Has("print: No diff will be sent as there is no last sent inventory"));
  EXPECT_FALSE(HardwareInventory::IsInventoryRunning());
}

TEST_F(GuidCallbackTest, RespectsTheGap) {
  StartModule("UploadGap = 100000\nLastInventorySent = 4000000000\n");
  SaveInventory(LastPath(), "new");
  EXPECT_EQ(Invoke("HardwareInvGUIDCallback"), 0u);
  EXPECT_TRUE(neighbours.files.empty());
  EXPECT_TRUE(log.Has("print: Gap since last inventory sent is too short"));
}

TEST_F(GuidCallbackTest, UploadsNothingWhenStartupUploadsAreOff) {
  StartModule("UploadOnStartup = no\n");
  SaveInventory(LastPath(), "new");
  EXPECT_EQ(Invoke("HardwareInvGUIDCallback"), 0u);
  EXPECT_TRUE(neighbours.files.empty());
  EXPECT_TRUE(log.Lines().empty());
}

TEST_F(GuidCallbackTest, ADamagedInventoryIsNotUploaded) {
  StartModule();
  folder.Write("data/HardwareInventory/HardwareInventoryLast.xml", "<broken");
  EXPECT_EQ(Invoke("HardwareInvGUIDCallback"), 0u);
  EXPECT_TRUE(neighbours.files.empty());
}

TEST_F(GuidCallbackTest, ARunInProgressIsEnough) {
  StartModule();
  SetRunning(true);
  EXPECT_EQ(Invoke("HardwareInvGUIDCallback"), 0u);
  SetRunning(false);
  EXPECT_FALSE(HardwareInventory::threadInv.IsThreadRunning());
}

}  // namespace
