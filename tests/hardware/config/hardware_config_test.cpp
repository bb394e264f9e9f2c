#include "hardware/config/hardware_config.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "support/temporary_folder.h"

namespace {

using HardwareInventory::HardwareConfig;

class Messages : public KorDebugContext {
 public:
  bool Wants(KorLogLevel) const override { return true; }
  void Write(const KorLogRecord& record) override {
    lines.push_back(std::string(KorLogLevelName(record.level)) + ": " + std::string(record.text));
  }
  std::vector<std::string> lines;
};

class HardwareConfigTest : public testing::Test {
 protected:
  HardwareConfigTest() { config.SetDebugContext(&messages); }

  bool ReadText(const std::string& text, uint32_t mask = 63) {
    return config.Read(folder.Write("settings.ini", text), mask);
  }

  void ExpectDefaults() {
    EXPECT_EQ(config.GetLastInventorySent(true), 0u);
    EXPECT_EQ(config.GetTranslationFile(true), "../data/HardwareInventory/hwinvcfg.xml");
    EXPECT_EQ(config.GetUploadInterval(true), 3600u);
    EXPECT_TRUE(config.GetUploadOnStartup(true));
    EXPECT_EQ(config.GetUploadGap(true), 0u);
    EXPECT_TRUE(config.GetDifferentialUpload(true));
  }

  TemporaryFolder folder;
  Messages messages;
  HardwareConfig config;
};

constexpr const char* kFull =
    "[HardwareInventory]\nLastInventorySent = 11\nTranslationFile = /a/b.xml\n"
    "UploadInterval = 22\nUploadOnStartup = no\nUploadGap = 33\nDifferencialUpload = no\n";

TEST_F(HardwareConfigTest, BeginsWithTheDefaults) {
  ExpectDefaults();
}

TEST_F(HardwareConfigTest, ReadsEverySetting) {
  ASSERT_TRUE(ReadText(kFull));
  EXPECT_EQ(config.GetLastInventorySent(true), 11u);
  EXPECT_EQ(config.GetTranslationFile(true), "/a/b.xml");
  EXPECT_EQ(config.GetUploadInterval(true), 22u);
  EXPECT_FALSE(config.GetUploadOnStartup(true));
  EXPECT_EQ(config.GetUploadGap(true), 33u);
  EXPECT_FALSE(config.GetDifferentialUpload(true));
  EXPECT_TRUE(messages.lines.empty());
}

TEST_F(HardwareConfigTest, ResetRestoresTheDefaults) {
  ASSERT_TRUE(ReadText(kFull));
  config.Reset();
  ExpectDefaults();
}

TEST_F(HardwareConfigTest, AbsentEntriesTakeTheirDefaults) {
  ASSERT_TRUE(ReadText(kFull));
  EXPECT_TRUE(ReadText("[Other]\nUploadGap = 5\n"));
  ExpectDefaults();
  EXPECT_TRUE(messages.lines.empty());
}

TEST_F(HardwareConfigTest, NegativeNumbersGiveDefaultsAndWarnings) {
  ASSERT_TRUE(
      ReadText("[HardwareInventory]\nLastInventorySent = -1\nUploadInterval = -5\nUploadGap=-9\n"));
  ExpectDefaults();
  EXPECT_EQ(messages.lines,
            (std::vector<std::string>{"warning: Bad last upload, using default (0)",
                                      "warning: Bad upload interval, using default (3600)",
                                      "warning: Bad upload gap, using default (0)"}));
}

TEST_F(HardwareConfigTest, NumbersBeyond32BitsAreTheLargest) {
  ASSERT_TRUE(
      ReadText("[HardwareInventory]\nLastInventorySent = 4294967295\n"
               "UploadInterval = 4294967296\nUploadGap = 3000000000\n"));
  EXPECT_EQ(config.GetLastInventorySent(true), 4294967295u);
  EXPECT_EQ(config.GetUploadInterval(true), 4294967295u);
  EXPECT_EQ(config.GetUploadGap(true), 3000000000u);
}

TEST_F(HardwareConfigTest, TheMaskSelectsWhatIsRead) {
  ASSERT_TRUE(ReadText(kFull, 4 + 32));
  EXPECT_EQ(config.GetUploadInterval(true), 22u);
  EXPECT_FALSE(config.GetDifferentialUpload(true));
  EXPECT_EQ(config.GetLastInventorySent(true), 0u);
  EXPECT_EQ(config.GetTranslationFile(true), "../data/HardwareInventory/hwinvcfg.xml");
  EXPECT_TRUE(config.GetUploadOnStartup(true));
  EXPECT_EQ(config.GetUploadGap(true), 0u);
}

TEST_F(HardwareConfigTest, AMissingFileLeavesTheSettings) {
  ASSERT_TRUE(ReadText(kFull));
  const KorString missing = folder.Path("missing.ini");
  EXPECT_FALSE(config.Read(missing, 63));
  EXPECT_EQ(config.GetUploadGap(true), 33u);
  EXPECT_EQ(messages.lines,
            std::vector<std::string>{"error: File '" + missing.Str() + "' does not exist"});
}

TEST_F(HardwareConfigTest, WritesSixKeys) {
  config.SetLastInventorySent(4294967295u, true);
  config.SetDifferentialUpload(false, true);
  const KorString path = folder.Path("new.ini");
  EXPECT_TRUE(config.Write(path, 63));
  const std::string text = folder.Read("new.ini");
  size_t last = 0;
  for (const char* line :
       {"[HardwareInventory]", "LastInventorySent = 4294967295",
        "TranslationFile = ../data/HardwareInventory/hwinvcfg.xml", "UploadInterval = 3600",
        "UploadOnStartup = yes", "UploadGap = 0", "DifferencialUpload = no"}) {
    const size_t at = text.find(line);
    ASSERT_NE(at, std::string::npos) << line << " in " << text;
    EXPECT_GE(at, last) << line;
    last = at;
  }
}

TEST_F(HardwareConfigTest, TheMaskSelectsWhatIsWritten) {
  const KorString path = folder.Write("kept.ini",
                                      "; a comment\n[HardwareInventory]\nUploadGap = 7\n"
                                      "[Other]\nKey = 1\n");
  config.SetLastInventorySent(99, true);
  EXPECT_TRUE(config.Write(path, 1));
  const std::string text = folder.Read("kept.ini");
  EXPECT_NE(text.find("; a comment"), std::string::npos);
  EXPECT_NE(text.find("UploadGap = 7"), std::string::npos);
  EXPECT_NE(text.find("Key = 1"), std::string::npos);
  EXPECT_NE(text.find("LastInventorySent = 99"), std::string::npos);
  EXPECT_EQ(text.find("UploadInterval"), std::string::npos);
}

TEST_F(HardwareConfigTest, FailuresToWriteGoUnnoticed) {
  EXPECT_TRUE(config.Write(folder.Path("no/such/folder/x.ini"), 63));
}

TEST_F(HardwareConfigTest, WritesFiveKeysIntoAContainer) {
  config.SetUploadInterval(4294967295u, true);
  KorContainer container;
  EXPECT_TRUE(config.Write(container, 63));
  EXPECT_EQ(container.Keys(),
            (std::vector<KorString>{"TranslationFile", "UploadInterval", "UploadOnStartup",
                                    "UploadGap", "DifferencialUpload"}));
  int32_t interval = 0;
  bool differential = false;
  EXPECT_TRUE(container.GetInt32("UploadInterval", interval));
  EXPECT_EQ(interval, -1);
  EXPECT_TRUE(container.GetBool("DifferencialUpload", differential));
  EXPECT_TRUE(differential);
}

TEST_F(HardwareConfigTest, TheMaskSelectsWhatGoesIntoAContainer) {
  KorContainer container;
  EXPECT_TRUE(config.Write(container, 1 + 16));
  EXPECT_EQ(container.Keys(), std::vector<KorString>{"UploadGap"});
}

TEST_F(HardwareConfigTest, AContainerChangesWhatItHolds) {
  config.SetUploadGap(77, true);
  KorContainer container;
  container.SetInt32("LastInventorySent", 5);
  container.SetString("TranslationFile", "http://x/y");
  container.SetInt32("UploadInterval", -1);
  container.SetBool("DifferencialUpload", false);
  EXPECT_TRUE(config.Read(container, 63));
  EXPECT_EQ(config.GetLastInventorySent(true), 0u);
  EXPECT_EQ(config.GetTranslationFile(true), "http://x/y");
  EXPECT_EQ(config.GetUploadInterval(true), 4294967295u);
  EXPECT_TRUE(config.GetUploadOnStartup(true));
  EXPECT_EQ(config.GetUploadGap(true), 77u);
  EXPECT_FALSE(config.GetDifferentialUpload(true));
}

TEST_F(HardwareConfigTest, AContainersValuesOfOtherTypesAreAbsent) {
  KorContainer container;
  container.SetString("UploadGap", "12");
  container.SetInt32("UploadOnStartup", 0);
  EXPECT_TRUE(config.Read(container, 63));
  ExpectDefaults();
}

TEST_F(HardwareConfigTest, TheMaskSelectsWhatIsTakenFromAContainer) {
  KorContainer container;
  container.SetString("TranslationFile", "http://x/y");
  container.SetInt32("UploadInterval", 1);
  container.SetBool("UploadOnStartup", false);
  container.SetInt32("UploadGap", 2);
  container.SetBool("DifferencialUpload", false);
  const std::string translationFile = config.GetTranslationFile(true).Str();

  EXPECT_TRUE(config.Read(container, 16));
  EXPECT_EQ(config.GetTranslationFile(true), KorString(translationFile));
  EXPECT_EQ(config.GetUploadInterval(true), 3600u);
  EXPECT_TRUE(config.GetUploadOnStartup(true));
  EXPECT_EQ(config.GetUploadGap(true), 2u);
  EXPECT_TRUE(config.GetDifferentialUpload(true));

  EXPECT_TRUE(config.Read(container, 63 - 16));
  EXPECT_EQ(config.GetTranslationFile(true), "http://x/y");
  EXPECT_EQ(config.GetUploadInterval(true), 1u);
  EXPECT_FALSE(config.GetUploadOnStartup(true));
  EXPECT_FALSE(config.GetDifferentialUpload(true));
}

// The settings by their bits; the first one is not for containers.
struct Setting {
  uint32_t bit;
  const char* key;
};
constexpr Setting kSettings[] = {{1, "LastInventorySent"}, {2, "TranslationFile"},
                                 {4, "UploadInterval"},    {8, "UploadOnStartup"},
                                 {16, "UploadGap"},        {32, "DifferencialUpload"}};

std::string Keys(const HardwareConfig& source, uint32_t mask = 63) {
  KorContainer container;
  source.Write(container, mask);
  std::string keys;
  for (const KorString& key : container.Keys()) keys += key.Str() + " ";
  return keys;
}

// What the settings are that a container does not tell, and those that it tells.
std::string Values(const HardwareConfig& source) {
  return std::to_string(source.GetLastInventorySent(true)) + " " +
         source.GetTranslationFile(true).Str() + " " +
         std::to_string(source.GetUploadInterval(true)) + " " +
         std::to_string(source.GetUploadOnStartup(true)) + " " +
         std::to_string(source.GetUploadGap(true)) + " " +
         std::to_string(source.GetDifferentialUpload(true));
}

// One setting less, and one alone: what the mask leaves out stays, and is not told.
TEST_F(HardwareConfigTest, EachBitOfTheMaskStandsForItsSetting) {
  const KorString full = folder.Write("full.ini", kFull);
  HardwareConfig all;
  ASSERT_TRUE(all.Read(full, 63));
  for (const Setting& setting : kSettings) {
    HardwareConfig without;
    without.Read(full, 63 - setting.bit);
    EXPECT_NE(Values(without), Values(all)) << setting.key;
    without.Read(full, setting.bit);
    EXPECT_EQ(Values(without), Values(all)) << setting.key;

    const std::string file = std::string("without ") + setting.key;
    all.Write(folder.Path(file), 63 - setting.bit);
    const std::string text = folder.Read(file);
    for (const Setting& other : kSettings) {
      EXPECT_EQ(text.find(other.key) == std::string::npos, other.bit == setting.bit)
          << other.key << " in " << text;
    }
  }
}

TEST_F(HardwareConfigTest, EachBitStandsForItsSettingInAContainer) {
  ASSERT_TRUE(ReadText(kFull, 62));
  KorContainer full;
  config.Write(full, 63);
  for (const Setting& setting : kSettings) {
    if (setting.bit == 1) continue;
    HardwareConfig without;
    without.Read(full, 63 - setting.bit);
    EXPECT_NE(Values(without), Values(config)) << setting.key;
    without.Read(full, setting.bit);
    EXPECT_EQ(Values(without), Values(config)) << setting.key;
    EXPECT_EQ(Keys(config, 63 - setting.bit).find(setting.key), std::string::npos);
    EXPECT_EQ(Keys(config, setting.bit), std::string(setting.key) + " ");
  }
}

TEST_F(HardwareConfigTest, SynchronizeMayBeRepeated) {
  EXPECT_TRUE(config.Synchronize(false));
  EXPECT_TRUE(config.Synchronize(true));
  EXPECT_TRUE(config.Synchronize(true));
  config.SetUploadGap(5, true);
  EXPECT_EQ(config.GetUploadGap(true), 5u);
  EXPECT_TRUE(config.Synchronize(false));
  EXPECT_EQ(config.GetUploadGap(true), 5u);
}

TEST_F(HardwareConfigTest, ANullContextLeavesTheContext) {
  config.SetDebugContext(nullptr);
  EXPECT_FALSE(config.Read(folder.Path("missing.ini"), 63));
  EXPECT_EQ(messages.lines.size(), 1u);
}

KorContainer Pair(int32_t number) {
  KorContainer container;
  container.SetInt32("UploadInterval", number);
  container.SetInt32("UploadGap", number);
  return container;
}

TEST_F(HardwareConfigTest, NobodySeesHalfAConfiguration) {
  ASSERT_TRUE(config.Synchronize(true));
  config.Read(Pair(1), 63);
  std::atomic<bool> done = false;
  std::thread writer([&] {
    for (int32_t round = 0; round < 2000; ++round) config.Read(Pair(round), 63);
    done = true;
  });
  int torn = 0;
  while (!done) {
    KorContainer seen;
    config.Write(seen, 63);
    int32_t interval = -1;
    int32_t gap = -2;
    seen.GetInt32("UploadInterval", interval);
    seen.GetInt32("UploadGap", gap);
    torn += interval == gap ? 0 : 1;
  }
  writer.join();
  EXPECT_EQ(torn, 0);
}

}  // namespace
