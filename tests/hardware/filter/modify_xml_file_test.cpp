#include "hardware/filter/modify_xml_file.h"

#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <filesystem>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "hardware/filter/hw_filter.h"
#include "kor/file.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace HardwareInventory {
namespace {

struct Attribute {
  const char* name;
  const char* type;
  const char* action;
};

const char* const kHeader = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

class ModifyXmlFile : public testing::Test {
 protected:
  void SetUp() override { UseFile("filter.xml"); }
  void UseFile(const std::string& name) {
    file = folder.Path(name);
    strModuleIniFile =
        folder.Write("module.ini", "[HardwareInventory]\nTranslationFile = " + file.Str() + "\n");
  }
  void TearDown() override { strModuleIniFile.Clear(); }

  static KorContainer Parameters(const char* name, const char* id,
                                 const std::vector<Attribute>& attributes) {
    KorContainer values;
    for (size_t j = 0; j < attributes.size(); ++j) {
      values.SetString("AttrName", attributes[j].name, j);
      values.SetString("AttrType", attributes[j].type, j);
      values.SetString("AttrAction", attributes[j].action, j);
    }
    KorContainer params;
    params.SetString("ClassName", name);
    params.SetString("ClassID", id);
    params.SetContainer("Values", values);
    return params;
  }

  void Modify(const char* name, const char* id, const std::vector<Attribute>& attributes = {}) {
    const CapturedLog log(debugInv);
    const CapturedLog frameworkLog(KorFrameworkLog());
    KorContainer params = Parameters(name, id, attributes);
    EXPECT_EQ(ActionHandler_HardwareInvModifyXMLFile(&params), 0U);
    EXPECT_TRUE(params.Keys().empty());
    messages = log.Text();
  }

  // "Name=Id:action[attr/type/action ...]" for each class of the file.
  std::vector<std::string> Classes() {
    const CapturedLog log(debugInv);
    HwFilter filter;
    EXPECT_TRUE(filter.Load(file));
    std::vector<std::string> classes;
    for (uint32_t i = 0; i < filter.WmiClassCount(); ++i) {
      HwFilterWmiClass& entry = *filter.WmiClassGet(i);
      std::string text = entry.GetName().Str() + "=" + entry.GetId().Str() + ":" +
                         std::to_string(entry.GetAction()) + "[";
      entry.Attributes().First();
      while (const HwFilterWmiAttr* attr = entry.Attributes().Next()) {
        text += attr->GetName().Str() + "/" + attr->GetType().Str() + "/" +
                std::to_string(attr->GetAction()) + " ";
      }
      classes.push_back(text + "]");
    }
    return classes;
  }

  TemporaryFolder folder;
  KorString file;
  std::string messages;
};
using Texts = std::vector<std::string>;

TEST_F(ModifyXmlFile, NewClassIsAddedAndAccepted) {
  folder.Write("filter.xml", "<HWINVCONFIG><HWINVWMILIST/></HWINVCONFIG>");
  Modify("Processor", "Win32_Processor",
         {{"Name", "String", "Accept"}, {"Speed", "Integer", "Reject"}});
  EXPECT_EQ(Classes(), Texts{"Processor=Win32_Processor:1[Name/String/1 Speed//2 ]"});
  const std::string text = folder.Read("filter.xml");
  EXPECT_TRUE(text.starts_with(std::string(kHeader) + "<HWINVCONFIG>")) << text;
  EXPECT_NE(text.find("<ATTRTYPE>Integer</ATTRTYPE>"), std::string::npos);
  EXPECT_EQ(messages, "");
  EXPECT_FALSE(FileExists(file + "~"));
}

TEST_F(ModifyXmlFile, ClassWithoutAttributesHasAnEmptyList) {
  folder.Write("filter.xml", "<HWINVCONFIG><HWINVWMILIST/></HWINVCONFIG>");
  Modify("A", "B");
  EXPECT_EQ(Classes(), Texts{"A=B:1[]"});
  EXPECT_NE(folder.Read("filter.xml").find("<ATTRIBUTES"), std::string::npos);
}

TEST_F(ModifyXmlFile, SameNameWithAnotherIdentifierIsAnotherClass) {
  folder.Write("filter.xml", "<HWINVCONFIG><HWINVWMILIST/></HWINVCONFIG>");
  Modify("A", "B");
  Modify("A", "C");
  Modify("a", "B");
  Modify("A", "B");
  Modify("A", "C");
  EXPECT_EQ(Classes(), (Texts{"A=B:1[]", "A=C:1[]", "a=B:1[]"}));
}

TEST_F(ModifyXmlFile, SecondTimeUpdatesTheAttributeInItsPlace) {
  folder.Write("filter.xml", "<HWINVCONFIG><HWINVWMILIST/></HWINVCONFIG>");
  Modify("A", "B", {{"X", "String", "Accept"}, {"Y", "String", "Accept"}});
  Modify("A", "B", {{"X", "Date", "Accept"}});
  EXPECT_EQ(Classes(), Texts{"A=B:1[X/Date/1 Y/String/1 ]"});
}

TEST_F(ModifyXmlFile, EveryAttributeOfTheNameIsUpdated) {
  const std::string attribute =
      "<ATTRIBUTE><ATTRNAME>X</ATTRNAME><ATTRTYPE>String</ATTRTYPE><ATTRACTION>Accept</ATTRACTION>"
      "</ATTRIBUTE>";
  folder.Write("filter.xml",
               "<HWINVCONFIG><HWINVWMILIST><HWWMICLASS><CLASSNAME>A</CLASSNAME>"
               "<CLASSID>B</CLASSID><ACTION>Reject</ACTION><ATTRIBUTES>" +
                   attribute + attribute +
                   "</ATTRIBUTES></HWWMICLASS></HWINVWMILIST></HWINVCONFIG>");
  Modify("A", "B", {{"X", "Integer", "Accept"}});
  EXPECT_EQ(Classes(), Texts{"A=B:2[X/Integer/1 X/Integer/1 ]"});
}

TEST_F(ModifyXmlFile, UpdateChangesOnlyTextsThatAreThere) {
  folder.Write("filter.xml",
               "<HWINVCONFIG><HWINVWMILIST><HWWMICLASS><CLASSNAME>A</CLASSNAME>"
               "<CLASSID>B</CLASSID><ACTION>Accept</ACTION><ATTRIBUTES><ATTRIBUTE>"
               "<ATTRNAME>X</ATTRNAME><ATTRTYPE/><ATTRACTION>Accept</ATTRACTION>"
               "</ATTRIBUTE></ATTRIBUTES></HWWMICLASS></HWINVWMILIST></HWINVCONFIG>");
  Modify("A", "B", {{"X", "Integer", "Reject"}});
  EXPECT_EQ(Classes(), Texts{"A=B:1[X//2 ]"});
  EXPECT_EQ(folder.Read("filter.xml").find("Integer"), std::string::npos);
}

TEST_F(ModifyXmlFile, AllAttributesAreWrittenWithoutType) {
  folder.Write("filter.xml", "<HWINVCONFIG><HWINVWMILIST/></HWINVCONFIG>");
  Modify("A", "B", {{"*", "String", "Accept"}});
  EXPECT_EQ(Classes(), Texts{"A=B:1[*//1 ]"});
  EXPECT_EQ(folder.Read("filter.xml").find("ATTRTYPE"), std::string::npos);
}

TEST_F(ModifyXmlFile, AllAttributesAreUpdatedThoughTheyHaveNoType) {
  folder.Write("filter.xml", "<HWINVCONFIG><HWINVWMILIST/></HWINVCONFIG>");
  Modify("A", "B", {{"*", "", "Accept"}});
  Modify("A", "B", {{"*", "", "Reject"}});
  EXPECT_EQ(Classes(), Texts{"A=B:1[*//2 ]"});
}

TEST_F(ModifyXmlFile, ClassWithoutIdentifierIsFoundAgain) {
  folder.Write("filter.xml", "<HWINVCONFIG><HWINVWMILIST/></HWINVCONFIG>");
  Modify("A", "");
  Modify("A", "");
  const std::string text = folder.Read("filter.xml");
  EXPECT_EQ(text.find("<HWWMICLASS>"), text.rfind("<HWWMICLASS>")) << text;
  EXPECT_NE(text.find("<HWWMICLASS>"), std::string::npos) << text;
}

TEST_F(ModifyXmlFile, MissingElementsAreMade) {
  folder.Write("filter.xml", "<HWINVCONFIG/>");
  Modify("A", "B");
  EXPECT_EQ(Classes(), Texts{"A=B:1[]"});
  folder.Write("filter.xml",
               "<HWINVCONFIG><HWINVWMILIST><HWWMICLASS><CLASSNAME>A</CLASSNAME>"
               "<CLASSID>B</CLASSID><ACTION>Accept</ACTION></HWWMICLASS></HWINVWMILIST>"
               "</HWINVCONFIG>");
  Modify("A", "B", {{"X", "String", "Accept"}});
  EXPECT_EQ(Classes(), Texts{"A=B:1[X/String/1 ]"});
}

TEST_F(ModifyXmlFile, RulesAndCommentsStay) {
  const std::string rules =
      "<TRANSLATEHWLIST maxpass=\"2\"><!-- mine --><TRANSLATEHW label=\"a &amp; b\">"
      "<ACTION>Reject</ACTION></TRANSLATEHW></TRANSLATEHWLIST>";
  folder.Write("filter.xml", "<HWINVCONFIG><HWINVWMILIST/>" + rules + "</HWINVCONFIG>");
  Modify("A", "B");
  EXPECT_NE(folder.Read("filter.xml").find(rules), std::string::npos);
}

TEST_F(ModifyXmlFile, TextsAreEscaped) {
  folder.Write("filter.xml", "<HWINVCONFIG/>");
  Modify("<A> & \"B\"", "]]>");
  EXPECT_EQ(Classes(), Texts{"<A> & \"B\"=]]>:1[]"});
}

TEST_F(ModifyXmlFile, WhatIsNoTranslationFileIsLeftAsItIs) {
  for (const char* content : {"<HWINVCONFIG>", "<OTHER/>", ""}) {
    folder.Write("filter.xml", content);
    Modify("A", "B");
    EXPECT_EQ(folder.Read("filter.xml"), content);
    EXPECT_EQ(messages, "error: Cannot edit '" + file.Str() + "', it is not a translation file\n");
  }
}

TEST_F(ModifyXmlFile, MissingFileIsNotMade) {
  Modify("A", "B");
  EXPECT_FALSE(FileExists(file));
  EXPECT_EQ(folder.CountEntries(), 1U);
}

TEST_F(ModifyXmlFile, WithoutSettingTheSectionsNameIsTheFile) {
  strModuleIniFile = folder.Write("module.ini", "");
  Modify("A", "B");
  EXPECT_EQ(messages, "error: Cannot edit 'HardwareInventory', it is not a translation file\n");
}

TEST_F(ModifyXmlFile, TemporaryFileThatCannotBeMadeEndsTheEditSilently) {
  folder.Write("filter.xml", "<HWINVCONFIG/>");
  std::filesystem::create_directories((file + "~/x").Str());
  Modify("A", "B");
  EXPECT_EQ(folder.Read("filter.xml"), "<HWINVCONFIG/>");
  EXPECT_EQ(messages, "");
}

// The path is so long that no room is left for the name of the file that is written first.
TEST_F(ModifyXmlFile, LeftoverOfAnEarlierEditIsRemovedWhateverBecomesOfThisOne) {
  const size_t length = PATH_MAX - sizeof "~";
  const std::string name = std::string(length - folder.Path("f").GetLength(), '/') + "f";
  UseFile(name);
  folder.Write(name, "<HWINVCONFIG/>");
  const KorString leftover = folder.Write(name + "~", "<HWINV");

  Modify("A", "B");

  EXPECT_FALSE(FileExists(leftover));
  EXPECT_EQ(folder.Read(name), "<HWINVCONFIG/>");
}

// While somebody reads it, it stays as it is.
TEST_F(ModifyXmlFile, FileThatCannotBeReplacedInItsTurnIsAnErrorAndLeavesNothing) {
  folder.Write("filter.xml", "<HWINVCONFIG/>");
  const std::string temporary = (file + "~").Str();
  std::future<void> edit;
  {
    const KorMutexLock lock(mutexInv);
    edit = std::async(std::launch::async, [this] { Modify("A", "B"); });
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    while (!FileExists(file + "~") && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_EQ(folder.Read("filter.xml"), "<HWINVCONFIG/>");
    FileDelete(file);
    std::filesystem::create_directories((file + "/inner").Str());
  }
  edit.get();
  EXPECT_EQ(messages, "error: Failed to rename file '" + temporary + "' to '" + file.Str() + "'\n");
  EXPECT_FALSE(FileExists(file + "~"));
}

TEST_F(ModifyXmlFile, EditsAtOnceAreAllKept) {
  folder.Write("filter.xml", "<HWINVCONFIG/>");
  std::vector<std::thread> threads;
  for (const char* id : {"1", "2", "3", "4", "5", "6"}) {
    threads.emplace_back([id] {
      KorContainer params = Parameters("A", id, {});
      ActionHandler_HardwareInvModifyXMLFile(&params);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(Classes().size(), 6U);
}

}  // namespace
}  // namespace HardwareInventory
