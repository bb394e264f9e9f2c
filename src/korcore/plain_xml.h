// Reads XML as this library writes it: elements, quoted values, texts and a few escapes, and
// nothing of all else that XML allows. A general parser takes four times as long and reads the
// same.

#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace plain_xml {

// Whether all of it is UTF-8 without what XML excludes, controls aside.
bool HasPlainCharacters(std::string_view document);

// Bytes that stand for themselves in a quoted value, and in a text with the line feed.
constexpr std::array<bool, 256> PlainBytes() {
  std::array<bool, 256> plain{};
  for (size_t byte = 0x20; byte < plain.size(); ++byte) plain[byte] = true;
  for (const char special : {'<', '>', '&', '"'})
    plain[static_cast<unsigned char>(special)] = false;
  return plain;
}
inline constexpr std::array<bool, 256> kPlainBytes = PlainBytes();

// Appends what stands for the escape that the text begins with. Gives the escape's length, 0 for
// one that is not plain.
size_t AppendUnescaped(std::string& out, std::string_view text);

// The receiver is told of elements in their order, by methods that give false to end the reading:
//   BeginElement(word); Attribute(word, content), for each; StartElement(); Text(piece);
//   EndElement()
template <typename Receiver>
class Reader {
 public:
  Reader(std::string_view document, Receiver& receivingObject)
      : rest(document), receiver(receivingObject) {}

  // False when the receiver has ended the reading, or when there is something that is not plain: it
  // may be good XML or bad. The receiver may then have been told of what came before.
  bool Read() {
    if (!HasPlainCharacters(rest) || !Skip("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"))
      return false;
    do {
      if (!Tag()) return false;
    } while (!open.empty() && Text());
    return open.empty() && rest.find_first_not_of("\n ") == std::string_view::npos;
  }

 private:
  bool Skip(std::string_view expected) {
    if (!rest.starts_with(expected)) return false;
    rest.remove_prefix(expected.size());
    return true;
  }

  bool Skip(char expected) {
    if (rest.empty() || rest.front() != expected) return false;
    rest.remove_prefix(1);
    return true;
  }

  // Empty when there is none.
  std::string_view Word() {
    size_t length = 0;
    while (length < rest.size() &&
           ((rest[length] >= 'a' && rest[length] <= 'z') || (length > 0 && rest[length] == '-'))) {
      ++length;
    }
    const std::string_view word = rest.substr(0, length);
    rest.remove_prefix(length);
    return word;
  }

  bool Tag() {
    if (!Skip('<')) return false;
    if (Skip('/')) return !open.empty() && Skip(open.back()) && Skip('>') && Close();
    const std::string_view word = Word();
    if (word.empty() || !receiver.BeginElement(word)) return false;
    while (Skip(' ')) {
      if (!Attribute()) return false;
    }
    const bool isEmpty = Skip('/');
    if (!Skip('>') || !receiver.StartElement()) return false;
    open.push_back(word);
    return !isEmpty || Close();
  }

  bool Close() {
    open.pop_back();
    return receiver.EndElement();
  }

  bool Attribute() {
    const std::string_view word = Word();
    if (word.empty() || !Skip("=\"")) return false;
    std::string_view content;
    if (!Upto<'"'>(content)) return false;
    rest.remove_prefix(1);
    return receiver.Attribute(word, content);
  }

  // Up to the next tag, of which there must be one.
  bool Text() {
    std::string_view piece;
    return Upto<'<'>(piece) && (piece.empty() || receiver.Text(piece));
  }

  // What stands before that character, which remains, without escapes.
  template <char end>
  bool Upto(std::string_view& piece) {
    size_t length = 0;
    bool hasEscape = false;
    for (;; ++length) {
      while (length < rest.size() && kPlainBytes[static_cast<unsigned char>(rest[length])])
        ++length;
      if (length == rest.size()) return false;
      const char special = rest[length];
      if (special == end) break;
      // A line feed in a quoted value would become a blank.
      const bool isText = end == '<' && (special == '\n' || special == '"');
      if (special != '&' && !isText) return false;
      hasEscape |= special == '&';
    }
    piece = rest.substr(0, length);
    rest.remove_prefix(length);
    return !hasEscape || Unescape(piece);
  }

  bool Unescape(std::string_view& piece) {
    unescaped.clear();
    while (!piece.empty()) {
      const size_t escape = piece.find('&');
      unescaped += piece.substr(0, escape);
      if (escape == std::string_view::npos) break;
      piece.remove_prefix(escape);
      const size_t length = AppendUnescaped(unescaped, piece);
      if (length == 0) return false;
      piece.remove_prefix(length);
    }
    piece = unescaped;
    return true;
  }

  std::string_view rest;
  Receiver& receiver;
  std::vector<std::string_view> open;
  std::string unescaped;
};

}  // namespace plain_xml
