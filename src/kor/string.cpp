#include "kor/string.h"

#include <algorithm>
#include <cstddef>
#include <limits>

#include "kor/regex.h"

namespace {

constexpr bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

constexpr char LowerCase(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool EqualLetters(char left, char right) {
  return LowerCase(left) == LowerCase(right);
}

bool EqualTexts(std::string_view left, std::string_view right, bool caseSensitive) {
  if (caseSensitive) return left == right;
  return std::equal(left.begin(), left.end(), right.begin(), right.end(), EqualLetters);
}

size_t FindText(std::string_view text, std::string_view wanted, size_t from, bool caseSensitive) {
  if (caseSensitive) return text.find(wanted, from);
  const auto start = text.begin() + static_cast<std::ptrdiff_t>(from);
  const auto found = std::search(start, text.end(), wanted.begin(), wanted.end(), EqualLetters);
  return found == text.end() ? std::string_view::npos : static_cast<size_t>(found - text.begin());
}

struct Number {
  uint64_t magnitude = 0;  // saturated
  bool isNegative = false;
};

Number ReadNumber(std::string_view text) {
  Number number;
  size_t at = 0;
  while (at < text.size() && IsBlank(text[at])) ++at;
  if (at < text.size() && (text[at] == '-' || text[at] == '+')) {
    number.isNegative = text[at] == '-';
    ++at;
  }
  constexpr uint64_t kMost = std::numeric_limits<uint64_t>::max();
  for (; at < text.size() && text[at] >= '0' && text[at] <= '9'; ++at) {
    const auto digit = static_cast<uint64_t>(text[at] - '0');
    const bool fits = number.magnitude <= (kMost - digit) / 10;
    number.magnitude = fits ? number.magnitude * 10 + digit : kMost;
  }
  return number;
}

}  // namespace

void KorString::Trim() {
  const auto isKept = [](char c) { return !IsBlank(c); };
  bytes.erase(std::find_if(bytes.rbegin(), bytes.rend(), isKept).base(), bytes.end());
  bytes.erase(bytes.begin(), std::find_if(bytes.begin(), bytes.end(), isKept));
}

int32_t KorString::ToInt() const {
  using Limits = std::numeric_limits<int32_t>;
  const Number number = ReadNumber(bytes);
  constexpr auto kMost = static_cast<uint64_t>(Limits::max());
  if (number.magnitude > kMost) return number.isNegative ? Limits::min() : Limits::max();
  const auto value = static_cast<int32_t>(number.magnitude);
  return number.isNegative ? -value : value;
}

uint64_t KorString::ToUINT64() const {
  const Number number = ReadNumber(bytes);
  return number.isNegative ? 0 : number.magnitude;
}

bool KorString::IsEqualTo(const KorString& other, bool caseSensitive) const {
  return EqualTexts(bytes, other.bytes, caseSensitive);
}

bool KorString::StartsWith(const KorString& prefix, bool caseSensitive) const {
  if (prefix.bytes.size() > bytes.size()) return false;
  return EqualTexts(View().substr(0, prefix.bytes.size()), prefix.bytes, caseSensitive);
}

int64_t KorString::Find(const KorString& text, size_t from) const {
  const size_t found = bytes.find(text.bytes, from);
  return found == std::string::npos ? -1 : static_cast<int64_t>(found);
}

void KorString::ReplaceAll(const KorString& find, const KorString& replace, bool caseSensitive) {
  if (find.IsEmpty()) return;
  std::string out;
  size_t from = 0;
  size_t found = FindText(bytes, find.bytes, from, caseSensitive);
  while (found != std::string::npos) {
    out.append(bytes, from, found - from);
    out += replace.bytes;
    from = found + find.bytes.size();
    found = FindText(bytes, find.bytes, from, caseSensitive);
  }
  if (from == 0) return;  // nothing found
  out.append(bytes, from);
  bytes = std::move(out);
}

bool KorString::Match(const KorString& pattern, KorVector<KorString>& captures, int options) const {
  return FindPcre(*this, pattern, captures, options, 1, 1) != 0;
}
