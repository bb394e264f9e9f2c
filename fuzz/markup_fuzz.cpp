// XML documents that are edited. The input: a document, and after a NUL byte a text that is put in.

#include "kor/markup_tree.h"

#include "kor/xml_sax_parser.h"
#include "support.h"

namespace {

// Another reader's opinion.
bool IsWellFormed(const KorString& path) {
  return CsXmlSaxParser().ParseFile(path);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::QuietLog log;
  static const fuzz::Folder folder;
  fuzz::UseLog(log);

  const auto parts = fuzz::Parts(fuzz::View(data, size), 2);
  MarkupTree tree;
  if (!tree.ParseFile(folder.Write("input.xml", parts[0]))) {
    fuzz::Require(tree.GetRootNode() == nullptr, "what cannot be read gives no tree");
    fuzz::Require(!tree.ErrorText().IsEmpty(), "a refusal has a reason");
    return 0;
  }
  MarkupElementNode& root = *tree.GetRootNode();
  const KorString text = root.ToString();
  MarkupTree again;
  fuzz::Require(again.ParseFile(folder.Write("input.xml", text.View())), "a tree can be read");
  fuzz::Require(again.GetRootNode()->ToString() == text, "ToString(Parse(t)) = t");

  auto added = std::make_unique<MarkupElementNode>("ADDED");
  added->AddChild(std::make_unique<MarkupTextNode>(KorString(parts[1])).release());
  root.AddChild(added.release());
  const KorString path = folder.Write("input.xml", root.ToString().View());
  fuzz::Require(again.ParseFile(path), "an edited tree can be read");
  const MarkupElementNode* found = again.GetRootNode()->FindElement("ADDED", 0);
  fuzz::Require(found != nullptr, "what was added is there");
  fuzz::Require(IsWellFormed(path), "an edited tree is well-formed");
  return 0;
}
