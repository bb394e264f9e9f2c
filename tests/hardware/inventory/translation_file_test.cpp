#include "hardware/inventory/translation_file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <future>
#include <string>
#include <string_view>

#include "hardware/filter/default_translation_file.h"
#include "hardware/filter/hw_filter.h"
#include "kor/file.h"
#include "korcore/agent_context.h"
#include "support/captured_log.h"
#include "support/log_trap.h"
#include "support/temporary_folder.h"

namespace HardwareInventory {
namespace {

const char* const kDefaultSetting = "../data/HardwareInventory/hwinvcfg.xml";

std::string Hex32(uint32_t number) {
  std::string bytes;
  for (int shift = 0; shift < 32; shift += 8) bytes += static_cast<char>(number >> shift & 0xFF);
  return bytes;
}
std::string Hex16(size_t number) {
  return Hex32(static_cast<uint32_t>(number)).substr(0, 2);
}

uint32_t Crc32(std::string_view data) {
  uint32_t crc = UINT32_MAX;
  for (const char byte : data) {
    crc ^= static_cast<unsigned char>(byte);
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ ((crc & 1U) != 0 ? 0xEDB88320U : 0U);
  }
  return ~crc;
}

// An archive of stored entries.
class Archive {
 public:
  Archive& Add(std::string_view name, std::string_view content) {
    const auto size = Hex32(static_cast<uint32_t>(content.size()));
    const std::string common = Hex16(20) + Hex16(0) + Hex16(0) + Hex16(0) + Hex16(0x21) +
                               Hex32(Crc32(content)) + size + size + Hex16(name.size()) + Hex16(0);
    directory += "PK\1\2" + Hex16(20) + common + Hex16(0) + Hex16(0) + Hex16(0) + Hex32(0) +
                 Hex32(static_cast<uint32_t>(entries.size()));
    directory += name;
    entries += "PK\3\4" + common;
    entries += name;
    entries += content;
    ++count;
    return *this;
  }

  std::string Bytes() const {
    return entries + directory + "PK\5\6" + Hex16(0) + Hex16(0) + Hex16(count) + Hex16(count) +
           Hex32(static_cast<uint32_t>(directory.size())) +
           Hex32(static_cast<uint32_t>(entries.size())) + Hex16(0);
  }

 private:
  std::string entries;
  std::string directory;
  size_t count = 0;
};

// A home with a configuration and a data folder, and the module set up for it.
class TranslationFile : public testing::Test {
 protected:
  void SetUp() override {
    std::filesystem::create_directories(home.Path("config").Str());
    std::filesystem::create_directories(home.Path("data/HardwareInventory").Str());
    KorAgentSetConfigDir(home.Path("config/"));
    strModuleFilterFileStd = InData("hwinvcfg.xml");
    strModuleFilterFileTmp = InData("hwinvcfg_tmp.xml");
    strModuleFilterFileNet = InData("hwinvcfg_net.xml");
  }
  void TearDown() override {
    EXPECT_TRUE(mutexInv.Native().try_lock()) << "the module's lock is still held";
    mutexInv.Native().unlock();
    hwConfig.Reset();
    KorAgentSetConfigDir("");
    strModuleFilterFileStd.Clear();
    strModuleFilterFileTmp.Clear();
    strModuleFilterFileNet.Clear();
  }

  KorString InData(const std::string& name) { return home.Path("data/HardwareInventory/" + name); }

  bool Get(const KorString& setting) {
    hwConfig.SetTranslationFile(setting, true);
    path = "untouched";
    CapturedLog log(debugInv);
    const CapturedLog frameworkLog(KorFrameworkLog());
    const bool found = GetTranslationFile(path);
    messages = log.Text();
    return found;
  }

  std::string Configured(const KorString& setting) {
    return "print: Processing configured translation file '" + setting.Str() + "'\n";
  }

  KorString UrlOf(const std::string& content) {
    return KorString("file://") + home.Write("served", content);
  }

  TemporaryFolder home;
  KorString path;
  std::string messages;
};

TEST_F(TranslationFile, MissingDefaultFileIsCreated) {
  EXPECT_TRUE(Get(kDefaultSetting));
  EXPECT_EQ(path, strModuleFilterFileStd);
  EXPECT_EQ(home.Read("data/HardwareInventory/hwinvcfg.xml"), DEFAULT_TRANSLATION_FILE);
  EXPECT_EQ(messages, Configured(kDefaultSetting) + "print: Creating default translation file '" +
                          path.Str() + "'\n");
}

TEST_F(TranslationFile, DefaultFileThatIsThereIsUsed) {
  home.Write("data/HardwareInventory/hwinvcfg.xml", "<HWINVCONFIG/>");
  EXPECT_TRUE(Get(kDefaultSetting));
  EXPECT_EQ(path, strModuleFilterFileStd);
  EXPECT_EQ(home.Read("data/HardwareInventory/hwinvcfg.xml"), "<HWINVCONFIG/>");
  EXPECT_EQ(messages, Configured(kDefaultSetting));
}

TEST_F(TranslationFile, DefaultFileThatCannotBeLookedAtIsNotReplaced) {
  std::filesystem::create_symlink("hwinvcfg.xml", strModuleFilterFileStd.Str());
  EXPECT_TRUE(Get(kDefaultSetting));
  EXPECT_EQ(path, strModuleFilterFileStd);
  EXPECT_TRUE(std::filesystem::is_symlink(path.Str()));
  EXPECT_EQ(messages, Configured(kDefaultSetting));
}

TEST_F(TranslationFile, EmptyDefaultFileIsMadeAnew) {
  home.Write("data/HardwareInventory/hwinvcfg.xml", "");
  EXPECT_TRUE(Get(kDefaultSetting));
  EXPECT_EQ(home.Read("data/HardwareInventory/hwinvcfg.xml"), DEFAULT_TRANSLATION_FILE);
  EXPECT_EQ(messages, Configured(kDefaultSetting) + "print: Creating default translation file '" +
                          path.Str() + "'\n");
}

// Root removes any file, so this is done as somebody else.
TEST_F(TranslationFile, EmptyDefaultFileThatCannotBeRemovedFails) {
  home.Write("data/HardwareInventory/hwinvcfg.xml", "");
  chmod(home.Path().CStr(), 0755);
  chmod(InData("").CStr(), 0555);
  const auto get = [this] {
    if (geteuid() == 0 && setuid(65534) != 0) return 1;
    if (Get(kDefaultSetting) || path != "untouched") return 2;
    return messages == Configured(kDefaultSetting) + "error: Failed to remove file '" +
                           strModuleFilterFileStd.Str() + "'\n"
               ? 0
               : 3;
  };
  EXPECT_EXIT(std::_Exit(get()), testing::ExitedWithCode(0), "");
  chmod(InData("").CStr(), 0755);
}

TEST_F(TranslationFile, DefaultFileThatCannotBeCreatedFails) {
  std::filesystem::remove_all(home.Path("data").Str());
  EXPECT_FALSE(Get(kDefaultSetting));
  EXPECT_EQ(path, KorString("untouched"));
  const std::string file = strModuleFilterFileStd.Str();
  EXPECT_EQ(messages, Configured(kDefaultSetting) + "print: Creating default translation file '" +
                          file + "'\nerror: Failed to create file '" + file + "'\n");
}

// Unlike the default setting, the empty one names a file that somebody has to provide.
TEST_F(TranslationFile, EmptySettingUsesTheDataFolderButCreatesNothing) {
  const std::string file = strModuleFilterFileStd.Str();
  const std::string warning =
      Configured("") + "warning: Translation file path is empty, using default '" + file + "'\n";
  EXPECT_FALSE(Get(""));
  EXPECT_EQ(messages, warning + "error: Translation file does not exist '" + file + "'\n");
  EXPECT_FALSE(FileExists(strModuleFilterFileStd));

  home.Write("data/HardwareInventory/hwinvcfg.xml", "x");
  EXPECT_TRUE(Get(""));
  EXPECT_EQ(path, strModuleFilterFileStd);
  EXPECT_EQ(messages, warning);
}

TEST_F(TranslationFile, DefaultSettingInAnotherLetterCaseIsNotTheDefault) {
  EXPECT_FALSE(Get("../data/HardwareInventory/HWINVCFG.xml"));
  EXPECT_NE(messages.find("error: Translation file does not exist '"), std::string::npos);
}

TEST_F(TranslationFile, AbsoluteDefaultPathIsNotTheDefault) {
  EXPECT_FALSE(Get(strModuleFilterFileStd));
  EXPECT_FALSE(FileExists(strModuleFilterFileStd));
}

TEST_F(TranslationFile, EmptyConfiguredFileIsUsedWithAWarning) {
  const KorString file = home.Write("mine.xml", "");
  EXPECT_TRUE(Get(file));
  EXPECT_EQ(path, file);
  EXPECT_EQ(messages,
            Configured(file) + "warning: Using empty translation file '" + file.Str() + "'\n");
  EXPECT_EQ(FileGetSize(file), 0);
}

TEST_F(TranslationFile, RelativePathsStartAtTheConfigurationFolder) {
  home.Write("config/bare.xml", "x");
  EXPECT_TRUE(Get("bare.xml"));
  EXPECT_EQ(path, home.Path("config/bare.xml"));
  home.Write("above.xml", "x");
  EXPECT_TRUE(Get("./../above.xml"));
  EXPECT_EQ(path, home.Path("above.xml"));
}

TEST_F(TranslationFile, MissingConfiguredFileFails) {
  EXPECT_FALSE(Get("none.xml"));
  EXPECT_EQ(messages, Configured("none.xml") + "error: Translation file does not exist '" +
                          home.Path("config/none.xml").Str() + "'\n");
}

TEST_F(TranslationFile, BackslashCountsAsAbsolute) {
  EXPECT_FALSE(Get("\\none.xml"));
  EXPECT_EQ(messages,
            Configured("\\none.xml") + "error: Translation file does not exist '\\none.xml'\n");
}

TEST_F(TranslationFile, PlainDownloadBecomesTheNetFile) {
  home.Write("data/HardwareInventory/hwinvcfg_net.xml", "old");
  home.Write("data/HardwareInventory/hwinvcfg_tmp.xml", "left over");
  const KorString url = UrlOf("<HWINVCONFIG/>");
  EXPECT_TRUE(Get(url));
  EXPECT_EQ(path, strModuleFilterFileNet);
  EXPECT_EQ(home.Read("data/HardwareInventory/hwinvcfg_net.xml"), "<HWINVCONFIG/>");
  EXPECT_FALSE(FileExists(strModuleFilterFileTmp));
  EXPECT_EQ(messages, Configured(url));
}

TEST_F(TranslationFile, EmptyDownloadIsUsedWithAWarning) {
  const KorString url = UrlOf("");
  EXPECT_TRUE(Get(url));
  EXPECT_EQ(path, strModuleFilterFileNet);
  EXPECT_EQ(messages,
            Configured(url) + "warning: Using empty translation file '" + path.Str() + "'\n");
}

TEST_F(TranslationFile, ArchiveOfOneEntryIsUnpacked) {
  const KorString url = UrlOf(Archive().Add("any name.txt", "<HWINVCONFIG/>").Bytes());
  EXPECT_TRUE(Get(url));
  EXPECT_EQ(path, strModuleFilterFileNet);
  EXPECT_EQ(home.Read("data/HardwareInventory/hwinvcfg_net.xml"), "<HWINVCONFIG/>");
  EXPECT_FALSE(FileExists(strModuleFilterFileTmp));
  EXPECT_EQ(messages, Configured(url));
}

TEST_F(TranslationFile, ArchiveOfTwoEntriesIsTakenAsTheFileItself) {
  const std::string archive = Archive().Add("a.xml", "<A/>").Add("b.xml", "<B/>").Bytes();
  EXPECT_TRUE(Get(UrlOf(archive)));
  EXPECT_EQ(path, strModuleFilterFileNet);
  EXPECT_EQ(home.Read("data/HardwareInventory/hwinvcfg_net.xml"), archive);
  const CapturedLog log(debugInv);
  const CapturedLog frameworkLog(KorFrameworkLog());
  HwFilter filter;
  EXPECT_FALSE(filter.Load(path));
}

TEST_F(TranslationFile, ArchiveWhoseEntryCannotBeExtractedFails) {
  const KorString url = UrlOf(Archive().Add("folder/", "").Bytes());
  EXPECT_FALSE(Get(url));
  EXPECT_EQ(messages, Configured(url) +
                          "error: Failed to extract file from archive\n"
                          "error: File does not exist '" +
                          strModuleFilterFileNet.Str() + "'\n");
  EXPECT_FALSE(FileExists(strModuleFilterFileTmp));
}

TEST_F(TranslationFile, FailedDownloadHasAlreadyRemovedTheOldFile) {
  home.Write("data/HardwareInventory/hwinvcfg_net.xml", "old");
  const KorString url = KorString("file://") + home.Path("none.xml");
  EXPECT_FALSE(Get(url));
  EXPECT_EQ(messages,
            Configured(url) + "error: Failed to retrieve file from URL '" + url.Str() + "'\n");
  EXPECT_FALSE(FileExists(strModuleFilterFileNet));
}

TEST_F(TranslationFile, UnknownSchemeIsAUrl) {
  EXPECT_FALSE(Get("nothing://x"));
  EXPECT_EQ(messages,
            Configured("nothing://x") + "error: Failed to retrieve file from URL 'nothing://x'\n");
}

TEST_F(TranslationFile, AUrlNeedsNoScheme) {
  EXPECT_FALSE(Get("://x"));
  EXPECT_EQ(messages, Configured("://x") + "error: Failed to retrieve file from URL '://x'\n");
}

TEST_F(TranslationFile, OldFilesThatCannotBeRemovedFail) {
  const KorString url = UrlOf("x");
  std::filesystem::create_directories(strModuleFilterFileTmp.Str());
  EXPECT_FALSE(Get(url));
  EXPECT_EQ(messages, Configured(url) + "error: Failed to remove file '" +
                          strModuleFilterFileTmp.Str() + "'\n");
  std::filesystem::create_directories(strModuleFilterFileNet.Str());
  EXPECT_FALSE(Get(url));
  EXPECT_EQ(messages, Configured(url) + "error: Failed to remove file '" +
                          strModuleFilterFileNet.Str() + "'\n");
}

TEST_F(TranslationFile, DownloadThatCannotBeRenamedIsRemoved) {
  strModuleFilterFileNet = home.Path("none/net.xml");
  const KorString url = UrlOf("x");
  EXPECT_FALSE(Get(url));
  EXPECT_EQ(messages, Configured(url) + "error: Failed to rename file '" +
                          strModuleFilterFileTmp.Str() + "' to '" + strModuleFilterFileNet.Str() +
                          "'\n");
  EXPECT_FALSE(FileExists(strModuleFilterFileTmp));
}

TEST_F(TranslationFile, DownloadThatCannotBeRemovedIsWarnedOf) {
  strModuleFilterFileNet = home.Path("none/net.xml");
  hwConfig.SetTranslationFile(UrlOf("x"), true);
  const CapturedLog frameworkLog(KorFrameworkLog());
  const LogTrap log(debugInv, "Failed to rename file", [] {
    FileDelete(strModuleFilterFileTmp);
    std::filesystem::create_directories((strModuleFilterFileTmp + "/inner").Str());
  });
  EXPECT_FALSE(GetTranslationFile(path));
  EXPECT_TRUE(log.Text().ends_with("\nwarning: Failed to remove file '" +
                                   strModuleFilterFileTmp.Str() + "'\n"))
      << log.Text();
}

TEST_F(TranslationFile, WaitsForTheModulesLock) {
  hwConfig.SetTranslationFile(kDefaultSetting, true);
  const CapturedLog log(debugInv);
  mutexInv.Native().lock();
  std::future<bool> found = std::async(std::launch::async, [] {
    KorString file;
    return GetTranslationFile(file);
  });
  EXPECT_EQ(found.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
  EXPECT_FALSE(FileExists(strModuleFilterFileStd));
  mutexInv.Native().unlock();
  EXPECT_TRUE(found.get());
}

}  // namespace
}  // namespace HardwareInventory
