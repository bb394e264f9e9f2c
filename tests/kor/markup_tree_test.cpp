#include "kor/markup_tree.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "kor/xml_sax_parser.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

using namespace std::string_literals;

// Every text of the class list, in the layout that people write.
const std::string kDocument =
    "<HWINVCONFIG>\n"
    "   <HWINVWMILIST>\n"
    "      <!-- the first -->\n"
    "      <HWWMICLASS>\n"
    "         <CLASSNAME>Keyboard</CLASSNAME>\n"
    "         <ATTRIBUTES/>\n"
    "      </HWWMICLASS>\n"
    "\n"
    "      <HWWMICLASS>\n"
    "         <CLASSNAME>BIOS</CLASSNAME>\n"
    "      </HWWMICLASS>\n"
    "   </HWINVWMILIST>\n"
    "</HWINVCONFIG>";

class Markup : public testing::Test {
 protected:
  void Parse(std::string_view document) {
    ASSERT_TRUE(tree.ParseFile(folder.Write("x.xml", document))) << tree.ErrorText().Str();
  }
  std::string Text() const { return tree.GetRootNode()->ToString().Str(); }

  // The text of the first child of the element at the path.
  std::string TextAt(const char* path) const {
    MarkupElementNode* element = tree.FetchNode(path);
    if (element == nullptr) return "no element";
    MarkupNode* child = element->GetChildAt(0);
    if (child == nullptr) return "no child";
    const MarkupTextNode* text = child->CastAsTextNode();
    return text == nullptr ? "no text" : text->GetData().Str();
  }

  // An element with a text in it, to be handed over.
  static MarkupElementNode* Element(const char* name, const char* text) {
    auto element = std::make_unique<MarkupElementNode>(name);
    if (text != nullptr) element->AddChild(std::make_unique<MarkupTextNode>(text).release());
    return element.release();
  }

  const TemporaryFolder folder;
  MarkupTree tree;
};

TEST_F(Markup, PathsSelectByNameAndNumber) {
  Parse("<A><B>0</B><X/><B>1<C>c</C></B><b>lower</b></A>");
  EXPECT_EQ(tree.FetchNode("A"), tree.GetRootNode());
  EXPECT_EQ(TextAt("A/B"), "0");
  EXPECT_EQ(TextAt("A/B@0"), "0");
  EXPECT_EQ(TextAt("A/B@1"), "1");
  EXPECT_EQ(TextAt("A@0/B@1/C@0"), "c");
  EXPECT_EQ(TextAt("A/b"), "lower");
}

TEST_F(Markup, PathsThatSelectNothingAreNull) {
  Parse("<A><B>0</B></A>");
  for (const char* path : {"", "/", "B", "A@1", "A/B@1", "A/C", "A/B/C", "A/", "/A", "A//B", "A/B@",
                           "A/B@x", "A/B@0x", "A/B@-1", "A/B@99999999999999999999"}) {
    EXPECT_EQ(tree.FetchNode(path), nullptr) << path;
  }
}

TEST_F(Markup, NothingReadMeansNoNodes) {
  EXPECT_EQ(tree.GetRootNode(), nullptr);
  EXPECT_EQ(tree.FetchNode("A"), nullptr);
}

TEST_F(Markup, ChildrenAreCountedWithTextsAndComments) {
  Parse("<A>text<B/><!--c--></A>");
  const MarkupElementNode* root = tree.GetRootNode();
  ASSERT_NE(root->GetChildAt(0), nullptr);
  EXPECT_NE(root->GetChildAt(0)->CastAsTextNode(), nullptr);
  EXPECT_NE(root->GetChildAt(1)->CastAsElementNode(), nullptr);
  EXPECT_EQ(root->GetChildAt(1)->CastAsTextNode(), nullptr);
  EXPECT_EQ(root->GetChildAt(2)->CastAsTextNode(), nullptr);
  EXPECT_EQ(root->GetChildAt(2)->CastAsElementNode(), nullptr);
  EXPECT_EQ(root->GetChildAt(3), nullptr);
}

TEST_F(Markup, WhatWasReadIsWrittenAsItWas) {
  for (const std::string& document :
       {kDocument, "<A><B/>  <C/>\n</A>"s,
        "<A x=\"1\" y=\"&lt;&#34;&amp;&#10;\"> a &lt; b\t\"q\" </A>"s,
        "<A>\n<!-- c - d -->\n<?p some data?><?q?></A>"s, "<A>&#13;&gt;\xc3\xa9</A>"s}) {
    Parse(document);
    EXPECT_EQ(Text(), document);
  }
}

TEST_F(Markup, WhatStandsAroundTheRootIsNotPartOfIt) {
  Parse("<?xml version='1.0' encoding='ISO-8859-1'?>\n<!-- c -->\n<A>\xe9</A>\n<!-- d -->\n");
  EXPECT_EQ(Text(), "<A>\xc3\xa9</A>");
}

TEST_F(Markup, SectionsAreTexts) {
  Parse("<A><![CDATA[<x> & y]]></A>");
  EXPECT_EQ(TextAt("A"), "<x> & y");
  EXPECT_EQ(Text(), "<A>&lt;x&gt; &amp; y</A>");
}

// What holds nothing is written as an empty element, as it would be when it is read again.
TEST_F(Markup, EmptyTextsAreNothing) {
  Parse("<a><b><![CDATA[]]></b><c><![CDATA[]]>text<![CDATA[]]></c></a>");
  EXPECT_EQ("<a><b/><c>text</c></a>", Text());
  tree.FetchNode("a/b")->AddChild(std::make_unique<MarkupTextNode>("").release());
  EXPECT_EQ("<a><b/><c>text</c></a>", Text());
}

TEST_F(Markup, ChangedTextIsEscapedAndNothingElseChanges) {
  Parse(kDocument);
  tree.FetchNode("HWINVCONFIG/HWINVWMILIST/HWWMICLASS@1/CLASSNAME")
      ->GetChildAt(0)
      ->CastAsTextNode()
      ->SetData("<B> & ]]>");
  std::string expected = kDocument;
  expected.replace(expected.find("BIOS"), 4, "&lt;B&gt; &amp; ]]&gt;");
  EXPECT_EQ(Text(), expected);
}

TEST_F(Markup, AddedElementsAreLaidOutLikeTheirNeighbours) {
  Parse(kDocument);
  auto added = std::make_unique<MarkupElementNode>("HWWMICLASS");
  added->AddChild(Element("CLASSNAME", "Printer"));
  added->AddChild(Element("ATTRIBUTES", nullptr));
  tree.FetchNode("HWINVCONFIG/HWINVWMILIST")->AddChild(added.release());
  std::string expected = kDocument;
  expected.insert(expected.find("   </HWINVWMILIST>"),
                  "      <HWWMICLASS>\n"
                  "         <CLASSNAME>Printer</CLASSNAME>\n"
                  "         <ATTRIBUTES/>\n"
                  "      </HWWMICLASS>\n");
  EXPECT_EQ(Text(), expected);
  EXPECT_EQ(TextAt("HWINVCONFIG/HWINVWMILIST/HWWMICLASS@2/CLASSNAME"), "Printer");
}

TEST_F(Markup, ElementsAddedToAnEmptyElementStandOneLevelDeeper) {
  Parse(kDocument);
  MarkupElementNode* attributes = tree.FetchNode("HWINVCONFIG/HWINVWMILIST/HWWMICLASS/ATTRIBUTES");
  auto* attribute = Element("ATTRIBUTE", nullptr);
  attributes->AddChild(attribute);
  attribute->AddChild(Element("ATTRNAME", "*"));
  attributes->AddChild(Element("ATTRIBUTE", nullptr));
  std::string expected = kDocument;
  expected.replace(expected.find("<ATTRIBUTES/>"), 13,
                   "<ATTRIBUTES>\n"
                   "            <ATTRIBUTE>\n"
                   "               <ATTRNAME>*</ATTRNAME>\n"
                   "            </ATTRIBUTE>\n"
                   "            <ATTRIBUTE/>\n"
                   "         </ATTRIBUTES>");
  EXPECT_EQ(Text(), expected);
}

TEST_F(Markup, BlanksAtLineEndsAreTakenOver) {
  Parse("<A> \n   <B> \n      <C>1</C> \n   </B> \n</A>");
  tree.FetchNode("A/B")->AddChild(Element("C", "2"));
  auto* deep = Element("B", nullptr);
  deep->AddChild(Element("C", "3"));
  tree.GetRootNode()->AddChild(deep);
  EXPECT_EQ(Text(),
            "<A> \n   <B> \n      <C>1</C> \n      <C>2</C> \n   </B> \n   <B> \n      <C>3</C> \n"
            "   </B> \n</A>");
}

TEST_F(Markup, ElementsOnOneLineStayOnOneLine) {
  Parse("<A><B><C>1</C></B></A>");
  tree.FetchNode("A/B")->AddChild(Element("C", "2"));
  auto* deep = Element("B", nullptr);
  deep->AddChild(Element("C", "3"));
  tree.GetRootNode()->AddChild(deep);
  EXPECT_EQ(Text(), "<A><B><C>1</C><C>2</C></B><B><C>3</C></B></A>");
}

TEST_F(Markup, EmptyRootIsFilledLineByLine) {
  Parse("<A></A>");
  tree.GetRootNode()->AddChild(Element("B", "1"));
  EXPECT_EQ(Text(), "<A>\n  <B>1</B>\n</A>");
}

TEST_F(Markup, AddedTextGetsNoWhiteSpace) {
  Parse("<A>\n  <B>x</B>\n</A>");
  tree.FetchNode("A/B")->AddChild(std::make_unique<MarkupTextNode>("y").release());
  EXPECT_EQ(Text(), "<A>\n  <B>xy</B>\n</A>");
}

TEST_F(Markup, NullChildChangesNothing) {
  Parse("<A/>");
  tree.GetRootNode()->AddChild(nullptr);
  EXPECT_EQ(Text(), "<A/>");
}

TEST_F(Markup, CharactersThatXmlCannotCarryAreLeftOut) {
  const KorString text(
      "a\0\x01\x1f\t\n\x7f\xff\xc3\xc3\xa9\xed\xa0\x80\xef\xbf\xbf\xf0\x9f\x98\x80z"s);
  MarkupTextNode node(text);
  EXPECT_EQ(node.GetData(), "a\t\n\x7f\xc3\xa9\xf0\x9f\x98\x80z");

  Parse("<A/>");
  tree.GetRootNode()->AddChild(std::make_unique<MarkupTextNode>(text).release());
  CsXmlSaxParser strict;
  EXPECT_TRUE(strict.ParseFile(folder.Write("y.xml", Text())));
}

TEST_F(Markup, WhatIsNotWellFormedIsRefusedWithLineAndReason) {
  const KorString path = folder.Write("x.xml", "<A>\n<B>\n</A>");
  const CapturedLog log(KorFrameworkLog());
  EXPECT_FALSE(tree.ParseFile(path));
  EXPECT_EQ(tree.ErrorText(), "mismatched tag");
  EXPECT_EQ(tree.ErrorLine(), 3u);
  EXPECT_EQ(tree.GetRootNode(), nullptr);
  EXPECT_EQ(log.Text(), "error: " + path.Str() + ": line 3: mismatched tag\n");
}

TEST_F(Markup, MissingFileIsRefusedWithTheReason) {
  const CapturedLog log(KorFrameworkLog());
  EXPECT_FALSE(tree.ParseFile(folder.Path("missing")));
  EXPECT_EQ(tree.ErrorText(), "No such file or directory");
  EXPECT_EQ(tree.ErrorLine(), 0u);
}

TEST_F(Markup, DeclarationsThatAnEditWouldLoseAreRefused) {
  const KorString path = folder.Write("x.xml", "<!DOCTYPE A [<!ENTITY e 'x'>]><A>&e;</A>");
  const CapturedLog log(KorFrameworkLog());
  EXPECT_FALSE(tree.ParseFile(path));
  EXPECT_EQ(tree.GetRootNode(), nullptr);
  EXPECT_EQ(log.Text(), "error: " + path.Str() + ": it has a document type declaration\n");
}

TEST_F(Markup, FailedReadEmptiesTheTree) {
  Parse("<A/>");
  const CapturedLog log(KorFrameworkLog());
  EXPECT_FALSE(tree.ParseFile(folder.Path("missing")));
  EXPECT_EQ(tree.GetRootNode(), nullptr);
  Parse("<B/>");
  EXPECT_EQ(Text(), "<B/>");
  EXPECT_EQ(tree.ErrorText(), "");
}

}  // namespace
