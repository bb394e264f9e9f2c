// Writing JSON objects member by member, for people and scripts.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "kor/string.h"

namespace agent {

// The text as a JSON string. Bytes that are not UTF-8 become U+FFFD; what could steer a terminal is
// escaped, beyond what JSON asks for.
std::string QuotedJson(const KorString& text);

// What a reader of the JSON string gets.
std::string ReplacedText(std::string_view bytes);

// Nested objects in the order in which they are written. Building a tree in memory first would look
// every key up among all the others.
class JsonObjectWriter {
 public:
  void Open();
  void Open(const KorString& key);
  void Close();

  // The value is JSON already.
  void Add(const KorString& key, const std::string& value);

  std::string Take() { return std::move(json); }

 private:
  void BeginMember(const KorString& key);
  void NewLine();

  std::string json;
  size_t depth = 0;
  bool isEmpty = true;  // the innermost object, so far
};

}  // namespace agent
