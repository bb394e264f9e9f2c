// An XML document in memory, to be edited and written again: comments and white space stay where
// they were, and what is added is laid out like its neighbours.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "kor/string.h"

class MarkupElementNode;
class MarkupTextNode;

// Something in the document: an element, a text, or what an edit leaves alone (comments,
// processing instructions).
class MarkupNode {
 public:
  virtual ~MarkupNode() = default;
  MarkupNode(const MarkupNode&) = delete;
  MarkupNode& operator=(const MarkupNode&) = delete;

  // Null when the node is something else.
  virtual MarkupElementNode* CastAsElementNode() { return nullptr; }
  virtual MarkupTextNode* CastAsTextNode() { return nullptr; }

 protected:
  MarkupNode() = default;
};

class MarkupTextNode : public MarkupNode {
 public:
  // Characters that XML cannot carry (most control characters, bytes that are not UTF-8) are left
  // out.
  explicit MarkupTextNode(const KorString& text) { SetData(text); }

  const KorString& GetData() const { return data; }
  void SetData(const KorString& text);

  MarkupTextNode* CastAsTextNode() override { return this; }

 private:
  KorString data;
};

class MarkupElementNode : public MarkupNode {
 public:
  // The name must be one that XML allows.
  explicit MarkupElementNode(const KorString& elementName) : name(elementName) {}

  const KorString& GetName() const { return name; }

  // Appends the child, which belongs to this node from here on: it goes when this node goes. Null
  // changes nothing.
  void AddChild(MarkupNode* child);

  // Counted from 0, texts of white space and comments included; null when there is no such child.
  MarkupNode* GetChildAt(size_t index) const;

  // The n-th child element of that name, counted from 0; null when there is none.
  MarkupElementNode* FindElement(const KorString& elementName, size_t n) const;

  // The element as XML text, UTF-8, without a declaration. What was read comes out as it was, but
  // for the way of quoting, CDATA sections and empty elements; added elements stand on lines of
  // their own where their neighbours do.
  KorString ToString() const;

  MarkupElementNode* CastAsElementNode() override { return this; }

 private:
  friend class MarkupReader;
  friend class MarkupWriter;

  KorString name;
  std::vector<std::pair<KorString, KorString>> attributes;
  std::vector<std::unique_ptr<MarkupNode>> children;
  size_t readChildren = 0;  // how many, from the first, were read from a file
};

class MarkupTree {
 public:
  MarkupTree();
  ~MarkupTree();
  MarkupTree(const MarkupTree&) = delete;
  MarkupTree& operator=(const MarkupTree&) = delete;

  // Replaces the tree. False when the file cannot be read, is not well-formed, or has a document
  // type declaration (which an edit would lose, with the entities in it); the tree is then empty,
  // and file, line and reason are in the framework's log and in the accessors below.
  bool ParseFile(const KorString& path);

  const KorString& ErrorText() const { return errorText; }
  uint64_t ErrorLine() const { return errorLine; }  // 0 when no line is at fault

  // The element at the path of names from the root, as in "A/B@2/C": "@n" selects the n-th element
  // of that name, counted from 0; the first without it. Null when there is none.
  MarkupElementNode* FetchNode(const KorString& path) const;

  // Null when nothing has been read.
  MarkupElementNode* GetRootNode() const;

 private:
  std::unique_ptr<MarkupElementNode> document;  // without a name; holds the root
  KorString errorText;
  uint64_t errorLine = 0;
};
