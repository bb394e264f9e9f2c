#include <ctime>

#include "hardware/module/module_fixture.h"

namespace {

class UploadInventoryActionTest : public ModuleFixture {
 protected:
  void StoreUnchanged() {
    SaveInventory(DataFile("HardwareInventoryLast.xml"), "same");
    SaveInventory(DataFile("HardwareInventorySent.xml"), "same");
  }
  uint32_t Upload(std::initializer_list<std::pair<const char*, bool>> flags) {
    KorContainer container;
    for (const auto& [key, value] : flags) container.SetBool(key, value);
    const uint32_t result = Invoke("HardwareUploadInventory", container);
    EXPECT_EQ(container.Keys(), std::vector<KorString>{"ErrorCode"});
    return result;
  }
  unsigned long UploadedType() {
    ObjInv uploaded(nullptr);
    EXPECT_TRUE(uploaded.Parse(DataFile("HardwareInventoryUpld.xml"), nullptr));
    return uploaded.GetType();
  }
};

TEST_F(UploadInventoryActionTest, WithoutParametersItSendsWhatDidNotChangeWithinTheGap) {
  StartModule("UploadGap = 100000\nLastInventorySent = 4000000000\n");
  StoreUnchanged();
  EXPECT_EQ(Upload({}), 0u);
  ASSERT_EQ(neighbours.files.size(), 1u);
  bool bypass = true;
  EXPECT_TRUE(neighbours.files[0].GetBool("Bypass", bypass));
  EXPECT_FALSE(bypass);
  EXPECT_EQ(UploadedType(), 1u);
}

TEST_F(UploadInventoryActionTest, ForceMayBeTurnedOff) {
  StartModule();
  StoreUnchanged();
  EXPECT_EQ(Upload({{"ForceUpload", false}}), 0u);
  EXPECT_TRUE(neighbours.files.empty());
  EXPECT_TRUE(log.Has("print: Not sending unchanged hardware inventory"));
}

TEST_F(UploadInventoryActionTest, TakesItsFlags) {
  StartModule();
  SaveInventory(DataFile("HardwareInventoryLast.xml"), "new");
  SaveInventory(DataFile("HardwareInventorySent.xml"), "old");
  EXPECT_EQ(Upload({{"BypassTransferWindows", true}, {"DifferencialUpload", false}}), 0u);
  ASSERT_EQ(neighbours.files.size(), 1u);
  bool bypass = false;
  EXPECT_TRUE(neighbours.files[0].GetBool("Bypass", bypass));
  EXPECT_TRUE(bypass);
  EXPECT_EQ(UploadedType(), 3u);
}

TEST_F(UploadInventoryActionTest, TheConfigurationDecidesOnTheDifferential) {
  StartModule();
  SaveInventory(DataFile("HardwareInventoryLast.xml"), "new");
  SaveInventory(DataFile("HardwareInventorySent.xml"), "old");
  EXPECT_EQ(Upload({}), 0u);
  EXPECT_EQ(UploadedType(), 2u);
}

TEST_F(UploadInventoryActionTest, BeforeTheFirstRunItMakesThatRunUpload) {
  StartModule();
  EXPECT_EQ(Upload({}), 0u);
  EXPECT_EQ(log.Lines(),
            std::vector<std::string>{"print: The hardware inventory has not been processed"});
  EXPECT_TRUE(IsUploadRequested());
  EXPECT_TRUE(neighbours.files.empty());
  EXPECT_EQ(Invoke("HardwareStartInventory"), 0u);
  ASSERT_TRUE(WaitForRunEnd());
  EXPECT_EQ(neighbours.files.size(), 1u);
  EXPECT_FALSE(IsUploadRequested());
}

TEST_F(UploadInventoryActionTest, ADamagedInventoryIsWarnedOf) {
  StartModule();
  const std::string path =
      folder.Write("data/HardwareInventory/HardwareInventoryLast.xml", "<broken").Str();
  EXPECT_EQ(Upload({}), 0u);
  EXPECT_EQ(log.Count("warning: Failed to parse last processed inventory (" + path + ")"), 1u);
  EXPECT_TRUE(neighbours.files.empty());
}

TEST_F(UploadInventoryActionTest, AFailedSendIsAFailure) {
  neighbours.fileStoreResult = 1;
  StartModule();
  SaveInventory(DataFile("HardwareInventoryLast.xml"), "new");
  EXPECT_EQ(Upload({}), 1u);
  EXPECT_TRUE(FileExists(DataFile("HardwareInventoryLast.xml")));
}

}  // namespace
