#include "tokens.h"

#include <algorithm>
#include <cctype>
#include <string>

namespace mutation {
namespace {

bool IsWordCharacter(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) != 0 || c == '_';
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

class Tokeniser {
 public:
  explicit Tokeniser(std::string_view text) : source(text) {}

  std::vector<Token> Run() {
    while (SkipBetweenTokens()) Take();
    return tokens;
  }

 private:
  std::string_view Rest() const { return source.substr(at); }

  // False at the end of the source.
  bool SkipBetweenTokens() {
    while (at < source.size()) {
      const std::string_view rest = Rest();
      if (rest.starts_with("//")) {
        at = std::min(source.find('\n', at), source.size());
      } else if (rest.starts_with("/*")) {
        const size_t end = source.find("*/", at + 2);
        at = end == std::string_view::npos ? source.size() : end + 2;
      } else if (rest[0] == '#' && IsFirstOnLine()) {
        SkipPreprocessorLine();
      } else if (std::isspace(static_cast<unsigned char>(rest[0])) != 0) {
        ++at;
      } else {
        return true;
      }
    }
    return false;
  }

  bool IsFirstOnLine() const {
    const size_t before = source.substr(0, at).find_last_not_of(" \t");
    return before == std::string_view::npos || source[before] == '\n';
  }

  void SkipPreprocessorLine() {
    size_t end = source.find('\n', at);
    while (end != std::string_view::npos && source[end - 1] == '\\') {
      end = source.find('\n', end + 1);
    }
    at = std::min(end, source.size());
  }

  void Take() {
    const std::string_view rest = Rest();
    if (rest.starts_with("R\"")) {
      TakeRawText();
    } else if (rest[0] == '"') {
      TakeQuoted(TokenKind::kText);
    } else if (rest[0] == '\'') {
      TakeQuoted(TokenKind::kCharacter);
    } else if (IsDigit(rest[0])) {
      // Digit separators and the point are part of a number.
      TakeWhile(TokenKind::kNumber,
                [](char c) { return IsWordCharacter(c) || c == '\'' || c == '.'; });
    } else if (IsWordCharacter(rest[0])) {
      TakeWhile(TokenKind::kWord, IsWordCharacter);
    } else {
      TakeSymbol();
    }
  }

  void Add(TokenKind kind, size_t length) {
    tokens.push_back({kind, at, source.substr(at, length)});
    at += tokens.back().text.size();
  }

  void TakeRawText() {
    const size_t open = source.find('(', at);
    const std::string close = ")" + std::string(source.substr(at + 2, open - at - 2)) + "\"";
    const size_t end = source.find(close, open);
    Add(TokenKind::kRawText,
        end == std::string_view::npos ? source.size() - at : end + close.size() - at);
  }

  void TakeQuoted(TokenKind kind) {
    const char quote = source[at];
    size_t end = at + 1;
    while (end < source.size() && source[end] != quote) end += source[end] == '\\' ? 2 : 1;
    Add(kind, end + 1 - at);
  }

  template <typename Belongs>
  void TakeWhile(TokenKind kind, Belongs belongs) {
    size_t end = at;
    while (end < source.size() && belongs(source[end])) ++end;
    Add(kind, end - at);
  }

  void TakeSymbol() {
    constexpr std::string_view kLong[] = {"<<=", ">>=", "<=>", "...", "->", "::", "&&", "||",
                                          "==",  "!=",  "<=",  ">=",  "+=", "-=", "*=", "/=",
                                          "%=",  "&=",  "|=",  "^=",  "++", "--", "<<", ">>"};
    const std::string_view rest = Rest();
    for (const std::string_view symbol : kLong) {
      if (rest.starts_with(symbol)) return Add(TokenKind::kSymbol, symbol.size());
    }
    Add(TokenKind::kSymbol, 1);
  }

  std::string_view source;
  size_t at = 0;
  std::vector<Token> tokens;
};

}  // namespace

std::vector<Token> Tokenise(std::string_view source) {
  return Tokeniser(source).Run();
}

}  // namespace mutation
