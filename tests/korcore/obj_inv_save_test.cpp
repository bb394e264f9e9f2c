#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>
#include <string_view>

#include "kor/debug.h"
#include "korcore/obj_inv.h"
#include "support/random_document.h"
#include "support/temporary_folder.h"

namespace {

std::string Xml(const ObjInv& document) {
  std::string text;
  document.WriteXml([&text](std::string_view piece) { text += piece; });
  return text;
}

std::string SavedValue(const KorString& text) {
  ObjInv document(nullptr);
  document.Ensure("c")->Ensure("i")->Ensure("v")->SetValue(text);
  const std::string xml = Xml(document);
  const std::string_view before = "<value name=\"v\">";
  const size_t start = xml.find(before) + before.size();
  return xml.substr(start, xml.find("</value>") - start);
}

class LastMessage : public KorDebugContext {
 public:
  bool Wants(KorLogLevel) const override { return true; }
  void Write(const KorLogRecord& record) override { text = record.text; }
  std::string text;
};

}  // namespace

TEST(ObjInvSave, DocumentThatNoReaderWouldTakeIsNotSaved) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("a.xml", "before");
  LastMessage log;
  ObjInv document(&log);
  document.Ensure("Disk")->Ensure("Size", "Integer");
  EXPECT_FALSE(document.Save(path, Xml(document).size() - 1));
  EXPECT_EQ(folder.Read("a.xml"), "before");
  EXPECT_EQ(log.text, "Failed to save inventory: " + path.Str() + ": it would be larger than " +
                          std::to_string(Xml(document).size() - 1) + " bytes");
  EXPECT_TRUE(document.Save(path, Xml(document).size()));
}

TEST(ObjInvSave, IsReadableWithOneElementALine) {
  ObjInv document(nullptr);
  document.SetName("HWINVENTORY");
  document.SetType(2);
  document.SetChecksum("d41d8cd98f00b204e9800998ecf8427e");
  document.SetLastChecksum("0cc175b9c0f1b6a831c399e269772661");
  ObjType* memory = document.Ensure("Physical Memory");
  memory->Ensure("Capacity", "Integer")->SetUnit("MB");
  memory->Ensure("Caption", "String")->SetDesc("What it is called");
  memory->Ensure("0")->Ensure("Capacity")->SetValue("2006");
  memory->Ensure("0")->Ensure("Caption");
  memory->Ensure("1");
  document.Ensure("Empty");

  EXPECT_EQ(Xml(document), R"(<?xml version="1.0" encoding="UTF-8"?>
<inventory format="1" name="HWINVENTORY" kind="2" checksum="d41d8cd98f00b204e9800998ecf8427e" last-checksum="0cc175b9c0f1b6a831c399e269772661">
  <class name="Physical Memory">
    <attribute name="Capacity" type="Integer" unit="MB"/>
    <attribute name="Caption" type="String" description="What it is called"/>
    <instance name="0">
      <value name="Capacity">2006</value>
      <value name="Caption"/>
    </instance>
    <instance name="1"/>
  </class>
  <class name="Empty"/>
</inventory>
)");
}

TEST(ObjInvSave, AnEmptyDocumentIsOneElement) {
  EXPECT_EQ(Xml(ObjInv(nullptr)),
            "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<inventory format=\"1\" name=\"\"/>\n");
}

TEST(ObjInvSave, MarkupIsEscaped) {
  EXPECT_EQ(SavedValue("a<b>&\"c'"), "a&lt;b&gt;&amp;&quot;c'");
}

TEST(ObjInvSave, AValueStaysOnItsLine) {
  EXPECT_EQ(SavedValue("a\r\nb\tc"), "a&#x0D;&#x0A;b&#x09;c");
}

TEST(ObjInvSave, TextBeyondAsciiStandsAsItIs) {
  EXPECT_EQ(SavedValue("K\xC3\xB6ln \xF0\x9F\x92\xBE"), "K\xC3\xB6ln \xF0\x9F\x92\xBE");
}

TEST(ObjInvSave, BytesThatXmlCannotCarryBecomeCharactersOfTheirOwn) {
  EXPECT_EQ(SavedValue(KorString("\0\x1B", 2)), "&#x10FE00;&#x10FE1B;");
  EXPECT_EQ(SavedValue("\xFF"), "&#x10FEFF;");
  EXPECT_EQ(SavedValue("\xC0\x80"), "&#x10FEC0;&#x10FE80;");
  EXPECT_EQ(SavedValue("\xED\xA0\x80"), "&#x10FEED;&#x10FEA0;&#x10FE80;");
  EXPECT_EQ(SavedValue("\xEF\xBF\xBE"), "&#x10FEEF;&#x10FEBF;&#x10FEBE;");
}

TEST(ObjInvSave, TheEscapesThemselvesAreCarriedByteByByte) {
  EXPECT_EQ(SavedValue("\xF4\x8F\xB8\x80"), "&#x10FEF4;&#x10FE8F;&#x10FEB8;&#x10FE80;");
  EXPECT_EQ(SavedValue("\xF4\x8F\xBC\x80"), "\xF4\x8F\xBC\x80");
}

TEST(ObjInvSave, TerminalControlsAreReferences) {
  EXPECT_EQ(SavedValue("\x7F\xC2\x9B"), "&#x7F;&#x9B;");
}

TEST(ObjInvSave, PiecesAreWholePagesWhateverTheLengthsOfTexts) {
  constexpr size_t kPage = 4'096;
  constexpr size_t kLengths[] = {0, 1, 30'000, 65'534, 65'535, 65'536, 65'537, 131'072, 200'001};
  for (const std::string_view end : {"", "&", "\n"}) {
    ObjInv document(nullptr);
    std::string values;
    for (const size_t length : kLengths) {
      const std::string name = "v" + std::to_string(length);
      const std::string text = std::string(length, 'x').append(end) + "y";
      document.Ensure("c")->Ensure("i")->Ensure(KorString(name))->SetValue(KorString(text));
      values += "      <value name=\"" + name + "\">" + std::string(length, 'x');
      values += end == "&" ? "&amp;" : end.empty() ? "" : "&#x0A;";
      values += "y</value>\n";
    }
    std::string xml;
    size_t piecesInParts = 0;
    document.WriteXml([&](std::string_view piece) {
      xml += piece;
      piecesInParts += piece.size() % kPage == 0 ? 0 : 1;
    });
    EXPECT_NE(xml.find(values), std::string::npos);
    EXPECT_EQ(xml.substr(xml.find("    </instance>")),
              "    </instance>\n  </class>\n</inventory>\n");
    EXPECT_LE(piecesInParts, 1u);
  }
}

// At each length the document ends elsewhere in its last piece, once right at its end.
TEST(ObjInvSave, NothingIsLostWhereOnePieceEnds) {
  for (size_t length = 65'440; length < 65'540; ++length) {
    ObjInv document(nullptr);
    document.SetName(KorString(std::string(length, 'x')));
    std::string xml;
    document.WriteXml([&xml](std::string_view piece) {
      EXPECT_FALSE(piece.empty());
      xml += piece;
    });
    ASSERT_EQ(xml, "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<inventory format=\"1\" name=\"" +
                       std::string(length, 'x') + "\"/>\n");
  }
}

TEST(ObjInvSave, MarksStandAtTheirElements) {
  ObjInv document(nullptr);
  ObjType* type = document.Ensure("c");
  type->SetChange(ObjChange::kModified);
  type->SetPlace(ObjPlace::First());
  type->SetPreviousPlace(ObjPlace::After("b"));
  ObjTypeAttr* attribute = type->Ensure("a", "String");
  attribute->SetChange(ObjChange::kModified);
  attribute->SetPreviousDefinition({"Integer", "", "x"});
  ObjInst* instance = type->Ensure("i");
  instance->SetChange(ObjChange::kAdded);
  instance->SetPlace(ObjPlace::After(""));
  ObjInstAttr* value = instance->Ensure("v");
  value->SetChange(ObjChange::kRemoved);
  value->SetPreviousValue("");
  value->SetPreviousPlace(ObjPlace::First());

  EXPECT_EQ(Xml(document), R"(<?xml version="1.0" encoding="UTF-8"?>
<inventory format="1" name="">
  <class name="c" change="modified" first="true" previous-after="b">
    <attribute name="a" type="String" change="modified" previous-type="Integer" previous-unit="" previous-description="x"/>
    <instance name="i" change="added" after="">
      <value name="v" change="removed" previous="" previous-first="true"/>
    </instance>
  </class>
</inventory>
)");
}

TEST(ObjInvSave, EqualDocumentsGiveEqualFiles) {
  const uint64_t seed = RandomDocuments::Seed();
  SCOPED_TRACE("KOR_TEST_SEED=" + std::to_string(seed));
  const TemporaryFolder folder;
  RandomDocuments random(seed);
  ObjInv document(nullptr);
  random.Fill(document);
  ObjInv copy(nullptr);
  copy.CopyFrom(document);

  ASSERT_TRUE(document.Save(folder.Path("one")));
  ASSERT_TRUE(copy.Save(folder.Path("other")));

  EXPECT_EQ(folder.Read("one"), folder.Read("other"));
  EXPECT_EQ(folder.Read("one"), Xml(document));
}

TEST(ObjInvSave, ReplacesTheFileAndLeavesNothingElse) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("inventory.xml", "what was there before");

  ASSERT_TRUE(ObjInv(nullptr).Save(path));

  EXPECT_EQ(folder.Read("inventory.xml"), Xml(ObjInv(nullptr)));
  EXPECT_EQ(folder.CountEntries(), 1u);
}

TEST(ObjInvSave, AFailureIsLoggedWithItsReason) {
  const TemporaryFolder folder;
  LastMessage messages;
  const ObjInv document(&messages);

  EXPECT_FALSE(document.Save(folder.Path("missing/inventory.xml")));

  EXPECT_EQ(messages.text.find("Failed to save inventory: " + folder.Path("missing").Str()), 0u)
      << messages.text;
  EXPECT_NE(messages.text.find("No such file or directory"), std::string::npos);
}
