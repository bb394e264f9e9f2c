// The framework's text: a string of bytes. NUL bytes are ordinary; nothing is decoded.

#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "kor/format.h"
#include "kor/vector.h"

class KorString {
 public:
  KorString() = default;
  // Null is the empty text.
  // NOLINTNEXTLINE(google-explicit-constructor): literals are texts everywhere.
  KorString(const char* text) : bytes(text == nullptr ? "" : text) {}
  KorString(const char* text, size_t length) : bytes(text, length) {}
  explicit KorString(std::string text) : bytes(std::move(text)) {}
  explicit KorString(std::string_view text) : bytes(text) {}

  KorString& operator+=(const KorString& other) {
    bytes += other.bytes;
    return *this;
  }
  friend KorString operator+(KorString left, const KorString& right) {
    left += right;
    return left;
  }

  // Byte for byte.
  bool operator==(const KorString&) const = default;
  // NOLINTNEXTLINE(modernize-use-nullptr): a false finding about the comparison with zero.
  std::strong_ordering operator<=>(const KorString&) const = default;

  void Clear() { bytes.clear(); }
  bool IsEmpty() const { return bytes.empty(); }
  size_t GetLength() const { return bytes.size(); }
  // Ends with a NUL that does not count; valid until the string changes.
  const char* CStr() const { return bytes.c_str(); }
  std::string_view View() const { return bytes; }
  const std::string& Str() const { return bytes; }

  // Removes leading and trailing ASCII white space (blank, tab, LF, VT, FF, CR) in place.
  void Trim();

  // The decimal number at the start of the text, after white space and an optional sign; 0 without
  // one. Saturates at the ends of the type; a negative number is 0 for the unsigned form.
  int32_t ToInt() const;
  uint64_t ToUINT64() const;

  // Without case sensitivity, the letters A-Z equal a-z and nothing else does.
  bool IsEqualTo(const KorString& other, bool caseSensitive) const;
  bool StartsWith(const KorString& prefix, bool caseSensitive) const;

  // Position of the first occurrence at or after `from`, -1 when there is none.
  int64_t Find(const KorString& text, size_t from) const;

  // Replaces every occurrence, left to right, not looking again at what was put in. An empty `find`
  // changes nothing.
  void ReplaceAll(const KorString& find, const KorString& replace, bool caseSensitive);

  // Searches this text for the first match of the Perl-compatible expression; options as for
  // FindPcre (kor/regex.h). On a match the captures are replaced by groups 1, 2, ...
  bool Match(const KorString& pattern, KorVector<KorString>& captures, int options) const;

  // Replaces the text by the formatted one (kor/format.h). An argument may be the string itself.
  template <typename... Args>
  void Printf(KorFormatString<std::type_identity_t<Args>...> format, const Args&... arguments) {
    bytes = KorFormat(format.View(), {KorFormatArgument(arguments)...});
  }

 private:
  std::string bytes;
};

template <>
struct std::hash<KorString> {
  size_t operator()(const KorString& text) const noexcept {
    return std::hash<std::string_view>()(text.View());
  }
};
