#include "hardware/module/module_fixture.h"

namespace {

class StartInventoryActionTest : public ModuleFixture {
 protected:
  // A run that stays in its first command until Finish().
  void BeginHeldRun() {
    machine.Play([this](const KorString&) -> KorCommandResult {
      WaitFor([this] { return released.load(); });
      return {KorCommandResult::Outcome::kExited, 127, ""};
    });
    ASSERT_EQ(Invoke("HardwareStartInventory"), 0u);
    ASSERT_TRUE(WaitFor([this] { return machine.commands > 0; }));
    log.Clear();
  }
  void Finish() {
    released = true;
    ASSERT_TRUE(WaitForRunEnd());
  }

  KorContainer Flags(std::initializer_list<std::pair<const char*, bool>> flags) {
    KorContainer container;
    for (const auto& [key, value] : flags) container.SetBool(key, value);
    return container;
  }

  unsigned long UploadedType() {
    ObjInv uploaded(nullptr);
    EXPECT_TRUE(uploaded.Parse(DataFile("HardwareInventoryUpld.xml"), nullptr));
    return uploaded.GetType();
  }

  std::atomic<bool> released = false;
};

TEST_F(StartInventoryActionTest, StartsARunWithoutUpload) {
  StartModule();
  KorContainer container = Flags({{"ForceUpload", true}});
  EXPECT_EQ(Invoke("HardwareStartInventory", container), 0u);
  EXPECT_EQ(container.CountValues("ForceUpload"), -1);
  ASSERT_TRUE(WaitForRunEnd());
  const std::vector<std::string> lines = log.Lines();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(lines[0], "print: Inventory has been requested");
  EXPECT_EQ(lines[1], "print: Inventory will be started");
  EXPECT_TRUE(FileExists(DataFile("HardwareInventoryLast.xml")));
  EXPECT_TRUE(neighbours.files.empty());
}

TEST_F(StartInventoryActionTest, TheRunBeginsAtOnce) {
  StartModule();
  EXPECT_TRUE(RunsAtOnce([&] { Invoke("HardwareStartInventory"); }));
}

TEST_F(StartInventoryActionTest, UploadsWhenAsked) {
  StartModule();
  SaveInventory(DataFile("HardwareInventorySent.xml"), "old");
  KorContainer container = Flags({{"UploadAfterUpdate", true}, {"BypassTransferWindows", true}});
  EXPECT_EQ(Invoke("HardwareStartInventory", container), 0u);
  ASSERT_TRUE(WaitForRunEnd());
  ASSERT_EQ(neighbours.files.size(), 1u);
  bool bypass = false;
  EXPECT_TRUE(neighbours.files[0].GetBool("Bypass", bypass));
  EXPECT_TRUE(bypass);
  EXPECT_EQ(UploadedType(), 2u);
}

TEST_F(StartInventoryActionTest, TheConfigurationDecidesOnTheDifferential) {
  StartModule("DifferencialUpload = no\n");
  SaveInventory(DataFile("HardwareInventorySent.xml"), "old");
  KorContainer container = Flags({{"UploadAfterUpdate", true}});
  EXPECT_EQ(Invoke("HardwareStartInventory", container), 0u);
  ASSERT_TRUE(WaitForRunEnd());
  EXPECT_EQ(UploadedType(), 3u);
}

// The key is not in the signature.
TEST_F(StartInventoryActionTest, TheDifferentialKeyIsHonoured) {
  StartModule("DifferencialUpload = no\n");
  SaveInventory(DataFile("HardwareInventorySent.xml"), "old");
  KorContainer container = Flags({{"UploadAfterUpdate", true}, {"DifferencialUpload", true}});
  EXPECT_EQ(Invoke("HardwareStartInventory", container), 0u);
  ASSERT_TRUE(WaitForRunEnd());
  EXPECT_EQ(UploadedType(), 2u);
}

TEST_F(StartInventoryActionTest, ForceIgnoresTheGap) {
  StartModule("UploadGap = 100000\nLastInventorySent = 4000000000\n");
  KorContainer container = Flags({{"UploadAfterUpdate", true}});
  EXPECT_EQ(Invoke("HardwareStartInventory", container), 0u);
  ASSERT_TRUE(WaitForRunEnd());
  EXPECT_TRUE(neighbours.files.empty());
  container = Flags({{"UploadAfterUpdate", true}, {"ForceUpload", true}});
  EXPECT_EQ(Invoke("HardwareStartInventory", container), 0u);
  ASSERT_TRUE(WaitForRunEnd());
  EXPECT_EQ(neighbours.files.size(), 1u);
}

TEST_F(StartInventoryActionTest, ARunInProgressTakesOverTheUpload) {
  StartModule();
  ASSERT_NO_FATAL_FAILURE(BeginHeldRun());
  KorContainer container = Flags({{"UploadAfterUpdate", true}});
  EXPECT_EQ(Invoke("HardwareStartInventory", container), 0u);
  EXPECT_EQ(log.Lines(), (std::vector<std::string>{"print: Inventory has been requested",
                                                   "print: Inventory is already running"}));
  EXPECT_TRUE(IsUploadRequested());
  Finish();
  EXPECT_EQ(neighbours.files.size(), 1u);
  EXPECT_FALSE(IsUploadRequested());
}

TEST_F(StartInventoryActionTest, ARunInProgressStaysAsItIs) {
  StartModule();
  ASSERT_NO_FATAL_FAILURE(BeginHeldRun());
  EXPECT_EQ(Invoke("HardwareStartInventory"), 0u);
  EXPECT_FALSE(IsUploadRequested());
  Finish();
  EXPECT_TRUE(neighbours.files.empty());
}

TEST_F(StartInventoryActionTest, WithoutGuidNothingStarts) {
  neighbours.guid = "";
  StartModule();
  EXPECT_EQ(Invoke("HardwareStartInventory"), 0u);
  EXPECT_TRUE(log.Has("trace: Postponing the inventory startup (no GUID)"));
  EXPECT_FALSE(HardwareInventory::IsInventoryRunning());
}

}  // namespace
