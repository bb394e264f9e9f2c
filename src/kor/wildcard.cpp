#include <string>
#include <string_view>

#include "kor/regex.h"

namespace {

bool IsWord(char c) {
  const auto byte = static_cast<unsigned char>(c);
  return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= 'a' && byte <= 'z') || byte == '_' || byte >= 0x80;
}

// A piece without "*": of fixed length, so its first occurrence is as good as any other.
std::string PieceToRegex(std::string_view piece) {
  std::string out;
  for (const char c : piece) {
    if (c == '?') {
      out += '.';
    } else if (c == '\0') {
      out += "\\x00";
    } else {
      if (!IsWord(c)) out += '\\';
      out += c;
    }
  }
  return out;
}

}  // namespace

KorString PatternToRegex(const KorString& pattern) {
  const std::string_view all = pattern.View();
  const size_t firstStar = all.find('*');
  std::string out = "\\A(?s:" + PieceToRegex(all.substr(0, firstStar));
  if (firstStar != std::string_view::npos) {
    // Between two stars the first occurrence is taken for good. Nothing is lost by that, and no
    // number of stars can make a search go back over the text again and again.
    size_t from = firstStar + 1;
    for (size_t star = all.find('*', from); star != std::string_view::npos;
         star = all.find('*', from)) {
      if (star > from) out += "(?>.*?" + PieceToRegex(all.substr(from, star - from)) + ")";
      from = star + 1;
    }
    out += ".*" + PieceToRegex(all.substr(from));
  }
  return KorString(out + ")\\z");
}
