#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <utility>

#include "kor/debug.h"
#include "korcore/obj_inv.h"
#include "support/random_document.h"
#include "support/temporary_folder.h"

namespace {

class LastMessage : public KorDebugContext {
 public:
  bool Wants(KorLogLevel) const override { return true; }
  void Write(const KorLogRecord& record) override { text = record.text; }
  std::string text;
};

std::string Xml(const ObjInv& document) {
  std::string text;
  document.WriteXml([&text](std::string_view piece) { text += piece; });
  return text;
}

// Why the document is refused; empty when it is not. A refused document must leave nothing behind.
std::string Refusal(const std::string& content) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("inventory.xml", content);
  LastMessage messages;
  ObjInv document(&messages);
  document.SetName("what was in it before");
  document.Ensure("what was in it before");
  if (document.Parse(path, nullptr)) return {};
  EXPECT_TRUE(SameDocuments(document, ObjInv(nullptr)));
  const std::string start = "Failed to read inventory '" + path.Str() + "': ";
  EXPECT_EQ(messages.text.substr(0, start.size()), start);
  return messages.text.substr(start.size());
}

std::string RefusalOfContent(const std::string& content) {
  return Refusal("<inventory format=\"1\" name=\"x\">\n" + content + "</inventory>");
}

}  // namespace

TEST(ObjInvParse, ReadsEveryDocumentThatIsWritten) {
  const uint64_t seed = RandomDocuments::Seed();
  const TemporaryFolder folder;
  for (uint64_t number = 0; number < 10'000; ++number) {
    SCOPED_TRACE("KOR_TEST_SEED=" + std::to_string(seed) + ", document " + std::to_string(number));
    RandomDocuments random(seed + number);
    ObjInv document(nullptr);
    random.Fill(document);
    if (number % 2 == 0) random.AddMarks(document);
    ObjInv read(nullptr);
    ASSERT_TRUE(read.Parse(folder.Write("inventory.xml", Xml(document)), nullptr)) << Xml(document);
    ASSERT_TRUE(SameDocuments(read, document)) << Xml(document) << Xml(read);
  }
}

TEST(ObjInvParse, ReadsEveryDocumentThatIsSaved) {
  const uint64_t seed = RandomDocuments::Seed();
  const TemporaryFolder folder;
  for (uint64_t number = 0; number < 50; ++number) {
    SCOPED_TRACE("KOR_TEST_SEED=" + std::to_string(seed) + ", document " + std::to_string(number));
    RandomDocuments random(seed + number);
    ObjInv document(nullptr);
    random.Fill(document);
    ASSERT_TRUE(document.Save(folder.Path("inventory.xml")));
    ObjInv read(nullptr);
    ASSERT_TRUE(read.Parse(folder.Path("inventory.xml"), nullptr));
    ASSERT_TRUE(SameDocuments(read, document));
  }
}

TEST(ObjInvParse, EveryByteAndPairOfBytesComesBack) {
  const TemporaryFolder folder;
  ObjInv document(nullptr);
  for (int first = 0; first < 256; ++first) {
    ObjInst* instance =
        document.Ensure("c")->Ensure(KorString(std::string(1, static_cast<char>(first))));
    for (int second = 0; second < 256; second += 3) {
      const std::string pair{static_cast<char>(first), static_cast<char>(second)};
      instance->Ensure(KorString(pair))->SetValue(KorString(pair));
    }
  }
  ObjInv read(nullptr);

  ASSERT_TRUE(read.Parse(folder.Write("inventory.xml", Xml(document)), nullptr));

  EXPECT_TRUE(SameDocuments(read, document));
}

TEST(ObjInvParse, LongTextsAndManyMembersComeBack) {
  const TemporaryFolder folder;
  ObjInv document(nullptr);
  std::string bytes;
  for (size_t at = 0; at < 300'000; ++at) bytes += static_cast<char>((at * at) >> 3);
  const KorString value(bytes);
  document.Ensure("c")->Ensure("i")->Ensure("v")->SetValue(value);
  document.Ensure("c")->Ensure("i")->Ensure("v")->SetPreviousValue(value + KorString("x"));
  document.Ensure(value);
  for (int number = 0; number < 20'000; ++number) {
    document.Ensure("many")->Ensure(KorString(std::to_string(number)))->Ensure("v");
  }
  ObjInv read(nullptr);

  ASSERT_TRUE(document.Save(folder.Path("inventory.xml")));
  ASSERT_TRUE(read.Parse(folder.Path("inventory.xml"), nullptr));

  EXPECT_TRUE(SameDocuments(read, document));
}

TEST(ObjInvParse, ReplacesWhatTheDocumentHeld) {
  const TemporaryFolder folder;
  ObjInv document(nullptr);
  document.SetType(3);
  document.SetChecksum("1234");
  document.Ensure("what was in it before");

  ASSERT_TRUE(document.Parse(folder.Write("inventory.xml", "<inventory format=\"1\" name=\"x\"/>"),
                             nullptr));

  ObjInv expected(nullptr);
  expected.SetName("x");
  EXPECT_TRUE(SameDocuments(document, expected));
}

TEST(ObjInvParse, ATruncatedFileIsRefusedWhereverItEnds) {
  const TemporaryFolder folder;
  ObjInv document(nullptr);
  ObjType* type = document.Ensure("c\xFF");
  type->Ensure("a", "String")->SetPreviousDefinition({"x", "y", "z"});
  type->Ensure("i")->Ensure("v")->SetValue("text & more");
  const std::string whole = Xml(document);
  for (size_t length = 0; length + 1 < whole.size(); ++length) {
    ObjInv read(nullptr);
    ASSERT_FALSE(read.Parse(folder.Write("inventory.xml", whole.substr(0, length)), nullptr))
        << length;
    ASSERT_TRUE(SameDocuments(read, ObjInv(nullptr)));
  }
}

TEST(ObjInvParse, ADamagedFileNeverCrashesTheReader) {
  const uint64_t seed = RandomDocuments::Seed();
  SCOPED_TRACE("KOR_TEST_SEED=" + std::to_string(seed));
  const TemporaryFolder folder;
  RandomDocuments random(seed);
  for (int number = 0; number < 500; ++number) {
    ObjInv document(nullptr);
    random.Fill(document);
    std::string content = Xml(document);
    content[random.Below(content.size())] = static_cast<char>(random.Below(256));
    ObjInv read(nullptr);
    const bool isRead = read.Parse(folder.Write("inventory.xml", content), nullptr);
    ASSERT_TRUE(isRead || SameDocuments(read, ObjInv(nullptr)));
  }
}

TEST(ObjInvParse, AMissingFileIsRefused) {
  const TemporaryFolder folder;
  LastMessage messages;
  ObjInv document(&messages);

  EXPECT_FALSE(document.Parse(folder.Path("missing.xml"), nullptr));
  EXPECT_EQ(messages.text.find("Failed to read inventory '" + folder.Path("missing.xml").Str()),
            0u);
  EXPECT_NE(messages.text.find("No such file or directory"), std::string::npos) << messages.text;
}

TEST(ObjInvParse, NamesFileLineAndReason) {
  EXPECT_EQ(RefusalOfContent("<class name=\"a\"/>\n<class name=\"a\"/>\n"),
            "line 3: the name 'a' is there twice");
}

TEST(ObjInvParse, RefusesUnknownOrMissingFormats) {
  EXPECT_EQ(Refusal("<inventory name=\"x\"/>"), "line 1: the format is missing or unknown");
  EXPECT_EQ(Refusal("<inventory format=\"2\" name=\"x\"/>"),
            "line 1: the format is missing or unknown");
  EXPECT_EQ(Refusal("<HWINVCONFIG/>"), "line 1: the element 'HWINVCONFIG' does not belong here");
  EXPECT_EQ(Refusal("<inventory format=\"1\" name=\"x\" kind=\"-1\"/>"),
            "line 1: the kind is not a number");
  EXPECT_EQ(Refusal("<inventory format=\"1\" name=\"x\" kind=\"18446744073709551616\"/>"),
            "line 1: the kind is not a number");
}

TEST(ObjInvParse, RefusesElementsInTheWrongPlace) {
  const std::string text = "line 2: the element 'value' does not belong here";
  EXPECT_EQ(RefusalOfContent("<value name=\"a\"/>"), text);
  EXPECT_EQ(RefusalOfContent("<class name=\"a\"><value name=\"a\"/></class>"), text);
  EXPECT_EQ(RefusalOfContent("<class name=\"a\"><attribute name=\"a\"><value name=\"a\"/>"
                             "</attribute></class>"),
            text);
  EXPECT_EQ(RefusalOfContent("<class name=\"a\"><instance name=\"a\"><value name=\"a\">"
                             "<value name=\"b\"/></value></instance></class>"),
            text);
  EXPECT_EQ(RefusalOfContent("<class name=\"a\"><instance name=\"a\"/><attribute name=\"a\"/>"
                             "</class>"),
            "line 2: there is an attribute after an instance");
}

TEST(ObjInvParse, RefusesAttributesThatAreNotOfTheElement) {
  EXPECT_EQ(RefusalOfContent("<class name=\"a\" type=\"b\"/>"),
            "line 2: the attribute 'type' does not belong here");
  EXPECT_EQ(RefusalOfContent("<class name=\"a\" colour=\"b\"/>"),
            "line 2: the attribute 'colour' does not belong here");
  EXPECT_EQ(RefusalOfContent("<class/>"), "line 2: the element 'class' has no name");
}

TEST(ObjInvParse, RefusesDuplicateNamesAtEveryLevel) {
  const std::string text = "line 2: the name 'b' is there twice";
  EXPECT_EQ(RefusalOfContent("<class name=\"b\"/><class name=\"b\"/>"), text);
  EXPECT_EQ(RefusalOfContent("<class name=\"a\"><attribute name=\"b\"/><attribute name=\"b\"/>"
                             "</class>"),
            text);
  EXPECT_EQ(RefusalOfContent("<class name=\"a\"><instance name=\"b\"/><instance name=\"b\"/>"
                             "</class>"),
            text);
  EXPECT_EQ(RefusalOfContent("<class name=\"a\"><instance name=\"a\"><value name=\"b\"/>"
                             "<value name=\"b\"/></instance></class>"),
            text);
}

TEST(ObjInvParse, RefusesTextOutsideOfValues) {
  EXPECT_EQ(RefusalOfContent("text"), "line 2: there is text outside of a value");
  EXPECT_EQ(RefusalOfContent("<class name=\"a\">&#x10FE20;</class>"),
            "line 2: there is text outside of a value");
}

TEST(ObjInvParse, RefusesMarksThatSayNothing) {
  EXPECT_EQ(RefusalOfContent("<class name=\"a\" change=\"\"/>"),
            "line 2: the change '' is unknown");
  EXPECT_EQ(RefusalOfContent("<class name=\"a\" first=\"true\" after=\"b\"/>"),
            "line 2: the place of an element is unclear");
  EXPECT_EQ(RefusalOfContent("<class name=\"a\" previous-first=\"no\"/>"),
            "line 2: the place of an element is unclear");
  EXPECT_EQ(
      RefusalOfContent("<class name=\"a\"><attribute name=\"a\" previous-unit=\"b\"/></class>"),
      "line 2: a previous definition is incomplete");
}
