#include "statements.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace mutation {

std::vector<size_t> MatchBrackets(const std::vector<Token>& tokens) {
  std::vector<size_t> partners(tokens.size(), 0);
  std::vector<size_t> open;
  for (size_t i = 0; i < tokens.size(); ++i) {
    if (tokens[i].kind != TokenKind::kSymbol) continue;
    const char c = tokens[i].text[0];
    if (c == '(' || c == '[' || c == '{') open.push_back(i);
    if ((c == ')' || c == ']' || c == '}') && !open.empty()) {
      partners[i] = open.back();
      partners[open.back()] = i;
      open.pop_back();
    }
  }
  return partners;
}

namespace {

template <size_t N>
bool IsOneOf(const Token& token, const std::array<std::string_view, N>& words) {
  return std::find(words.begin(), words.end(), token.text) != words.end();
}

// A walk over the functions of a source. Positions are indices of tokens, ends are one past.
class StatementFinder {
 public:
  explicit StatementFinder(const std::vector<Token>& all)
      : tokens(all), partners(MatchBrackets(all)) {}

  std::vector<Statement> Run() {
    WalkScope(0, tokens.size());
    std::sort(found.begin(), found.end(),
              [](const Statement& a, const Statement& b) { return a.first < b.first; });
    return found;
  }

 private:
  enum class Parent { kBlock, kCondition, kLoop };

  struct Return {
    Statement statement;
    // Something comes after it, at whatever level.
    bool isFollowed;
  };

  bool Is(size_t at, std::string_view text) const {
    return at < tokens.size() && tokens[at].Is(text);
  }

  size_t FindNext(size_t at, size_t end, std::string_view text) const {
    while (at < end && !tokens[at].Is(text)) ++at;
    return at;
  }

  // A namespace, a class or the whole file.
  void WalkScope(size_t at, size_t end) {
    size_t begin = at;
    while (at < end) {
      if (Is(at, ";")) begin = at + 1;
      if (!Is(at, "{")) {
        ++at;
        continue;
      }
      const size_t close = partners[at];
      if (IsFunctionBody(at)) {
        WalkFunction(at + 1, close);
        begin = close + 1;
      } else if (HoldsDeclarations(begin, at)) {
        WalkScope(at + 1, close);
        begin = close + 1;
      }
      at = close + 1;
    }
  }

  bool IsFunctionBody(size_t brace) const {
    constexpr std::array<std::string_view, 4> kAfterParameters = {"const", "noexcept", "override",
                                                                  "mutable"};
    size_t before = brace;
    while (before > 0 && IsOneOf(tokens[before - 1], kAfterParameters)) --before;
    return before > 0 && Is(before - 1, ")");
  }

  bool HoldsDeclarations(size_t begin, size_t brace) const {
    constexpr std::array<std::string_view, 4> kScopes = {"namespace", "class", "struct", "extern"};
    for (size_t i = begin; i < brace; ++i) {
      if (Is(i, "enum") || Is(i, "=")) return false;
      if (IsOneOf(tokens[i], kScopes)) return true;
    }
    return false;
  }

  void WalkFunction(size_t at, size_t end) {
    std::vector<Return> outer;
    std::swap(outer, returns);
    const size_t outerEnd = functionEnd;
    functionEnd = end;
    WalkBlock(at, end);
    for (const Return& one : returns) {
      if (one.isFollowed) found.push_back(one.statement);
    }
    functionEnd = outerEnd;
    std::swap(outer, returns);
  }

  void WalkBlock(size_t at, size_t end) {
    while (at < end) {
      const size_t before = returns.size();
      at = WalkStatement(at, end, Parent::kBlock);
      if (at >= end) continue;
      for (size_t i = before; i < returns.size(); ++i) returns[i].isFollowed = true;
    }
  }

  size_t WalkStatement(size_t at, size_t end, Parent parent) {
    if (Is(at, "{")) {
      WalkBlock(at + 1, partners[at]);
      return partners[at] + 1;
    }
    if (Is(at, "if")) return WalkIf(at, end);
    if (Is(at, "for") || Is(at, "while")) {
      return WalkStatement(partners[at + 1] + 1, end, Parent::kLoop);
    }
    if (Is(at, "switch")) return WalkStatement(partners[at + 1] + 1, end, Parent::kCondition);
    if (Is(at, "do")) return FindNext(WalkStatement(at + 1, end, Parent::kLoop), end, ";") + 1;
    if (Is(at, "try")) return WalkTry(at, end);
    if (Is(at, "case") || Is(at, "default")) return FindNext(at, end, ":") + 1;
    if (Is(at, "struct") || Is(at, "class")) {
      const size_t brace = FindNext(at, end, "{");
      WalkScope(brace + 1, partners[brace]);
      return FindNext(partners[brace], end, ";") + 1;
    }
    return WalkExpression(at, end, parent);
  }

  size_t WalkIf(size_t at, size_t end) {
    const size_t condition = Is(at + 1, "constexpr") ? at + 2 : at + 1;
    at = WalkStatement(partners[condition] + 1, end, Parent::kCondition);
    return Is(at, "else") ? WalkStatement(at + 1, end, Parent::kCondition) : at;
  }

  size_t WalkTry(size_t at, size_t end) {
    at = WalkStatement(at + 1, end, Parent::kBlock);
    while (Is(at, "catch")) at = WalkStatement(partners[at + 1] + 1, end, Parent::kBlock);
    return at;
  }

  size_t WalkExpression(size_t first, size_t end, Parent parent) {
    size_t depth = 0;
    size_t at = first;
    for (; at < end && (depth > 0 || !Is(at, ";")); ++at) {
      if (Is(at, "{") && IsLambdaBody(at)) {
        WalkFunction(at + 1, partners[at]);
        at = partners[at];
      } else if (Is(at, "(") || Is(at, "[") || Is(at, "{")) {
        ++depth;
      } else if (Is(at, ")") || Is(at, "]") || Is(at, "}")) {
        --depth;
      }
    }
    if (at < end) AddStatement({first, at}, parent);
    return at + 1;
  }

  bool IsLambdaBody(size_t brace) const {
    if (Is(brace - 1, "]")) return true;
    return Is(brace - 1, ")") && Is(partners[brace - 1] - 1, "]");
  }

  void AddStatement(const Statement& statement, Parent parent) {
    constexpr std::array<std::string_view, 4> kNever = {"using", "typedef", "static_assert",
                                                        "goto"};
    const Token& first = tokens[statement.first];
    if (statement.first == statement.last || IsOneOf(first, kNever)) return;
    // The body of an endless loop would be the same.
    if (first.Is("continue") && parent == Parent::kLoop) return;
    if (first.Is("return")) {
      returns.push_back({statement, false});
    } else if (CanGo(statement)) {
      found.push_back(statement);
    }
  }

  bool CanGo(const Statement& statement) const {
    const size_t name = DeclaredName(statement);
    if (name == statement.last) return true;
    for (size_t i = statement.last; i < functionEnd; ++i) {
      if (tokens[i].text == tokens[name].text) return false;
    }
    return true;
  }

  // Where the name stands that the statement declares; its end when it declares none.
  size_t DeclaredName(const Statement& statement) const {
    constexpr std::array<std::string_view, 3> kQualifiers = {"const", "constexpr", "static"};
    constexpr std::array<std::string_view, 2> kNoTypes = {"delete", "throw"};
    size_t at = statement.first;
    while (IsOneOf(tokens[at], kQualifiers)) ++at;
    if (tokens[at].kind != TokenKind::kWord || IsOneOf(tokens[at], kNoTypes)) {
      return statement.last;
    }
    ++at;
    while (Is(at, "::")) at += 2;
    if (Is(at, "<")) at = AfterTemplateArguments(at, statement.last);
    while (Is(at, "*") || Is(at, "&") || Is(at, "const")) ++at;
    // A structured binding's names are all used.
    if (Is(at, "[")) return at > statement.first + 1 ? at : statement.last;
    return tokens[at].kind == TokenKind::kWord ? at : statement.last;
  }

  size_t AfterTemplateArguments(size_t at, size_t end) const {
    size_t depth = 0;
    for (; at < end; ++at) {
      if (Is(at, "<")) ++depth;
      if (Is(at, ">")) depth -= 1;
      if (Is(at, ">>")) depth -= 2;
      if (depth == 0) return at + 1;
    }
    return end;
  }

  const std::vector<Token>& tokens;
  std::vector<size_t> partners;
  std::vector<Return> returns;
  std::vector<Statement> found;
  size_t functionEnd = 0;
};

}  // namespace

std::vector<Statement> FindDroppable(const std::vector<Token>& tokens) {
  return StatementFinder(tokens).Run();
}

}  // namespace mutation
