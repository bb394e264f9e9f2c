#include "hardware/module/module_main.h"

#include <cstring>

#include <stdexcept>

#include "hardware/module/module_fixture.h"
#include "korcore/callback_db.h"

namespace {

class ModuleMainTest : public ModuleFixture {};

constexpr const char* kSignatures[] = {
    "HardwareSetValues (container Values)",
    "HardwareGetValues ()",
    "HardwareStartInventory (bool UploadAfterUpdate, bool ForceUpload, bool BypassTransferWindows)",
    "HardwareUploadInventory (bool ForceUpload, bool BypassTransferWindows)",
    "HardwareSynchronize ()",
    "HardwareReceiveFile (container Values)",
    "HardwareInvGUIDCallback (string GUID)",
    "HardwareInventoryWithError ()",
    "HardwareInvModifyXMLFile ()",
    "HardwareInventoryApplyFilter ()",
    "HardwareInventoryGetWmiFilter ()",
    "HardwareInventoryQuery ()",
    "HardwareAuditNow ()",
    "HardwareAssign ()",
    "HardwareInventoryInventoryReset ()",
};

std::vector<std::string> ModuleSignatures() {
  std::vector<std::string> signatures;
  for (const ActionDescription& action : ActionDbActions()) {
    if (action.name.StartsWith("Hardware", true)) signatures.push_back(action.signature.Str());
  }
  return signatures;
}

const std::vector<std::string> kExpectedSignatures(std::begin(kSignatures), std::end(kSignatures));

TEST_F(ModuleMainTest, UnknownCommandsTouchNothing) {
  char buffer[] = "untouched";
  for (const uint32_t command : {0u, 8u, 10u, 255u, 4294967295u}) {
    EXPECT_EQ(ModuleMain(command, 0, buffer), 5u) << command;
  }
  EXPECT_STREQ(buffer, "untouched");
  EXPECT_TRUE(log.Lines().empty());
}

TEST_F(ModuleMainTest, TellsItsVersion) {
  char buffer[256];
  EXPECT_EQ(ModuleMain(7, 0, buffer), 1u);
  EXPECT_STREQ(buffer, "11.5.0.121004r - Oct  4 2012 - 17:21:41");
}

TEST_F(ModuleMainTest, DescribesItself) {
  char buffer[256];
  EXPECT_EQ(ModuleMain(6, 0, buffer), 1u);
  EXPECT_STREQ(buffer, "Hardware inventory module (HardwareModule)");
}

TEST_F(ModuleMainTest, SuspendDoesNothing) {
  EXPECT_EQ(ModuleMain(9, 0, nullptr), 1u);
  EXPECT_TRUE(log.Lines().empty());
}

TEST_F(ModuleMainTest, RegistersItsActionsInOrder) {
  EXPECT_EQ(ModuleMain(1, 0, Handle()), 1u);
  EXPECT_EQ(ModuleSignatures(), kExpectedSignatures);
  EXPECT_EQ(CallbackDbActions("FileStoreCallbackReceivedFile"),
            std::vector<KorString>{"HardwareReceiveFile"});
  EXPECT_EQ(CallbackDbActions("IdentityCallbackGUIDAvailable"),
            std::vector<KorString>{"HardwareInvGUIDCallback"});
  EXPECT_EQ(log.Lines(), std::vector<std::string>{"trace: Module Register starting"});
}

TEST_F(ModuleMainTest, UnregisterRemovesOnlyTheSubscriptions) {
  ModuleMain(1, 0, Handle());
  log.Clear();
  EXPECT_EQ(ModuleMain(2, 0xFFFFFFFFFFull, nullptr), 1u);
  EXPECT_EQ(ModuleSignatures(), kExpectedSignatures);
  EXPECT_TRUE(CallbackDbActions("FileStoreCallbackReceivedFile").empty());
  EXPECT_TRUE(CallbackDbActions("IdentityCallbackGUIDAvailable").empty());
  EXPECT_EQ(log.Lines(), std::vector<std::string>{"trace: Module Unregister starting"});
}

TEST_F(ModuleMainTest, InitialiseComputesThePaths) {
  StartModule();
  const KorString data = folder.Path("data/HardwareInventory");
  using namespace HardwareInventory;
  EXPECT_EQ(strModuleIniFile, folder.Path("config/HardwareInventory.ini"));
  EXPECT_EQ(strModuleDataPath, data);
  EXPECT_EQ(strModuleFilterFileStd, data + "/hwinvcfg.xml");
  EXPECT_EQ(strModuleFilterFileTmp, data + "/hwinvcfg_tmp.xml");
  EXPECT_EQ(strModuleFilterFileNet, data + "/hwinvcfg_net.xml");
  EXPECT_EQ(strModuleWorkDataFile, data + "/HardwareInventoryWork.xml");
  EXPECT_EQ(strModuleLastDataFile, data + "/HardwareInventoryLast.xml");
  EXPECT_EQ(strModuleDiffDataFile, data + "/HardwareInventoryDiff.xml");
  EXPECT_EQ(strModuleSentDataFile, data + "/HardwareInventorySent.xml");
  EXPECT_EQ(strModuleUpldDataFile, data + "/HardwareInventoryUpld.xml");
  EXPECT_EQ(strModuleLastDumpFile, data + "/HardwareInventoryLast.sqlite3");
  EXPECT_TRUE(std::filesystem::is_directory(data.Str()));
}

TEST_F(ModuleMainTest, FoldersWithoutSeparatorYieldJoinedNames) {
  KorAgentSetConfigDir(folder.Path("config"));
  KorAgentSetDataDir(folder.Path("data"));
  ModuleMain(1, 0, Handle());
  EXPECT_EQ(ModuleMain(3, 0, nullptr), 1u);
  EXPECT_EQ(HardwareInventory::strModuleIniFile, folder.Path("configHardwareInventory.ini"));
  EXPECT_EQ(HardwareInventory::strModuleWorkDataFile,
            folder.Path("dataHardwareInventory/HardwareInventoryWork.xml"));
}

TEST_F(ModuleMainTest, WithoutSettingsTheDefaultsHold) {
  ModuleMain(1, 0, Handle());
  HardwareInventory::hwConfig.SetUploadGap(9, true);
  log.Clear();
  EXPECT_EQ(ModuleMain(3, 0, nullptr), 1u);
  EXPECT_EQ(HardwareInventory::hwConfig.GetUploadGap(true), 0u);
  EXPECT_EQ(log.Lines(), (std::vector<std::string>{"trace: Module Initialise starting",
                                                   "warning: Failed to reload the configuration"}));
}

TEST_F(ModuleMainTest, InitialiseClearsTheFlags) {
  using namespace HardwareInventory;
  {
    const KorMutexLock lock(mutexInv);
    fRunningInv = fUploadRequested = fWithError = true;
  }
  StartModule();
  const KorMutexLock lock(mutexInv);
  EXPECT_FALSE(fRunningInv);
  EXPECT_FALSE(fUploadRequested);
  EXPECT_FALSE(fWithError);
}

TEST_F(ModuleMainTest, ActivateSetsTheUploadTimer) {
  neighbours.guid = "";
  StartModule("UploadInterval = 1234\n");
  EXPECT_EQ(ModuleMain(4, 0, nullptr), 1u);
  const std::vector<ModuleTimerEntry> entries = ModuleTimerEntries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].name, "HardwareUploadInventory");
  EXPECT_EQ(entries[0].action, "HardwareUploadInventory");
  EXPECT_EQ(entries[0].seconds, 1234u);
}

TEST_F(ModuleMainTest, ActivateWithoutGuidPostponesTheRun) {
  neighbours.guid = "";
  StartModule();
  EXPECT_EQ(ModuleMain(4, 0, nullptr), 1u);
  EXPECT_FALSE(HardwareInventory::threadInv.IsThreadRunning());
  EXPECT_FALSE(HardwareInventory::IsInventoryRunning());
  EXPECT_EQ(log.Lines(),
            (std::vector<std::string>{"trace: Module Activate starting",
                                      "trace: Postponing the inventory startup (no GUID)"}));
}

TEST_F(ModuleMainTest, CleanupEndsAPausedRunAtOnce) {
  StartModule();
  ASSERT_EQ(ModuleMain(4, 0, nullptr), 1u);
  ASSERT_TRUE(WaitFor([&] { return log.Has("trace: Starting a new hardware inventory"); }));
  EXPECT_TRUE(HardwareInventory::IsInventoryRunning());
  const auto begin = std::chrono::steady_clock::now();
  EXPECT_EQ(ModuleMain(5, 0x12345, nullptr), 1u);
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(60));
  EXPECT_FALSE(HardwareInventory::IsInventoryRunning());
  EXPECT_FALSE(LastRunSucceeded());
  EXPECT_EQ(machine.commands, 0);
  EXPECT_FALSE(log.Has("print: Inventory starting"));
  EXPECT_TRUE(log.Has("trace: Module Cleanup starting"));
}

TEST_F(ModuleMainTest, LivesAHundredLives) {
  folder.Write("config/HardwareInventory.ini", "[HardwareInventory]\nUploadInterval = 60\n");
  for (int life = 0; life < 100; ++life) {
    ASSERT_EQ(ModuleMain(1, 0, Handle()), 1u);
    ASSERT_EQ(ModuleMain(3, 0, nullptr), 1u);
    ASSERT_EQ(ModuleMain(4, 0, nullptr), 1u);
    ASSERT_TRUE(HardwareInventory::IsInventoryRunning());
    ASSERT_EQ(ModuleMain(5, 0, nullptr), 1u);
    ASSERT_FALSE(HardwareInventory::IsInventoryRunning());
    ASSERT_EQ(ModuleMain(2, 0, nullptr), 1u);
    ActionDbDropModule(Handle());
  }
  EXPECT_TRUE(ModuleSignatures().empty());
}

TEST_F(ModuleMainTest, NoExceptionLeavesAHandler) {
  StartModule();
  machine.Play([](const KorString&) -> KorCommandResult { throw std::runtime_error("broken"); });
  EXPECT_EQ(Invoke("HardwareAuditNow"), 1u);
  EXPECT_TRUE(log.Has("error: Action 'HardwareAuditNow ()' failed: broken"));
}

}  // namespace
