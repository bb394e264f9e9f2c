// Bytes of unknown origin as text for a terminal.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace agent {

// What takes one place, or none or two, of a line: a character in UTF-8, of up to four bytes.
class Glyph {
 public:
  Glyph(std::string_view character, size_t places)
      : length(static_cast<uint8_t>(character.copy(bytes, sizeof bytes))),
        width(static_cast<uint8_t>(places)) {}

  std::string_view Bytes() const { return {bytes, length}; }
  size_t Width() const { return width; }

 private:
  char bytes[4] = {};
  uint8_t length;
  uint8_t width;
};

// The text cut into glyphs. What could steer a terminal or confuse a reader (control characters,
// marks that change the direction of writing) and bytes that are not UTF-8 become escapes such as
// \x1b.
std::vector<Glyph> DisplayGlyphs(std::string_view bytes);

// The same as one string.
std::string DisplayText(std::string_view bytes);

// Whether the text is shown as it is, without escapes.
bool IsHarmlessText(std::string_view bytes);

size_t DisplayWidth(const std::vector<Glyph>& glyphs);

}  // namespace agent
