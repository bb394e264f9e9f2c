#include "korcore/plain_xml.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "kor/debug.h"
#include "kor/log_dispatcher.h"
#include "korcore/obj_inv.h"
#include "support/random_document.h"
#include "support/temporary_folder.h"

namespace {

constexpr std::string_view kHeader = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";

// Every kind of element, mark and escape.
constexpr std::string_view kBody =
    "<inventory format=\"1\" name=\"N\" kind=\"3\" checksum=\"c\">\n"
    "  <class name=\"A &amp; B\" change=\"modified\">\n"
    "    <attribute name=\"a\" type=\"UINT64\" unit=\"u\" description=\"d\"/>\n"
    "    <instance name=\"i\" after=\"h\">\n"
    "      <value name=\"a\" previous=\"&#x9;x\" change=\"modified\">1 &lt; "
    "2&#x0A;&#x10FE80;</value>\n"
    "      <value name=\"\xC3\xA9\"/>\n"
    "    </instance>\n"
    "  </class>\n"
    "</inventory>\n";

// Says nothing of what cannot be read.
class Silence {
 public:
  Silence() { KorFrameworkLog().SetContext(&context); }
  ~Silence() { KorFrameworkLog().SetContext(nullptr); }
  Silence(const Silence&) = delete;
  Silence& operator=(const Silence&) = delete;

  KorDebugContext* Context() { return &context; }

 private:
  KorLogDispatcher context;
};

class PlainXml : public testing::Test {
 protected:
  // A comment is nothing plain: with it, the general parser reads the document.
  void ExpectSameAsGeneralParser(const std::string& plain) {
    ObjInv left(silence.Context());
    ObjInv right(silence.Context());
    const bool leftIsRead = left.Parse(folder.Write("plain", plain), nullptr);
    const bool rightIsRead = right.Parse(folder.Write("general", plain + "<!-- -->"), nullptr);
    EXPECT_EQ(leftIsRead, rightIsRead) << plain;
    EXPECT_TRUE(SameDocuments(left, right)) << plain;
  }

  const TemporaryFolder folder;
  Silence silence;
};

struct Nothing {
  bool BeginElement(std::string_view) { return true; }
  bool Attribute(std::string_view, std::string_view) { return true; }
  bool StartElement() { return true; }
  bool Text(std::string_view) { return true; }
  bool EndElement() { return true; }
};

bool IsPlain(const std::string& document) {
  Nothing receiver;
  return plain_xml::Reader(document, receiver).Read();
}

std::string DocumentOfValue(std::string_view previous, std::string_view text) {
  return std::string(kHeader)
      .append("<inventory format=\"1\" name=\"N\"><class name=\"C\"><instance name=\"I\">")
      .append("<value name=\"V\" previous=\"")
      .append(previous)
      .append("\">")
      .append(text)
      .append("</value></instance></class></inventory>");
}

TEST_F(PlainXml, IsWhatSaveWrites) {
  EXPECT_TRUE(IsPlain(std::string(kHeader).append(kBody)));
  RandomDocuments documents(7);
  for (int n = 0; n < 50; ++n) {
    ObjInv document(silence.Context());
    documents.Fill(document);
    const KorString file = folder.Path("saved");
    ASSERT_TRUE(document.Save(file));
    EXPECT_TRUE(IsPlain(folder.Read("saved")));
  }
}

TEST_F(PlainXml, OtherBytesAnywhereAreReadAsTheGeneralParserReadsThem) {
  const std::string whole = std::string(kHeader).append(kBody);
  int plain = 0;
  for (size_t at = 0; at < whole.size(); ++at) {
    constexpr std::string_view kOthers("<>&\"/ ;x\n\t\xC3\0", 12);
    std::string changed = whole;
    changed[at] = kOthers[at % kOthers.size()];
    std::string shorter = whole;
    shorter.erase(at, 1);
    for (const std::string& document : {changed, shorter}) {
      if (!IsPlain(document)) continue;
      ExpectSameAsGeneralParser(document);
      ++plain;
    }
  }
  EXPECT_GT(plain, 100);
}

TEST(PlainXmlCharacters, AreToldWhereverTheyStand) {
  for (size_t before = 0; before < 20; ++before) {
    for (size_t after = 0; after < 10; ++after) {
      const auto isPlain = [&](std::string_view character) {
        const std::string text = std::string(before, 'x').append(character).append(after, 'x');
        return plain_xml::HasPlainCharacters(text);
      };
      EXPECT_TRUE(isPlain("x") && isPlain("\x7F") && isPlain("\xC3\xA9"));
      EXPECT_TRUE(isPlain("\xEF\xBF\xBD") && isPlain("\xF4\x8F\xBF\xBF"));
      EXPECT_FALSE(isPlain("\x80") || isPlain("\xC3") || isPlain("\xFF"));
      EXPECT_FALSE(isPlain("\xEF\xBF\xBE") || isPlain("\xEF\xBF\xBF"));
      EXPECT_FALSE(isPlain("\xED\xA0\x80") || isPlain("\xC3\xA9\xC0\x80"));
    }
  }
}

TEST_F(PlainXml, WhatIsNotPlainIsLeftToTheGeneralParser) {
  for (const char* text : {"&#65;", "&apos;", "&#x0;", "&#xD800;", "&#xFFFE;", "&#x110000;", "&#x;",
                           "&#x41", "&;", "]]>", "\r", "\t", "<![CDATA[x]]>", "<?pi?>",
                           "\xEF\xBF\xBE", "\xFF", "\xC0\x80", "&#xFFFFFFFFFFFFFFFF41;"}) {
    const std::string asText = DocumentOfValue("", text);
    EXPECT_FALSE(IsPlain(asText)) << text;
    ExpectSameAsGeneralParser(asText);
    const std::string asAttribute = DocumentOfValue(text, "");
    EXPECT_FALSE(IsPlain(asAttribute)) << text;
    ExpectSameAsGeneralParser(asAttribute);
  }
  // In a text a line feed is one.
  EXPECT_TRUE(IsPlain(DocumentOfValue("", "a\nb")));
  EXPECT_FALSE(IsPlain(DocumentOfValue("a\nb", "")));
}

TEST_F(PlainXml, EndsWithTheRoot) {
  const std::string root = std::string(kHeader).append("<inventory format=\"1\" name=\"N\"/>");
  for (const char* end : {"", "\n \n", "x", "<inventory/>", "</inventory>", "<!-- -->"}) {
    ExpectSameAsGeneralParser(root + end);
  }
}

}  // namespace
