#include "hardware/filter/filter_actions.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "hardware/filter/default_translation_file.h"
#include "kor/file.h"
#include "korcore/action_db.h"
#include "korcore/obj_inv.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace HardwareInventory {
namespace {

class FilterActions : public testing::Test {
 protected:
  void SetUp() override { UseFilter(DEFAULT_TRANSLATION_FILE); }
  void TearDown() override {
    EXPECT_TRUE(mutexInv.Native().try_lock()) << "the module's lock is still held";
    mutexInv.Native().unlock();
    hwConfig.Reset();
  }

  void UseFilter(std::string_view content) {
    filterFile = folder.Write("filter.xml", content);
    hwConfig.SetTranslationFile(filterFile, true);
  }

  // Saves a document with one value and gives its path.
  KorString SaveSource() {
    ObjInv document(nullptr);
    document.Ensure("Class")->Ensure("A", "String");
    document.Ensure("Class")->Ensure("0")->Ensure("A")->SetValue("1");
    KorString path = folder.Path("source.xml");
    EXPECT_TRUE(document.Save(path));
    return path;
  }

  uint32_t Apply(const KorString& source, const KorString& destination) {
    KorContainer params;
    params.SetString("SrcFilePath", source);
    params.SetString("DstFilePath", destination);
    return Apply(params);
  }
  uint32_t Apply(KorContainer& params) {
    CapturedLog log(debugInv);
    const CapturedLog frameworkLog(KorFrameworkLog());
    const uint32_t code = ActionHandler_HardwareInventoryApplyFilter(&params);
    Keep(log);
    return code;
  }
  uint32_t GetWmiFilter(KorContainer& params) {
    CapturedLog log(debugInv);
    const CapturedLog frameworkLog(KorFrameworkLog());
    const uint32_t code = ActionHandler_HardwareInventoryGetWmiFilter(&params);
    Keep(log);
    return code;
  }

  // What is said of the translation file and of single passes has tests of its own.
  void Keep(const CapturedLog& log) {
    messages.clear();
    for (const CapturedLog::Entry& entry : log.Entries()) {
      const bool isAction = entry.text.find("nventory") != std::string::npos ||
                            entry.text.find("ranslation file") != std::string::npos ||
                            entry.level == KorLogLevel::kError;
      if (!isAction || entry.text.starts_with("Processing")) continue;
      messages += std::string(KorLogLevelName(entry.level)) + ": " + entry.text + "\n";
    }
  }

  std::string Using() { return "print: Using translation file '" + filterFile.Str() + "'\n"; }

  TemporaryFolder folder;
  KorString filterFile;
  std::string messages;
};

TEST_F(FilterActions, DefaultFilterIsExportedWithAllItsClasses) {
  KorContainer params;
  params.SetString("Left", "over");
  EXPECT_EQ(GetWmiFilter(params), ACTIONDB_ERROR_SUCCESS);
  EXPECT_EQ(messages, Using());
  EXPECT_EQ(params.Keys(), std::vector<KorString>{"WMI_CLASS"});
  ASSERT_EQ(params.CountValues("WMI_CLASS"), 21);
  for (size_t i = 0; i < 21; ++i) {
    KorContainer wmiClass;
    KorString action;
    ASSERT_TRUE(params.GetContainer("WMI_CLASS", wmiClass, i));
    EXPECT_TRUE(wmiClass.GetString("WMI_CLASS_ACTION", action));
    EXPECT_EQ(action, KorString("accept"));
    EXPECT_EQ(wmiClass.CountValues("WMI_CLASS_ATTR"), -1);
  }
}

TEST_F(FilterActions, ExportWithoutTranslationFileFailsAndKeepsTheContainer) {
  hwConfig.SetTranslationFile(folder.Path("none.xml"), true);
  KorContainer params;
  params.SetString("Left", "over");
  EXPECT_EQ(GetWmiFilter(params), ACTIONDB_ERROR_FAILURE);
  EXPECT_EQ(messages, "error: Translation file does not exist '" + folder.Path("none.xml").Str() +
                          "'\nerror: Failed to get the translation file\n");
  EXPECT_EQ(params.CountValues("Left"), 1);
}

TEST_F(FilterActions, ExportOfABrokenTranslationFileFails) {
  UseFilter("<HWINVCONFIG>");
  KorContainer params;
  EXPECT_EQ(GetWmiFilter(params), ACTIONDB_ERROR_FAILURE);
  EXPECT_EQ(messages, Using() + "error: Failed to load filter '" + filterFile.Str() +
                          "'\nerror: Failed to load the inventory filter\n");
}

TEST_F(FilterActions, DefaultFilterLeavesTheDocumentAsItIs) {
  const KorString source = SaveSource();
  const KorString destination = folder.Path("result.xml");
  EXPECT_EQ(Apply(source, destination), ACTIONDB_ERROR_SUCCESS);
  EXPECT_EQ(folder.Read("result.xml"), folder.Read("source.xml"));
  EXPECT_EQ(messages, Using() + "trace: Inventory has been filtered '" + source.Str() + "' -> '" +
                          destination.Str() + "'\n");
}

TEST_F(FilterActions, RulesAreApplied) {
  UseFilter(
      "<HWINVCONFIG><TRANSLATEHWLIST maxpass='1'><TRANSLATEHW><MATCHHW><ATTRNAME>A</ATTRNAME>"
      "</MATCHHW><ACTION>Accept</ACTION><MODIFYHW><ATTRVALUE>2</ATTRVALUE></MODIFYHW>"
      "</TRANSLATEHW></TRANSLATEHWLIST></HWINVCONFIG>");
  const KorString destination = folder.Write("result.xml", "old");
  EXPECT_EQ(Apply(SaveSource(), destination), ACTIONDB_ERROR_SUCCESS);
  ObjInv result(nullptr);
  ASSERT_TRUE(result.Parse(destination, nullptr));
  EXPECT_EQ(result.Ensure("Class")->Ensure("0")->Ensure("A")->GetValue(), KorString("2"));
}

TEST_F(FilterActions, TranslationThatIsGivenUpFailsAndWritesNothing) {
  UseFilter(
      "<HWINVCONFIG><TRANSLATEHWLIST maxpass='1'><TRANSLATEHW><MATCHHW><ATTRNAME>*</ATTRNAME>"
      "</MATCHHW><ACTION>Accept</ACTION><MODIFYHW><ATTRVALUE>" +
      std::string(1'000'000, 'x') +
      "</ATTRVALUE></MODIFYHW></TRANSLATEHW></TRANSLATEHWLIST></HWINVCONFIG>");
  ObjInv document(nullptr);
  for (int n = 0; n < 300; ++n) {
    document.Ensure("Class")->Ensure("0")->Ensure(KorString(std::to_string(n)));
  }
  const KorString source = folder.Path("source.xml");
  ASSERT_TRUE(document.Save(source));

  EXPECT_EQ(Apply(source, folder.Path("result.xml")), ACTIONDB_ERROR_FAILURE);

  EXPECT_EQ(messages, Using() + "error: Failed to filter inventory '" + source.Str() +
                          "': the translation makes the inventory larger than 268435456 bytes and "
                          "is given up in pass 1\n");
  EXPECT_FALSE(FileExists(folder.Path("result.xml")));
}

TEST_F(FilterActions, ParametersStayInTheContainer) {
  KorContainer params;
  params.SetString("SrcFilePath", SaveSource());
  params.SetString("DstFilePath", folder.Path("result.xml"));
  EXPECT_EQ(Apply(params), ACTIONDB_ERROR_SUCCESS);
  EXPECT_EQ(params.Keys(), (std::vector<KorString>{"SrcFilePath", "DstFilePath"}));
}

TEST_F(FilterActions, MissingParametersAreBad) {
  KorContainer params;
  EXPECT_EQ(Apply(params), ACTIONDB_ERROR_BADPARAM);
  EXPECT_EQ(messages, "error: Cannot apply filter, missing source file\n");
  EXPECT_EQ(Apply(SaveSource(), ""), ACTIONDB_ERROR_BADPARAM);
  EXPECT_EQ(messages, "error: Cannot apply filter, missing destination file\n");
}

TEST_F(FilterActions, MissingSourceIsBadBeforeTheDestinationIsTouched) {
  const KorString source = folder.Path("none.xml");
  EXPECT_EQ(Apply(source, folder.Write("result.xml", "old")), ACTIONDB_ERROR_BADPARAM);
  EXPECT_EQ(messages,
            "error: Cannot apply filter, source file does not exist (" + source.Str() + ")\n");
  EXPECT_EQ(folder.Read("result.xml"), "old");
  EXPECT_EQ(Apply(source, ""), ACTIONDB_ERROR_BADPARAM);
  EXPECT_EQ(messages,
            "error: Cannot apply filter, source file does not exist (" + source.Str() + ")\n");
}

TEST_F(FilterActions, DestinationThatCannotBeDeletedFailsBeforeAnythingIsRead) {
  const KorString destination = folder.Path("folder");
  std::filesystem::create_directory(destination.Str());
  EXPECT_EQ(Apply(SaveSource(), destination), ACTIONDB_ERROR_FAILURE);
  EXPECT_EQ(messages, "error: Failed to remove file (" + destination.Str() + ")\n");
}

TEST_F(FilterActions, SourceThatIsNoDocumentFails) {
  const KorString source = folder.Write("source.xml", "no document");
  EXPECT_EQ(Apply(source, folder.Path("result.xml")), ACTIONDB_ERROR_FAILURE);
  EXPECT_EQ(messages, Using() + "error: Failed to parse inventory (" + source.Str() + ")\n");
  EXPECT_FALSE(FileExists(folder.Path("result.xml")));
}

TEST_F(FilterActions, DestinationThatCannotBeWrittenFails) {
  const KorString destination = folder.Path("none/result.xml");
  EXPECT_EQ(Apply(SaveSource(), destination), ACTIONDB_ERROR_FAILURE);
  EXPECT_EQ(messages, Using() + "error: Failed to write inventory '" + destination.Str() + "'\n");
}

TEST_F(FilterActions, ApplyWithoutTranslationFileFailsWithTheDestinationGone) {
  hwConfig.SetTranslationFile(folder.Path("none.xml"), true);
  const KorString destination = folder.Write("result.xml", "old");
  EXPECT_EQ(Apply(SaveSource(), destination), ACTIONDB_ERROR_FAILURE);
  EXPECT_NE(messages.find("error: Failed to get the translation file\n"), std::string::npos);
  EXPECT_FALSE(FileExists(destination));
}

TEST_F(FilterActions, ApplyWithABrokenTranslationFileFails) {
  UseFilter("<HWINVCONFIG");
  EXPECT_EQ(Apply(SaveSource(), folder.Path("result.xml")), ACTIONDB_ERROR_FAILURE);
  EXPECT_EQ(messages, Using() + "error: Failed to load filter '" + filterFile.Str() +
                          "'\nerror: Failed to load the inventory filter\n");
}

}  // namespace
}  // namespace HardwareInventory
