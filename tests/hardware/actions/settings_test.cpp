#include "hardware/module/module_fixture.h"

namespace {

using HardwareInventory::hwConfig;

class SettingsActionTest : public ModuleFixture {
 protected:
  uint32_t SetValues(const KorContainer& values) {
    KorContainer container;
    container.SetContainer("Values", values);
    container.SetString("Other", "text");
    const uint32_t result = Invoke("HardwareSetValues", container);
    EXPECT_EQ(container.CountValues("Values"), -1);
    EXPECT_EQ(container.CountValues("Other"), -1);
    return result;
  }
};

TEST_F(SettingsActionTest, GetValuesGivesTheFiveSettings) {
  StartModule("UploadGap = 12\nDifferencialUpload = no\n");
  KorContainer container;
  container.SetString("Other", "text");
  EXPECT_EQ(Invoke("HardwareGetValues", container), 0u);
  EXPECT_EQ(container.CountValues("Other"), -1);
  KorContainer values;
  ASSERT_TRUE(container.GetContainer("Values", values));
  KorContainer expected;
  expected.SetString("TranslationFile", "../data/HardwareInventory/hwinvcfg.xml");
  expected.SetInt32("UploadInterval", 3600);
  expected.SetBool("UploadOnStartup", true);
  expected.SetInt32("UploadGap", 12);
  expected.SetBool("DifferencialUpload", false);
  EXPECT_TRUE(values == expected);
}

TEST_F(SettingsActionTest, SetValuesChangesAndPersistsWhatIsThere) {
  StartModule("LastInventorySent = 5\nUploadGap = 12\n");
  KorContainer values;
  values.SetInt32("LastInventorySent", 99);
  values.SetBool("DifferencialUpload", false);
  EXPECT_EQ(SetValues(values), 0u);
  EXPECT_FALSE(hwConfig.GetDifferentialUpload(true));
  EXPECT_EQ(hwConfig.GetUploadGap(true), 12u);
  const std::string settings = folder.Read("config/HardwareInventory.ini");
  EXPECT_NE(settings.find("DifferencialUpload = no"), std::string::npos) << settings;
  EXPECT_NE(settings.find("LastInventorySent = 5"), std::string::npos) << settings;
  EXPECT_NE(settings.find("UploadGap = 12"), std::string::npos) << settings;
}

TEST_F(SettingsActionTest, AnUnchangedIntervalLeavesTheTimerAlone) {
  StartModule("UploadInterval = 300\n");
  KorContainer values;
  values.SetInt32("UploadInterval", 300);
  values.SetInt32("UploadGap", 7);
  EXPECT_EQ(SetValues(values), 0u);
  EXPECT_TRUE(ModuleTimerEntries().empty());
}

TEST_F(SettingsActionTest, AChangedIntervalSetsTheTimerAgain) {
  StartModule("UploadInterval = 300\n");
  KorContainer values;
  values.SetInt32("UploadInterval", 301);
  EXPECT_EQ(SetValues(values), 0u);
  const std::vector<ModuleTimerEntry> entries = ModuleTimerEntries();
  ASSERT_EQ(entries.size(), 1u);
  EXPECT_EQ(entries[0].name, "HardwareUploadInventory");
  EXPECT_EQ(entries[0].action, "HardwareUploadInventory");
  EXPECT_EQ(entries[0].seconds, 301u);
}

TEST_F(SettingsActionTest, WithoutValuesNothingChanges) {
  StartModule("UploadGap = 12\n");
  EXPECT_EQ(Invoke("HardwareSetValues"), 0u);
  EXPECT_EQ(hwConfig.GetUploadGap(true), 12u);
  EXPECT_TRUE(ModuleTimerEntries().empty());
}

TEST_F(SettingsActionTest, SettingsThatCannotBeWrittenStillCount) {
  StartModule();
  HardwareInventory::strModuleIniFile = folder.Path("nowhere/settings.ini");
  KorContainer values;
  values.SetInt32("UploadInterval", 44);
  EXPECT_EQ(SetValues(values), 0u);
  EXPECT_EQ(hwConfig.GetUploadInterval(true), 44u);
  EXPECT_EQ(ModuleTimerEntries().size(), 1u);
}

}  // namespace
