#include "korcore/plain_xml.h"

#include <charconv>
#include <cstdint>
#include <system_error>
#include <utility>

#include "korcore/utf8.h"

namespace plain_xml {
namespace {

constexpr std::pair<std::string_view, char> kNamed[] = {
    {"&amp;", '&'}, {"&lt;", '<'}, {"&gt;", '>'}, {"&quot;", '"'}};
constexpr std::string_view kNumberBegin = "&#x";

bool IsXmlCharacter(uint32_t codePoint) {
  if (codePoint < 0x20) return codePoint == '\t' || codePoint == '\n' || codePoint == '\r';
  if (codePoint >= 0xD800 && codePoint <= 0xDFFF) return false;
  return codePoint != 0xFFFE && codePoint != 0xFFFF && codePoint <= 0x10FFFF;
}

void AppendUtf8(std::string& out, uint32_t codePoint) {
  const auto append = [&out](uint32_t byte) { out += static_cast<char>(byte); };
  const auto appendRest = [&](int shift) { append(0x80 | ((codePoint >> shift) & 0x3F)); };
  if (codePoint < 0x80) {
    append(codePoint);
  } else if (codePoint < 0x800) {
    append(0xC0 | codePoint >> 6);
    appendRest(0);
  } else if (codePoint < 0x10000) {
    append(0xE0 | codePoint >> 12);
    appendRest(6);
    appendRest(0);
  } else {
    append(0xF0 | codePoint >> 18);
    appendRest(12);
    appendRest(6);
    appendRest(0);
  }
}

}  // namespace

bool HasPlainCharacters(std::string_view document) {
  constexpr size_t kNowhere = std::string_view::npos;
  document.remove_prefix(AsciiLength(document));
  return IsUtf8(document) && document.find("\xEF\xBF\xBE") == kNowhere &&
         document.find("\xEF\xBF\xBF") == kNowhere;
}

size_t AppendUnescaped(std::string& out, std::string_view text) {
  for (const auto& [escape, character] : kNamed) {
    if (!text.starts_with(escape)) continue;
    out += character;
    return escape.size();
  }
  if (!text.starts_with(kNumberBegin)) return 0;
  uint32_t codePoint = 0;
  const char* const digits = text.data() + kNumberBegin.size();
  const char* const end = text.data() + text.size();
  const auto [last, error] = std::from_chars(digits, end, codePoint, 16);
  if (error != std::errc() || last == end || *last != ';' || !IsXmlCharacter(codePoint)) return 0;
  AppendUtf8(out, codePoint);
  return static_cast<size_t>(last - text.data()) + 1;
}

}  // namespace plain_xml
