#include <filesystem>
#include <map>

#include "hardware/module/module_fixture.h"

namespace {

class AuditActionTest : public ModuleFixture {
 protected:
  // Every file below the data folder with its content.
  std::map<std::string, std::string> DataFiles() {
    std::map<std::string, std::string> files;
    const std::string root = folder.Path().Str();
    using std::filesystem::recursive_directory_iterator;
    for (recursive_directory_iterator at(root + "/data"), end; at != end; ++at) {
      if (!at->is_regular_file()) continue;
      const std::string name = at->path().string().substr(root.size() + 1);
      files[name] = folder.Read(name);
    }
    return files;
  }
};

TEST_F(AuditActionTest, ScansAllButTheSystem) {
  StartModule();
  EXPECT_EQ(Invoke("HardwareAuditNow"), 0u);
  std::vector<std::string> scans;
  for (const std::string& line : log.Lines()) {
    if (line.starts_with("print: Scanning ")) scans.push_back(line.substr(16));
  }
  EXPECT_EQ(scans, (std::vector<std::string>{"keyboard", "logical disk", "disk drive",
                                             "network adapter", "video controller",
                                             "pointing device", "physical memory", "processor"}));
  EXPECT_TRUE(log.Has("print: Using translation file '" + DataFile("hwinvcfg.xml").Str() + "'"));
  EXPECT_TRUE(log.Has("trace: Failed to scan desktop monitor"));
  EXPECT_FALSE(log.Has("trace: Failed to scan system"));
  EXPECT_EQ(log.Lines().back(), "trace: Hardware Inventory finished");
}

TEST_F(AuditActionTest, LeavesEveryFileUntouched) {
  StartModule();
  EXPECT_EQ(Invoke("HardwareStartInventory"), 0u);
  ASSERT_TRUE(WaitForRunEnd());
  SaveInventory(DataFile("HardwareInventorySent.xml"), "old");
  const std::map<std::string, std::string> before = DataFiles();
  ASSERT_FALSE(before.empty());
  EXPECT_EQ(Invoke("HardwareAuditNow"), 0u);
  EXPECT_EQ(DataFiles(), before);
  EXPECT_TRUE(neighbours.files.empty());
  EXPECT_TRUE(LastRunSucceeded());
}

TEST_F(AuditActionTest, WithoutTranslationFileItScansNothing) {
  StartModule("TranslationFile = /nowhere/at/all.xml\n");
  EXPECT_EQ(Invoke("HardwareAuditNow"), 0u);
  EXPECT_EQ(log.Lines().back(), "error: Failed to get the translation file");
  EXPECT_EQ(machine.commands, 0);
}

TEST_F(AuditActionTest, WithADamagedTranslationFileItScansNothing) {
  StartModule();
  HardwareInventory::hwConfig.SetTranslationFile(folder.Write("broken.xml", "<broken"), true);
  EXPECT_EQ(Invoke("HardwareAuditNow"), 0u);
  EXPECT_EQ(log.Lines().back(), "error: Failed to load the inventory filter");
  EXPECT_EQ(machine.commands, 0);
}

TEST_F(AuditActionTest, MayRunBesideARun) {
  StartModule();
  EXPECT_EQ(Invoke("HardwareStartInventory"), 0u);
  EXPECT_EQ(Invoke("HardwareAuditNow"), 0u);
  ASSERT_TRUE(WaitForRunEnd());
  EXPECT_TRUE(LastRunSucceeded());
}

}  // namespace
