// C++ cut into tokens, as far as a mutator needs it.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

namespace mutation {

enum class TokenKind : uint8_t { kWord, kNumber, kText, kRawText, kCharacter, kSymbol };

struct Token {
  TokenKind kind;
  size_t offset;
  std::string_view text;

  bool Is(std::string_view other) const { return text == other; }
  size_t End() const { return offset + text.size(); }
};

// The tokens without white space, comments and preprocessor lines. They point into the source.
std::vector<Token> Tokenise(std::string_view source);

}  // namespace mutation
