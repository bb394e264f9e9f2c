#include "agent/display_text.h"

#include <locale.h>
#include <wchar.h>

#include <cstdint>

namespace agent {
namespace {

struct CodePoint {
  uint32_t value = 0;
  size_t length = 0;  // 0: not UTF-8
};

size_t SequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  if (lead >= 0xF0 && lead <= 0xF4) return 4;
  return 0;
}

CodePoint Decode(std::string_view bytes) {
  constexpr uint32_t kSmallest[] = {0, 0, 0x80, 0x800, 0x10000};
  const auto lead = static_cast<unsigned char>(bytes.front());
  const size_t length = SequenceLength(lead);
  if (length == 0 || bytes.size() < length) return {};
  if (length == 1) return {lead, 1};
  uint32_t value = lead & (0xFFU >> (length + 1));
  for (size_t at = 1; at < length; ++at) {
    const auto byte = static_cast<unsigned char>(bytes[at]);
    if ((byte & 0xC0U) != 0x80U) return {};
    value = value << 6U | (byte & 0x3FU);
  }
  const bool isSurrogate = value >= 0xD800 && value <= 0xDFFF;
  if (value < kSmallest[length] || value > 0x10FFFF || isSurrogate) return {};
  return {value, length};
}

bool IsHarmless(uint32_t codePoint) {
  const bool isControl = codePoint < 0x20 || (codePoint >= 0x7F && codePoint <= 0x9F);
  const bool isDirection = (codePoint >= 0x202A && codePoint <= 0x202E) ||
                           (codePoint >= 0x2066 && codePoint <= 0x2069) || codePoint == 0x200E ||
                           codePoint == 0x200F || codePoint == 0x061C;
  const bool isLineEnd = codePoint == 0x2028 || codePoint == 0x2029;
  return !isControl && !isDirection && !isLineEnd;
}

// wcwidth() in a UTF-8 locale, whatever the process has.
class WidthTable {
 public:
  WidthTable() : locale(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)) {}
  ~WidthTable() {
    if (locale != nullptr) freelocale(locale);
  }
  WidthTable(const WidthTable&) = delete;
  WidthTable& operator=(const WidthTable&) = delete;

  size_t WidthOf(uint32_t codePoint) const {
    if (locale == nullptr) return 1;
    const locale_t before = uselocale(locale);
    const int width = wcwidth(static_cast<wchar_t>(codePoint));
    uselocale(before);
    return width < 0 ? 1 : static_cast<size_t>(width);
  }

 private:
  locale_t locale;
};

size_t WidthOf(uint32_t codePoint) {
  if (codePoint < 0x80) return 1;
  static const WidthTable widths;
  return widths.WidthOf(codePoint);
}

std::string Escape(unsigned char byte) {
  constexpr char kDigits[] = "0123456789abcdef";
  switch (byte) {
    case '\n':
      return "\\n";
    case '\r':
      return "\\r";
    case '\t':
      return "\\t";
    default:
      return {'\\', 'x', kDigits[byte >> 4U], kDigits[byte & 0xFU]};
  }
}

void AppendEscaped(std::string_view bytes, std::vector<Glyph>& glyphs) {
  for (const char byte : bytes) {
    for (const char shown : Escape(static_cast<unsigned char>(byte))) {
      glyphs.emplace_back(std::string_view(&shown, 1), 1);
    }
  }
}

}  // namespace

std::vector<Glyph> DisplayGlyphs(std::string_view bytes) {
  std::vector<Glyph> glyphs;
  glyphs.reserve(bytes.size());
  while (!bytes.empty()) {
    const CodePoint next = Decode(bytes);
    const size_t length = next.length == 0 ? 1 : next.length;
    const std::string_view piece = bytes.substr(0, length);
    if (next.length > 0 && IsHarmless(next.value)) {
      glyphs.emplace_back(piece, WidthOf(next.value));
    } else {
      AppendEscaped(piece, glyphs);
    }
    bytes.remove_prefix(length);
  }
  return glyphs;
}

std::string DisplayText(std::string_view bytes) {
  std::string text;
  for (const Glyph& glyph : DisplayGlyphs(bytes)) text += glyph.Bytes();
  return text;
}

bool IsHarmlessText(std::string_view bytes) {
  while (!bytes.empty()) {
    const CodePoint next = Decode(bytes);
    if (next.length == 0 || !IsHarmless(next.value)) return false;
    bytes.remove_prefix(next.length);
  }
  return true;
}

size_t DisplayWidth(const std::vector<Glyph>& glyphs) {
  size_t width = 0;
  for (const Glyph& glyph : glyphs) width += glyph.Width();
  return width;
}

}  // namespace agent
