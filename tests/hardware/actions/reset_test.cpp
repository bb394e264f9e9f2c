#include "hardware/module/module_fixture.h"

namespace {

class ResetActionTest : public ModuleFixture {
 protected:
  void SetUp() override {
    StartModule();
    SaveInventory(SentPath(), "old");
  }
  KorString SentPath() { return DataFile("HardwareInventorySent.xml"); }
  KorContainer UploadWanted() {
    KorContainer container;
    container.SetString("FileType", "Upload");
    return container;
  }
};

TEST_F(ResetActionTest, ForgetsTheSentInventory) {
  EXPECT_EQ(Invoke("HardwareInventoryInventoryReset"), 0u);
  EXPECT_FALSE(FileExists(SentPath()));
  EXPECT_EQ(log.Lines(),
            std::vector<std::string>{"print: Reset received, inventory is not requested"});
  EXPECT_FALSE(HardwareInventory::IsInventoryRunning());
}

TEST_F(ResetActionTest, StartsAForcedWholeUpload) {
  HardwareInventory::hwConfig.SetUploadGap(100000, true);
  HardwareInventory::hwConfig.SetLastInventorySent(4000000000u, true);
  KorContainer container = UploadWanted();
  EXPECT_EQ(Invoke("HardwareInventoryInventoryReset", container), 0u);
  ASSERT_TRUE(WaitForRunEnd());
  const std::vector<std::string> lines = log.Lines();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[0], "print: Reset received, inventory is requested");
  EXPECT_EQ(lines[1], "print: Inventory will be started");
  EXPECT_FALSE(log.Has("print: No diff will be sent as there is no last sent inventory"));
  ASSERT_EQ(neighbours.files.size(), 1u);
  bool bypass = false;
  EXPECT_TRUE(neighbours.files[0].GetBool("Bypass", bypass));
  EXPECT_TRUE(bypass);
  ObjInv uploaded(nullptr);
  ASSERT_TRUE(uploaded.Parse(DataFile("HardwareInventoryUpld.xml"), nullptr));
  EXPECT_EQ(uploaded.GetType(), 1u);
}

TEST_F(ResetActionTest, TheRunBeginsAtOnce) {
  EXPECT_TRUE(RunsAtOnce([&] {
    KorContainer container = UploadWanted();
    Invoke("HardwareInventoryInventoryReset", container);
  }));
}

TEST_F(ResetActionTest, ARunInProgressIsLeftAlone) {
  SetRunning(true);
  KorContainer container = UploadWanted();
  EXPECT_EQ(Invoke("HardwareInventoryInventoryReset", container), 0u);
  SetRunning(false);
  EXPECT_FALSE(FileExists(SentPath()));
  EXPECT_EQ(log.Lines(), (std::vector<std::string>{"print: Reset received, inventory is requested",
                                                   "print: Inventory is already running"}));
}

TEST_F(ResetActionTest, ASentFileThatCannotBeRemovedIsAnErrorAndNoMore) {
  ASSERT_TRUE(FileDelete(SentPath(), 0));
  ASSERT_TRUE(PathCreate(SentPath() + "/inner"));
  EXPECT_EQ(Invoke("HardwareInventoryInventoryReset"), 0u);
  EXPECT_EQ(log.Lines(), (std::vector<std::string>{
                             "detail: " + SentPath().Str() + ": cannot remove: Is a directory",
                             "error: Failed to remove file '" + SentPath().Str() + "'",
                             "print: Reset received, inventory is not requested"}));
}

TEST_F(ResetActionTest, TheWordUploadIsExact) {
  KorContainer container;
  container.SetString("FileType", "upload");
  EXPECT_EQ(Invoke("HardwareInventoryInventoryReset", container), 0u);
  EXPECT_TRUE(log.Has("print: Reset received, inventory is not requested"));
}

}  // namespace
