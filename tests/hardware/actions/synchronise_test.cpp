#include "hardware/module/module_fixture.h"

namespace {

class SynchroniseActionTest : public ModuleFixture {
 protected:
  void SetUp() override { StartModule(); }

  void Configure(const KorString& translationFile) {
    HardwareInventory::hwConfig.SetTranslationFile(translationFile, true);
  }
  KorString SentChecksum() {
    KorContainer parameters;
    KorString checksum("none");
    EXPECT_EQ(neighbours.calls.size(), 1u);
    if (neighbours.calls.empty()) return checksum;
    EXPECT_TRUE(neighbours.calls[0].GetContainer("ParametersAsContainer", parameters));
    EXPECT_TRUE(parameters.GetString("HardwareSyncChecksum", checksum));
    return checksum;
  }
};

constexpr const char* kMd5OfAbc = "900150983cd24fb0d6963f7d28e17f72";

TEST_F(SynchroniseActionTest, SendsTheChecksumToTheServer) {
  const KorString path = folder.Write("my.xml", "abc");
  Configure(path);
  EXPECT_EQ(Invoke("HardwareSynchronize"), 0u);
  KorContainer parameters;
  parameters.SetString("HardwareSyncChecksum", kMd5OfAbc);
  parameters.SetString("DeviceGUID", "{guid}");
  KorContainer expected;
  expected.SetContainer("ParametersAsContainer", parameters);
  expected.SetString("ActionName", "K42DbHardwareGiveSynchro");
  expected.SetString("LogInfo", "Hardware sync info from device '{guid}'");
  expected.SetInt32("Priority", 1);
  expected.SetString("TargetsAsString", ":/MASTER///");
  ASSERT_EQ(neighbours.calls.size(), 1u);
  EXPECT_TRUE(neighbours.calls[0] == expected);
  EXPECT_EQ(log.Lines(), std::vector<std::string>{"print: Synchronizing the translation file '" +
                                                  path.Str() + "'"});
}

TEST_F(SynchroniseActionTest, ARelativePathIsOneOfTheConfigurationFolder) {
  folder.Write("data/HardwareInventory/hwinvcfg.xml", "abc");
  EXPECT_EQ(Invoke("HardwareSynchronize"), 0u);
  EXPECT_EQ(SentChecksum(), kMd5OfAbc);
}

TEST_F(SynchroniseActionTest, ABareFileNameIsRelativeToo) {
  folder.Write("config/bare.xml", "abc");
  Configure("bare.xml");
  EXPECT_EQ(Invoke("HardwareSynchronize"), 0u);
  EXPECT_EQ(SentChecksum(), kMd5OfAbc);
}

TEST_F(SynchroniseActionTest, AnEmptySettingIsTheStandardFile) {
  const KorString path = folder.Write("data/HardwareInventory/hwinvcfg.xml", "abc");
  Configure("");
  EXPECT_EQ(Invoke("HardwareSynchronize"), 0u);
  EXPECT_EQ(SentChecksum(), kMd5OfAbc);
  EXPECT_EQ(log.Lines(),
            (std::vector<std::string>{
                "print: Synchronizing the translation file ''",
                "warning: Translation file path is empty, using default '" + path.Str() + "'"}));
}

TEST_F(SynchroniseActionTest, AMissingFileHasAnEmptyChecksum) {
  Configure("/nowhere/at/all.xml");
  EXPECT_EQ(Invoke("HardwareSynchronize"), 0u);
  EXPECT_EQ(SentChecksum(), "");
}

TEST_F(SynchroniseActionTest, AUrlHasNothingToSynchronise) {
  Configure("http://server/file.xml");
  EXPECT_EQ(Invoke("HardwareSynchronize"), 0u);
  EXPECT_TRUE(neighbours.calls.empty());
  EXPECT_TRUE(
      log.Has("error: Cannot synchronize the translation file configured as URL "
              "'http://server/file.xml'"));
}

TEST_F(SynchroniseActionTest, AUrlNeedsNoScheme) {
  Configure("://server/file.xml");
  EXPECT_EQ(Invoke("HardwareSynchronize"), 0u);
  EXPECT_TRUE(neighbours.calls.empty());
}

TEST_F(SynchroniseActionTest, WithoutIdentityItFails) {
  neighbours.identityResult = 1;
  EXPECT_EQ(Invoke("HardwareSynchronize"), 1u);
  EXPECT_TRUE(neighbours.calls.empty());
  EXPECT_TRUE(log.Has("error: Cannot get our GUID while sending sync info"));
}

TEST_F(SynchroniseActionTest, ACallThatIsNotTakenIsAFailure) {
  neighbours.callResult = 1;
  EXPECT_EQ(Invoke("HardwareSynchronize"), 1u);
  EXPECT_TRUE(log.Has("error: Failed to call AsynchronousActions to send sync info"));
}

}  // namespace
