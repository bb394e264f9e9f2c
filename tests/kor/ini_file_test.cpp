#include "kor/ini_file.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>

#include "kor/file.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

using namespace std::string_literals;

const KorString kSection = "HardwareInventory";

// Removes what a test has overridden.
class IniOverride : public testing::Test {
 protected:
  void TearDown() override { IniFile::ClearOverrides(); }
};

KorString TextOf(const IniFile& ini, const KorString& section, const KorString& key) {
  KorString value = "not filled";
  ini.GetEntryValue(section, key, value, "the default");
  return value;
}

int64_t IntegerOf(const std::string& written) {
  const TemporaryFolder folder;
  const IniFile ini(folder.Write("x.ini", "[HardwareInventory]\nkey=" + written + "\n"));
  int64_t value = -1;
  const bool isThere = ini.GetEntryValue(kSection, "key", value, int64_t{4711});
  EXPECT_EQ(isThere, value != 4711) << written;
  return value;
}

bool BoolOf(const std::string& written, bool defaultValue) {
  const TemporaryFolder folder;
  const IniFile ini(folder.Write("x.ini", "[HardwareInventory]\nkey=" + written + "\n"));
  bool value = !defaultValue;
  ini.GetEntryValue(kSection, "key", value, defaultValue);
  return value;
}

TEST(IniFile, MissingFileGivesEveryDefault) {
  const TemporaryFolder folder;
  const IniFile ini(folder.Path("missing.ini"));
  KorString text;
  int64_t number = 0;
  bool flag = false;
  EXPECT_FALSE(ini.GetEntryValue(kSection, "TranslationFile", text, "../data/x.xml"));
  EXPECT_FALSE(ini.GetEntryValue(kSection, "UploadInterval", number, int64_t{3600}));
  EXPECT_FALSE(ini.GetEntryValue(kSection, "UploadOnStartup", flag, true));
  EXPECT_EQ(text, "../data/x.xml");
  EXPECT_EQ(number, 3600);
  EXPECT_TRUE(flag);
}

TEST(IniFile, FileWithoutTheSectionGivesEveryDefault) {
  const TemporaryFolder folder;
  const IniFile ini(folder.Write("x.ini", "UploadInterval=1\n[Other]\nUploadInterval=2\n"));
  EXPECT_EQ(TextOf(ini, kSection, "UploadInterval"), "the default");
  EXPECT_EQ(TextOf(ini, "Other", "UploadInterval"), "2");
  EXPECT_EQ(TextOf(ini, "", "UploadInterval"), "1");
}

TEST(IniFile, NamesIgnoreLetterCaseAndBlanks) {
  const TemporaryFolder folder;
  const IniFile ini(
      folder.Write("x.ini", "  [ hardwareINVENTORY ] ; text\n \tUploadGAP \t=  a b  \n"));
  EXPECT_EQ(TextOf(ini, kSection, "uploadgap"), "a b");
}

TEST(IniFile, CommentsAreNoEntries) {
  const TemporaryFolder folder;
  const IniFile ini(folder.Write("x.ini", "[HardwareInventory]\n;a=1\n # b=2\nc=3 ; d\n"));
  EXPECT_EQ(TextOf(ini, kSection, "a"), "the default");
  EXPECT_EQ(TextOf(ini, kSection, ";a"), "the default");
  EXPECT_EQ(TextOf(ini, kSection, "b"), "the default");
  EXPECT_EQ(TextOf(ini, kSection, "c"), "3 ; d");
}

TEST(IniFile, ByteOrderMarkAndCarriageReturnsAreNoPartOfNamesAndValues) {
  const TemporaryFolder folder;
  const IniFile ini(folder.Write("x.ini", "\xEF\xBB\xBF[HardwareInventory]\r\na=1\r\n"));
  EXPECT_EQ(TextOf(ini, kSection, "a"), "1");
}

TEST(IniFile, LastOfSeveralEntriesCounts) {
  const TemporaryFolder folder;
  const IniFile ini(
      folder.Write("x.ini", "[HardwareInventory]\na=1\n[B]\na=2\n[HardwareInventory]\na=3\n"));
  EXPECT_EQ(TextOf(ini, kSection, "a"), "3");
}

TEST(IniFile, EmptyTextIsThere) {
  const TemporaryFolder folder;
  const IniFile ini(folder.Write("x.ini", "[HardwareInventory]\nTranslationFile=\n"));
  KorString text = "before";
  EXPECT_TRUE(ini.GetEntryValue(kSection, "TranslationFile", text, "the default"));
  EXPECT_EQ(text, "");
}

TEST(IniFile, IntegersAreDecimalWithASign) {
  EXPECT_EQ(IntegerOf("3600"), 3600);
  EXPECT_EQ(IntegerOf(" -5 "), -5);
  EXPECT_EQ(IntegerOf("+7"), 7);
  EXPECT_EQ(IntegerOf("007"), 7);
  EXPECT_EQ(IntegerOf("4294967295"), 4294967295);
  EXPECT_EQ(IntegerOf("9223372036854775807"), std::numeric_limits<int64_t>::max());
  EXPECT_EQ(IntegerOf("-9223372036854775808"), std::numeric_limits<int64_t>::min());
}

TEST(IniFile, WhatIsNoIntegerGivesTheDefault) {
  for (const char* written : {"", "1x", "0x10", "1.5", "1 2", "- 5", "+-5", "--5", "+", "-", "1e3",
                              "9223372036854775808", "-9223372036854775809", "yes"}) {
    EXPECT_EQ(IntegerOf(written), 4711) << written;
  }
}

TEST(IniFile, BooleansAreEightWordsInAnyCase) {
  for (const char* word : {"yes", "Yes", "TRUE", "true", "on", "oN", "1"}) {
    EXPECT_TRUE(BoolOf(word, false)) << word;
  }
  for (const char* word : {"no", "NO", "false", "False", "off", "0"}) {
    EXPECT_FALSE(BoolOf(word, true)) << word;
  }
}

TEST(IniFile, WhatIsNoBooleanGivesTheDefault) {
  for (const char* word : {"", "y", "2", "enabled", "yes please", "01"}) {
    EXPECT_TRUE(BoolOf(word, true)) << word;
    EXPECT_FALSE(BoolOf(word, false)) << word;
  }
}

TEST(IniFile, WriteCreatesFileAndSection) {
  const TemporaryFolder folder;
  IniFile ini(folder.Path("new.ini"));
  EXPECT_TRUE(ini.SetEntryValue(kSection, "UploadInterval", int64_t{4294967295}));
  EXPECT_TRUE(ini.SetEntryValue(kSection, "DifferencialUpload", "yes"));
  EXPECT_EQ(folder.Read("new.ini"),
            "[HardwareInventory]\nUploadInterval = 4294967295\nDifferencialUpload = yes\n");
}

TEST(IniFile, WriteChangesOneLineAndKeepsAllOthers) {
  const TemporaryFolder folder;
  const std::string before =
      "; first comment\n\n[Foreign]\n  key=value\nnot understood\n\n# about uploads\n"
      "[hardwareinventory]\nUploadGap=\t1\n; trailing\n\n[Last]\na=1\na=2\n;the end";
  const KorString path = folder.Write("x.ini", before);
  EXPECT_TRUE(IniFile(path).SetEntryValue(kSection, "UPLOADGAP", int64_t{20}));
  std::string expected = before;
  expected.replace(expected.find("UploadGap=\t1"), 12, "UploadGap=\t20");
  EXPECT_EQ(folder.Read("x.ini"), expected);
}

TEST(IniFile, NewEntryStandsBehindTheLastOfItsSection) {
  const TemporaryFolder folder;
  const KorString path =
      folder.Write("x.ini", "[HardwareInventory]\na = 1\n\n; about other things\n[Other]\nb = 2\n");
  EXPECT_TRUE(IniFile(path).SetEntryValue(kSection, "c", "3"));
  EXPECT_EQ(folder.Read("x.ini"),
            "[HardwareInventory]\na = 1\nc = 3\n\n; about other things\n[Other]\nb = 2\n");
}

TEST(IniFile, NewSectionStandsAtTheEndAlsoWithoutALastLineEnd) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("x.ini", "[Other]\r\nb = 2");
  EXPECT_TRUE(IniFile(path).SetEntryValue(kSection, "c", "3"));
  EXPECT_EQ(folder.Read("x.ini"), "[Other]\r\nb = 2\r\n\r\n[HardwareInventory]\r\nc = 3\r\n");
}

TEST(IniFile, ChangedValuesKeepTheLineEnd) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("x.ini", "[HardwareInventory]\r\na=\r\nb=1\r\nc = old");
  IniFile ini(path);
  EXPECT_TRUE(ini.SetEntryValue(kSection, "a", "x"));
  EXPECT_TRUE(ini.SetEntryValue(kSection, "b", ""));
  EXPECT_TRUE(ini.SetEntryValue(kSection, "c", "new"));
  EXPECT_EQ(folder.Read("x.ini"), "[HardwareInventory]\r\na=x\r\nb=\r\nc = new");
}

TEST(IniFile, ValueEndsAtItsFirstLineEnd) {
  const TemporaryFolder folder;
  IniFile ini(folder.Path("x.ini"));
  EXPECT_TRUE(ini.SetEntryValue(kSection, "a", "one\nUploadGap = 5"));
  EXPECT_TRUE(ini.SetEntryValue(kSection, "b", "two\rUploadGap = 5"));
  EXPECT_EQ(folder.Read("x.ini"), "[HardwareInventory]\na = one\nb = two\n");
}

TEST(IniFile, ValueIsWrittenWithoutTheBlanksAroundIt) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("x.ini", "[HardwareInventory]\na = 1\n");
  IniFile ini(path);
  for (int time = 0; time < 2; ++time) {
    EXPECT_TRUE(ini.SetEntryValue(kSection, "a", " x y\t"));
    EXPECT_TRUE(ini.SetEntryValue(kSection, "b", " "));
    EXPECT_EQ(folder.Read("x.ini"), "[HardwareInventory]\na = x y\nb = \n");
  }
}

TEST(IniFile, NamesThatWouldNotBeReadBackAreRefused) {
  const TemporaryFolder folder;
  IniFile ini(folder.Path("x.ini"));
  for (const char* name : {"", "a=b", "[a", "a]", ";a", "#a", " a", "a\nb", "\xEF\xBB\xBFx"}) {
    EXPECT_FALSE(ini.SetEntryValue(kSection, name, "1")) << name;
    EXPECT_FALSE(ini.SetEntryValue(name, "key", "1")) << name;
  }
  EXPECT_EQ(folder.CountEntries(), 0u);
}

TEST(IniFile, WrittenValuesAreReadBack) {
  const TemporaryFolder folder;
  const KorString path = folder.Path("x.ini");
  for (const char* value :
       {"", "=", "a=b", "[x]", ";", "# x", "<<<END", "\"quoted\"", "\xff\xc3"}) {
    IniFile writer(path);
    EXPECT_TRUE(writer.SetEntryValue(kSection, "key", value));
    EXPECT_EQ(TextOf(writer, kSection, "key"), value);
    EXPECT_EQ(TextOf(IniFile(path), kSection, "key"), value);
  }
}

TEST(IniFile, FailedWriteLeavesFileAndObjectAsTheyWere) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("file", "") + "/x.ini";
  const CapturedLog log(KorFrameworkLog());
  IniFile ini(path);
  EXPECT_FALSE(ini.SetEntryValue(kSection, "a", "1"));
  EXPECT_EQ(TextOf(ini, kSection, "a"), "the default");
  EXPECT_EQ(log.Text(),
            "warning: " + path.Str() + ": cannot create a temporary file: Not a directory\n");
}

TEST(IniFile, WhatCannotBeReadIsNotOverwritten) {
  const TemporaryFolder folder;
  const CapturedLog log(KorFrameworkLog());
  IniFile ini(folder.Path());
  EXPECT_FALSE(ini.SetEntryValue(kSection, "a", "1"));
  EXPECT_EQ(log.Text(), "warning: Cannot read '" + folder.Path().Str() + "': Is a directory\n");
}

TEST(IniFile, WhatCannotBeLookedAtIsNotTakenForMissing) {
  const TemporaryFolder folder;
  const KorString path = folder.Path("loop.ini");
  std::filesystem::create_symlink("loop.ini", path.Str());
  const CapturedLog log(KorFrameworkLog());
  IniFile ini(path);
  EXPECT_EQ(ini.Error(), "Too many levels of symbolic links");
  EXPECT_FALSE(ini.SetEntryValue(kSection, "a", "1"));
  EXPECT_TRUE(std::filesystem::is_symlink(path.Str()));
  EXPECT_EQ(log.Text(),
            "warning: Cannot read '" + path.Str() + "': Too many levels of symbolic links\n");
}

TEST(IniFile, FileOverOneMebibyteIsNotReadAndNotOverwritten) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("a.ini", "[A]\nk = v\n");
  std::filesystem::resize_file(path.Str(), 1024 * 1024 + 1);
  const CapturedLog log(KorFrameworkLog());
  IniFile ini(path);
  KorString value;
  EXPECT_FALSE(ini.GetEntryValue("A", "k", value, "default"));
  EXPECT_EQ(value, "default");
  EXPECT_FALSE(ini.SetEntryValue("A", "k", KorString("w")));
  ASSERT_EQ(log.Entries().size(), 1U);
  EXPECT_EQ(log.Entries()[0].text,
            "Cannot read '" + path.Str() + "': it is larger than 1048576 bytes");
}

TEST(IniFile, DamagedHeaderEndsTheSectionBefore) {
  const TemporaryFolder folder;
  const IniFile ini(folder.Write("x.ini", "[HardwareInventory]\na=1\n[Foreign\nb=2\n"));
  EXPECT_EQ(TextOf(ini, kSection, "a"), "1");
  EXPECT_EQ(TextOf(ini, kSection, "b"), "the default");
  EXPECT_EQ(TextOf(ini, "Foreign", "b"), "the default");
}

TEST(IniFile, BinaryContentIsReadAroundAndKept) {
  const TemporaryFolder folder;
  std::string content;
  for (unsigned int i = 0; i < 100'000; ++i) content += static_cast<char>(i * i % 257);
  content += "\n[\n]\n=\n==\n[]\n\0\0[HardwareInventory]\nx\n"s;
  content += "[HardwareInventory]\nUploadGap=12\n\0\0"s;
  const KorString path = folder.Write("x.ini", content);
  IniFile ini(path);
  EXPECT_EQ(TextOf(ini, kSection, "UploadGap"), "12");
  EXPECT_TRUE(ini.SetEntryValue(kSection, "UploadGap", int64_t{13}));
  content.replace(content.find("=12"), 3, "=13");
  EXPECT_TRUE(folder.Read("x.ini") == content);
}

TEST_F(IniOverride, StandsBeforeEveryFile) {
  const TemporaryFolder folder;
  IniFile::Override("hardwareinventory", "uploadgap", "77");
  int64_t number = 0;
  const IniFile one(folder.Write("x.ini", "[HardwareInventory]\nUploadGap=1\n"));
  EXPECT_TRUE(one.GetEntryValue(kSection, "UploadGap", number, int64_t{0}));
  EXPECT_EQ(number, 77);
  const IniFile none(folder.Path("missing.ini"));
  EXPECT_TRUE(none.GetEntryValue(kSection, "UploadGap", number, int64_t{0}));
  EXPECT_EQ(number, 77);

  IniFile::ClearOverrides();
  EXPECT_TRUE(one.GetEntryValue(kSection, "UploadGap", number, int64_t{0}));
  EXPECT_EQ(number, 1);
}

TEST_F(IniOverride, IsNotWritten) {
  const TemporaryFolder folder;
  IniFile::Override(kSection, "UploadGap", "77");
  IniFile ini(folder.Path("x.ini"));
  EXPECT_TRUE(ini.SetEntryValue(kSection, "UploadGap", int64_t{5}));
  EXPECT_EQ(folder.Read("x.ini"), "[HardwareInventory]\nUploadGap = 5\n");
  EXPECT_EQ(TextOf(ini, kSection, "UploadGap"), "77");
}

TEST_F(IniOverride, OfAnotherTypeGivesTheDefault) {
  const TemporaryFolder folder;
  IniFile::Override(kSection, "UploadGap", "soon");
  const IniFile ini(folder.Write("x.ini", "[HardwareInventory]\nUploadGap=1\n"));
  int64_t number = 0;
  EXPECT_FALSE(ini.GetEntryValue(kSection, "UploadGap", number, int64_t{9}));
  EXPECT_EQ(number, 9);
}

}  // namespace
