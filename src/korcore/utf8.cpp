#include "korcore/utf8.h"

#include <cstdint>
#include <cstring>

namespace {

// What the first byte of a sequence says.
struct Lead {
  size_t length;
  char32_t bits;
  char32_t smallest;  // anything below would be overlong
};

Lead LeadOf(unsigned char byte) {
  if (byte < 0x80) return {1, byte, 0};
  if (byte >= 0xC0 && byte < 0xE0) return {2, byte & 0x1Fu, 0x80};
  if (byte >= 0xE0 && byte < 0xF0) return {3, byte & 0x0Fu, 0x800};
  if (byte >= 0xF0 && byte < 0xF8) return {4, byte & 0x07u, 0x10000};
  return {0, 0, 0};
}

}  // namespace

Utf8Character Utf8First(std::string_view bytes) {
  if (bytes.empty()) return {};
  const Lead lead = LeadOf(static_cast<unsigned char>(bytes[0]));
  if (lead.length == 0 || lead.length > bytes.size()) return {};
  char32_t codePoint = lead.bits;
  for (size_t at = 1; at < lead.length; ++at) {
    const auto byte = static_cast<unsigned char>(bytes[at]);
    if ((byte & 0xC0) != 0x80) return {};
    codePoint = (codePoint << 6) | (byte & 0x3Fu);
  }
  const bool isSurrogate = codePoint >= 0xD800 && codePoint <= 0xDFFF;
  if (codePoint < lead.smallest || codePoint > 0x10FFFF || isSurrogate) return {};
  return {codePoint, lead.length};
}

size_t AsciiLength(std::string_view bytes) {
  constexpr uint64_t kHighBits = 0x8080808080808080;
  size_t length = 0;
  for (uint64_t eight; bytes.size() - length >= sizeof eight; length += sizeof eight) {
    std::memcpy(&eight, bytes.data() + length, sizeof eight);
    if ((eight & kHighBits) != 0) break;
  }
  while (length < bytes.size() && static_cast<unsigned char>(bytes[length]) < 0x80) ++length;
  return length;
}

bool IsUtf8(std::string_view bytes) {
  while (true) {
    bytes.remove_prefix(AsciiLength(bytes));
    if (bytes.empty()) return true;
    const Utf8Character first = Utf8First(bytes);
    if (first.length == 0) return false;
    bytes.remove_prefix(first.length);
  }
  return true;
}
