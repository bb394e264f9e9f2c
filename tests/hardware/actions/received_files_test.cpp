#include "hardware/module/module_fixture.h"
#include "korcore/assignment.h"

namespace {

constexpr const char* kResetFile =
    "<container><string key=\"FileType\">Upload</string></container>";

class ReceivedFilesTest : public ModuleFixture {
 protected:
  void SetUp() override {
    StartModule();
    SaveInventory(SentPath(), "old");
  }
  KorString SentPath() { return DataFile("HardwareInventorySent.xml"); }
  uint32_t Receive(const KorString& type, const KorString& path) {
    KorContainer container;
    container.SetString("FileType", type);
    container.SetString("FilePath", path);
    const uint32_t result = Invoke("HardwareReceiveFile", container);
    EXPECT_EQ(container.Keys(), std::vector<KorString>{"ErrorCode"});
    return result;
  }
};

TEST_F(ReceivedFilesTest, AResetFileResets) {
  EXPECT_EQ(Receive("HardwareInventoryReset", folder.Path("missing.xml")), 44002u);
  EXPECT_FALSE(FileExists(SentPath()));
  EXPECT_TRUE(log.Has("print: Received file of type 'HardwareInventoryReset'"));
  EXPECT_TRUE(log.Has("print: Reset received, inventory is not requested"));
}

TEST_F(ReceivedFilesTest, TheResetFileSaysWhetherToUpload) {
  const KorString path = folder.Write("reset.xml", kResetFile);
  EXPECT_EQ(Receive("HardwareInventoryReset", path), 44002u);
  ASSERT_TRUE(WaitForRunEnd());
  EXPECT_TRUE(log.Has("print: Reset received, inventory is requested"));
  EXPECT_EQ(neighbours.files.size(), 1u);
}

TEST_F(ReceivedFilesTest, AFileOfAnotherModuleIsIgnored) {
  EXPECT_EQ(Receive("SomethingElse", folder.Write("other.xml", "x")), 44004u);
  EXPECT_TRUE(FileExists(SentPath()));
  EXPECT_TRUE(neighbours.calls.empty());
  EXPECT_TRUE(log.Lines().empty());
}

TEST_F(ReceivedFilesTest, AnAssignedTranslationFileIsStored) {
  KorContainer container;
  container.SetString(assignment_key::kFileType, KorAssignment::strFILETYPE);
  container.SetString(assignment_key::kFilePath, folder.Write("assigned.xml", "<content/>"));
  container.SetString(assignment_key::kName, "entry_1");
  container.SetString(assignment_key::kModule, "HardwareInventory");
  EXPECT_EQ(Invoke("HardwareReceiveFile", container), 44002u);
  EXPECT_EQ(container.Keys(), std::vector<KorString>{"ErrorCode"});
  EXPECT_EQ(folder.Read("data/HardwareInventory/hwinvcfg.xml"), "<content/>");
  EXPECT_TRUE(log.Has("print: Received file of type '" + KorAssignment::strFILETYPE.Str() + "'"));
  EXPECT_TRUE(log.Has("print: Sending status '_STATUS_ASSIGNOK_' for entry 'entry'"));
  EXPECT_TRUE(FileExists(SentPath()));
}

}  // namespace
