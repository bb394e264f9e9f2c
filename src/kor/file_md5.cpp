#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "kor/debug.h"
#include "kor/file.h"

namespace {

constexpr size_t kBlock = 64;

// The whole parts of 2^32 |sin(n)|, n from 1.
constexpr std::array<uint32_t, 64> kSines = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};
constexpr std::array<std::array<int, 4>, 4> kRotations = {
    {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}}};

// RFC 1321. Our own, because a general library of cryptography costs every process megabytes and
// milliseconds, and refuses MD5 in FIPS mode.
class Md5 {
 public:
  void Add(std::string_view bytes) {
    length += bytes.size();
    if (!pending.empty()) {
      const std::string_view first = bytes.substr(0, kBlock - pending.size());
      pending += first;
      bytes.remove_prefix(first.size());
      if (pending.size() < kBlock) return;
      Take(pending);
      pending.clear();
    }
    for (; bytes.size() >= kBlock; bytes.remove_prefix(kBlock)) Take(bytes);
    pending = bytes;
  }

  // Lower-case hexadecimal.
  KorString Finish() {
    const uint64_t bits = length * 8;
    std::string padding(1, '\x80');
    padding.resize((2 * kBlock - 8 - pending.size() - 1) % kBlock + 1, '\0');
    AppendLittleEndian(padding, bits, 8);
    Add(padding);
    std::string digest;
    for (const uint32_t word : state) AppendLittleEndian(digest, word, 4);
    std::string text;
    for (const char character : digest) {
      const auto byte = static_cast<unsigned char>(character);
      text += "0123456789abcdef"[byte >> 4];
      text += "0123456789abcdef"[byte & 15];
    }
    return KorString(text);
  }

 private:
  static void AppendLittleEndian(std::string& out, uint64_t number, int bytes) {
    for (; bytes > 0; --bytes, number >>= 8) out += static_cast<char>(number & 0xff);
  }

  static uint32_t WordAt(std::string_view block, size_t number) {
    uint32_t word = 0;
    for (size_t at = 4; at-- > 0;) {
      word = word << 8 | static_cast<unsigned char>(block[4 * number + at]);
    }
    return word;
  }

  void Take(std::string_view block) {
    std::array<uint32_t, 16> words;
    for (size_t number = 0; number < words.size(); ++number) words[number] = WordAt(block, number);
    auto [a, b, c, d] = state;
    for (size_t step = 0; step < kBlock; ++step) {
      const size_t round = step / 16;
      uint32_t mixed = 0;
      size_t word = 0;
      if (round == 0) {
        mixed = (b & c) | (~b & d);
        word = step;
      } else if (round == 1) {
        mixed = (d & b) | (~d & c);
        word = 5 * step + 1;
      } else if (round == 2) {
        mixed = b ^ c ^ d;
        word = 3 * step + 5;
      } else {
        mixed = c ^ (b | ~d);
        word = 7 * step;
      }
      mixed += a + kSines[step] + words[word % 16];
      a = d;
      d = c;
      c = b;
      b += std::rotl(mixed, kRotations[round][step % 4]);
    }
    state[0] += a;
    state[1] += b;
    state[2] += c;
    state[3] += d;
  }

  std::array<uint32_t, 4> state = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};
  std::string pending;  // less than a block
  uint64_t length = 0;
};

}  // namespace

KorString FileMd5(const KorString& path) {
  Md5 md5;
  KorString error;
  const auto add = [&md5](std::string_view bytes) {
    md5.Add(bytes);
    return true;
  };
  if (FileReadChunks(path, add, error)) return md5.Finish();
  if (FileExists(path)) {
    KorFrameworkLog().WarningWithNL("%S: cannot read for its checksum: %S", path, error);
  }
  return {};
}

KorString TextMd5(const KorString& text) {
  Md5 md5;
  md5.Add(text.View());
  return md5.Finish();
}
