#include "kor/markup_tree.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <optional>
#include <pugixml.hpp>
#include <string_view>
#include <system_error>

#include "kor/debug.h"
#include "kor/file.h"
#include "kor/xml_sax_parser.h"

namespace {

bool IsXmlCharacter(wchar_t character) {
  const auto code = static_cast<char32_t>(character);
  return code == '\t' || code == '\n' || code == '\r' || (code >= 0x20 && code <= 0xD7FF) ||
         (code >= 0xE000 && code <= 0xFFFD) || (code >= 0x10000 && code <= 0x10FFFF);
}

// A comment or processing instruction, kept as it is written.
class MarkupVerbatimNode : public MarkupNode {
 public:
  explicit MarkupVerbatimNode(std::string markup) : text(std::move(markup)) {}
  const std::string& Text() const { return text; }

 private:
  std::string text;
};

}  // namespace

void MarkupTextNode::SetData(const KorString& text) {
  std::wstring characters = pugi::as_wide(text.Str());
  std::erase_if(characters, [](wchar_t character) { return !IsXmlCharacter(character); });
  data = KorString(pugi::as_utf8(characters));
}

void MarkupElementNode::AddChild(MarkupNode* child) {
  if (child != nullptr) children.emplace_back(child);
}

MarkupNode* MarkupElementNode::GetChildAt(size_t index) const {
  return index < children.size() ? children[index].get() : nullptr;
}

MarkupElementNode* MarkupElementNode::FindElement(const KorString& elementName, size_t n) const {
  for (const std::unique_ptr<MarkupNode>& child : children) {
    MarkupElementNode* element = child->CastAsElementNode();
    if (element != nullptr && element->name == elementName && n-- == 0) return element;
  }
  return nullptr;
}

// Makes our nodes out of the library's.
class MarkupReader {
 public:
  static std::unique_ptr<MarkupElementNode> ReadElement(pugi::xml_node source) {
    auto element = std::make_unique<MarkupElementNode>(source.name());
    for (const pugi::xml_attribute attribute : source.attributes()) {
      element->attributes.emplace_back(attribute.name(), attribute.value());
    }
    for (const pugi::xml_node child : source.children()) {
      element->children.push_back(ReadNode(child));
    }
    element->readChildren = element->children.size();
    return element;
  }

 private:
  static std::unique_ptr<MarkupNode> ReadNode(pugi::xml_node source) {
    switch (source.type()) {
      case pugi::node_element:
        return ReadElement(source);
      case pugi::node_comment:
        return Verbatim("<!--", source.value(), "-->");
      case pugi::node_pi: {
        const std::string_view value = source.value();
        return Verbatim("<?", std::string(source.name()).append(value.empty() ? "" : " "),
                        std::string(value).append("?>"));
      }
      default:
        return std::make_unique<MarkupTextNode>(source.value());
    }
  }

  static std::unique_ptr<MarkupNode> Verbatim(std::string start, std::string_view text,
                                              std::string_view end) {
    return std::make_unique<MarkupVerbatimNode>(std::move(start.append(text).append(end)));
  }
};

// Writes an element with what is in it.
class MarkupWriter {
 public:
  // How elements are laid out: the white space before each, empty where they stand side by side,
  // and what a level adds to the indentation.
  struct Layout {
    std::string before;
    std::string step;
  };

  std::string out;

  void WriteElement(const MarkupElementNode& element, const Layout& layout) {
    out.append("<").append(element.name.View());
    for (const auto& [key, value] : element.attributes) {
      out.append(" ").append(key.View()).append("=\"");
      AppendEscaped(value.View(), "\"\n\t");
      out += '"';
    }
    if (IsEmpty(element)) {
      out += "/>";
      return;
    }
    out += '>';
    WriteChildren(element, layout);
    out.append("</").append(element.name.View()).append(">");
  }

 private:
  static bool IsEmpty(const MarkupElementNode& element) {
    return std::ranges::all_of(element.children, [](const std::unique_ptr<MarkupNode>& child) {
      const MarkupTextNode* text = child->CastAsTextNode();
      return text != nullptr && text->GetData().IsEmpty();
    });
  }

  // The text of white space that was read at that place; null when something else stands there.
  static const KorString* SpaceAt(const MarkupElementNode& element, size_t index) {
    if (index >= element.readChildren) return nullptr;
    const MarkupTextNode* text = element.children[index]->CastAsTextNode();
    if (text == nullptr) return nullptr;
    const bool isSpace = text->GetData().View().find_first_not_of(" \t\n\r") == std::string::npos;
    return isSpace ? &text->GetData() : nullptr;
  }

  // The white space that puts the child on its line; empty when it stands beside another. Empty
  // lines are left out.
  static std::string SpaceBefore(const MarkupElementNode& element, size_t index) {
    const KorString* space = index == 0 ? nullptr : SpaceAt(element, index - 1);
    if (space == nullptr) return {};
    const std::string& text = space->Str();
    const size_t last = text.rfind('\n');
    if (last == std::string::npos) return {};
    return text.find('\n') == last ? text : text.substr(last);
  }

  static std::string IndentationOf(const std::string& space) {
    return space.substr(space.rfind('\n') + 1);
  }

  // The layout of the elements that were read in this one; without any, the next level of its own.
  static Layout LayoutWithin(const MarkupElementNode& element, const Layout& own) {
    std::optional<std::string> before;
    for (size_t i = 0; i < element.readChildren; ++i) {
      if (element.children[i]->CastAsElementNode() == nullptr) continue;
      std::string space = SpaceBefore(element, i);
      if (!before || !space.empty()) before = std::move(space);
    }
    if (!before) return {own.before.empty() ? std::string() : own.before + own.step, own.step};
    const std::string outer = IndentationOf(own.before);
    const std::string inner = IndentationOf(*before);
    const bool isDeeper = inner.size() > outer.size() && inner.starts_with(outer);
    return {*before, isDeeper ? inner.substr(outer.size()) : own.step};
  }

  // Where only elements have been added, they stand on lines of their own, before the white space
  // that leads to the end of the element.
  void WriteChildren(const MarkupElementNode& element, const Layout& layout) {
    const Layout within = LayoutWithin(element, layout);
    const bool isLaidOut = HasOnlyElementsAdded(element);
    size_t readEnd = element.readChildren;
    std::string closing;
    if (isLaidOut && !within.before.empty()) closing = layout.before;
    if (const KorString* space =
            isLaidOut && readEnd > 0 ? SpaceAt(element, readEnd - 1) : nullptr) {
      closing = space->Str();
      --readEnd;
    }
    for (size_t i = 0; i < readEnd; ++i) {
      WriteNode(*element.children[i], {SpaceBefore(element, i), within.step});
    }
    for (size_t i = element.readChildren; i < element.children.size(); ++i) {
      if (isLaidOut) out += within.before;
      WriteNode(*element.children[i], within);
    }
    out += closing;
  }

  static bool HasOnlyElementsAdded(const MarkupElementNode& element) {
    for (size_t i = element.readChildren; i < element.children.size(); ++i) {
      if (element.children[i]->CastAsElementNode() == nullptr) return false;
    }
    return element.children.size() > element.readChildren;
  }

  void WriteNode(MarkupNode& node, const Layout& layout) {
    if (const MarkupElementNode* element = node.CastAsElementNode()) {
      WriteElement(*element, layout);
    } else if (const MarkupTextNode* text = node.CastAsTextNode()) {
      AppendEscaped(text->GetData().View(), "");
    } else {
      out += static_cast<const MarkupVerbatimNode&>(node).Text();
    }
  }

  // Besides what always is, escapes these characters too.
  void AppendEscaped(std::string_view text, std::string_view also) {
    for (const char c : text) {
      if (c == '&') {
        out += "&amp;";
      } else if (c == '<') {
        out += "&lt;";
      } else if (c == '>') {
        out += "&gt;";
      } else if (c == '\r' || also.find(c) != std::string_view::npos) {
        out.append("&#").append(std::to_string(static_cast<int>(c))).append(";");
      } else {
        out += c;
      }
    }
  }
};

KorString MarkupElementNode::ToString() const {
  MarkupWriter writer;
  writer.WriteElement(*this, {"\n", "  "});
  return KorString(std::move(writer.out));
}

namespace {

struct PathStep {
  std::string_view name;
  size_t n = 0;
};

// "NAME" or "NAME@n".
std::optional<PathStep> ParseStep(std::string_view text) {
  const size_t at = text.find('@');
  PathStep step{text.substr(0, at), 0};
  if (at == std::string_view::npos) return step;
  const char* end = text.data() + text.size();
  const auto [stop, status] = std::from_chars(text.data() + at + 1, end, step.n);
  if (status != std::errc() || stop != end) return std::nullopt;
  return step;
}

}  // namespace

MarkupTree::MarkupTree() : document(std::make_unique<MarkupElementNode>("")) {}
MarkupTree::~MarkupTree() = default;

bool MarkupTree::ParseFile(const KorString& path) {
  document = std::make_unique<MarkupElementNode>("");
  // The strict reader looks first: what is not well-formed or too deep ends here.
  CsXmlSaxParser strict;
  const bool isWellFormed = strict.ParseFile(path);
  errorText = strict.ErrorText();
  errorLine = strict.ErrorLine();
  if (!isWellFormed) return false;

  std::string content;
  pugi::xml_document parsed;
  constexpr unsigned int kKeepAll = pugi::parse_default | pugi::parse_comments | pugi::parse_pi |
                                    pugi::parse_ws_pcdata | pugi::parse_doctype;
  if (FileReadAll(path, content, errorText, kXmlSizeLimit)) {
    const auto result = parsed.load_buffer(content.data(), content.size(), kKeepAll);
    if (!result) errorText = result.description();
    for (const pugi::xml_node node : parsed.children()) {
      if (node.type() == pugi::node_doctype) errorText = "it has a document type declaration";
    }
  }
  if (!errorText.IsEmpty()) {
    KorFrameworkLog().ErrorWithNL("%S: %S", path, errorText);
    return false;
  }
  document->AddChild(MarkupReader::ReadElement(parsed.document_element()).release());
  return true;
}

MarkupElementNode* MarkupTree::FetchNode(const KorString& path) const {
  std::string_view rest = path.View();
  MarkupElementNode* found = document.get();
  while (found != nullptr) {
    const size_t end = rest.find('/');
    const std::optional<PathStep> step = ParseStep(rest.substr(0, end));
    found = step ? found->FindElement(KorString(step->name), step->n) : nullptr;
    if (end == std::string_view::npos) return found;
    rest.remove_prefix(end + 1);
  }
  return nullptr;
}

MarkupElementNode* MarkupTree::GetRootNode() const {
  MarkupNode* root = document->GetChildAt(0);
  return root == nullptr ? nullptr : root->CastAsElementNode();
}
