// Telling text from bytes.

#pragma once

#include <cstddef>
#include <string_view>

// The character that the bytes begin with. A length of 0 says that they begin with none: they are
// cut off, overlong, a surrogate, beyond U+10FFFF or no UTF-8 at all.
struct Utf8Character {
  char32_t codePoint = 0;
  size_t length = 0;
};
Utf8Character Utf8First(std::string_view bytes);

// How many bytes below 0x80 they begin with.
size_t AsciiLength(std::string_view bytes);

bool IsUtf8(std::string_view bytes);
