#include "mutator.h"

#include "statements.h"
#include "tokens.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <map>
#include <numeric>
#include <utility>

namespace mutation {
namespace {

struct Swap {
  std::string_view from;
  std::string_view to;
  std::string_view kind;
};

// Only of operators with blanks around them: others are part of a type.
constexpr Swap kSwaps[] = {
    {"==", "!=", "comparison"},      {"!=", "==", "comparison"}, {"<", "<=", "comparison"},
    {"<", ">=", "comparison"},       {"<=", "<", "comparison"},  {"<=", ">", "comparison"},
    {">", ">=", "comparison"},       {">", "<=", "comparison"},  {">=", ">", "comparison"},
    {">=", "<", "comparison"},       {"&&", "||", "logic"},      {"||", "&&", "logic"},
    {"+", "-", "arithmetic"},        {"-", "+", "arithmetic"},   {"*", "/", "arithmetic"},
    {"/", "*", "arithmetic"},        {"%", "*", "arithmetic"},   {"<<", ">>", "arithmetic"},
    {">>", "<<", "arithmetic"},      {"&", "|", "arithmetic"},   {"|", "&", "arithmetic"},
    {"+=", "-=", "arithmetic"},      {"-=", "+=", "arithmetic"}, {"?", "&& false ?", "condition"},
    {"?", "|| true ?", "condition"},
};

uint64_t Hash(std::string_view text) {
  uint64_t hash = 14695981039346656037U;
  for (const char c : text) hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211U;
  return hash;
}

// The same numbers everywhere, unlike those of the standard library's distributions.
class Random {
 public:
  explicit Random(uint64_t seed) : state(seed) {}

  size_t Below(size_t bound) {
    state += 0x9E3779B97F4A7C15U;
    uint64_t mixed = (state ^ (state >> 30)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBU;
    return (mixed ^ (mixed >> 31)) % bound;
  }

  template <typename Items>
  void Shuffle(Items& items) {
    for (size_t i = items.size(); i > 1; --i) std::swap(items[i - 1], items[Below(i)]);
  }

 private:
  uint64_t state;
};

bool IsLetter(char c) {
  return std::isalpha(static_cast<unsigned char>(c)) != 0;
}

bool IsDigit(char c) {
  return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

char Neighbour(char c) {
  if (c == 'z' || c == 'Z') return static_cast<char>(c - 1);
  if (c == '9') return '8';
  return IsLetter(c) || IsDigit(c) ? static_cast<char>(c + 1) : 'x';
}

class MutantFinder {
 public:
  explicit MutantFinder(std::string_view text)
      : source(text), tokens(Tokenise(text)), partners(MatchBrackets(tokens)) {}

  std::vector<Mutant> Run() {
    for (size_t i = 0; i < tokens.size(); i = std::max(i + 1, AfterUnchangeable(i))) Look(i);
    for (const Statement& statement : FindDroppable(tokens)) {
      const size_t begin = tokens[statement.first].offset;
      Add(begin, tokens[statement.last].End() - begin, ";", "statement");
    }
    std::stable_sort(mutants.begin(), mutants.end(),
                     [](const Mutant& a, const Mutant& b) { return a.offset < b.offset; });
    return mutants;
  }

 private:
  bool Is(size_t at, std::string_view text) const {
    return at < tokens.size() && tokens[at].Is(text);
  }

  void Add(size_t offset, size_t length, std::string replacement, std::string_view kind) {
    if (source.substr(offset, length) == replacement) return;
    mutants.push_back({offset, length, std::move(replacement), kind});
  }
  void Replace(const Token& token, std::string replacement, std::string_view kind) {
    Add(token.offset, token.text.size(), std::move(replacement), kind);
  }

  // One past what is left alone from there; 0 when it is not.
  size_t AfterUnchangeable(size_t i) const {
    const Token& token = tokens[i];
    if (token.kind != TokenKind::kWord) return 0;
    const bool isCall = Is(i + 1, "(");
    if (isCall && (token.Is("static_assert") || token.Is("__attribute__") || token.Is("alignas") ||
                   token.text.starts_with("KOR_"))) {
      return partners[i + 1] + 1;
    }
    if (token.Is("extern")) return i + 2;
    if (token.Is("operator")) return i + 2;
    if (token.Is("template") || token.Is("using")) return EndOf(i, token.Is("using") ? ";" : ">");
    return 0;
  }

  size_t EndOf(size_t i, std::string_view closing) const {
    while (i < tokens.size() && !Is(i, closing)) ++i;
    return i;
  }

  void Look(size_t i) {
    if (AfterUnchangeable(i) != 0) return;
    const Token& token = tokens[i];
    switch (token.kind) {
      case TokenKind::kWord:
        return LookAtWord(i);
      case TokenKind::kNumber:
        return LookAtNumber(i);
      case TokenKind::kText:
        return LookAtText(token, 1, token.text.size() - 2);
      case TokenKind::kRawText:
        return LookAtRawText(token);
      case TokenKind::kCharacter:
        return LookAtCharacter(token);
      case TokenKind::kSymbol:
        return LookAtSymbol(i);
    }
  }

  void LookAtWord(size_t i) {
    const Token& token = tokens[i];
    if (token.Is("true")) Replace(token, "false", "boolean");
    if (token.Is("false")) Replace(token, "true", "boolean");
    if ((token.Is("if") || token.Is("while")) && Is(i + 1, "(")) Negate(i + 1);
  }

  void Negate(size_t open) {
    const size_t close = partners[open];
    if (!IsNegatable(open, close)) return;
    const size_t begin = tokens[open].End();
    const size_t length = tokens[close].offset - begin;
    Add(begin, length, "!(" + std::string(source.substr(begin, length)) + ")", "condition");
  }

  // Of a simple condition the operator itself is changed; a declaration cannot be negated.
  bool IsNegatable(size_t open, size_t close) const {
    bool isSimple = Is(open + 1, "!");
    for (size_t i = open + 1; i < close; ++i) {
      if (Is(i, "=") || Is(i, ";")) return false;
      if (Is(i, "&&") || Is(i, "||")) return true;
      isSimple = isSimple || IsComparison(tokens[i]);
    }
    return !isSimple;
  }

  bool IsComparison(const Token& token) const {
    return HasBlanksAround(token) &&
           std::any_of(std::begin(kSwaps), std::end(kSwaps), [&](const Swap& swap) {
             return swap.kind == "comparison" && token.Is(swap.from);
           });
  }

  void LookAtNumber(size_t i) {
    const Token& token = tokens[i];
    // A pure virtual function.
    if (i > 0 && Is(i - 1, "=") && Is(i + 1, ";") && i > 1 && !IsValueName(tokens[i - 2])) return;
    const bool isHex = token.text.starts_with("0x") || token.text.starts_with("0X");
    const std::string_view digits = token.text.substr(isHex ? 2 : 0);
    uint64_t number = 0;
    const char* const end = digits.data() + digits.size();
    const auto [rest, error] = std::from_chars(digits.data(), end, number, isHex ? 16 : 10);
    if (error != std::errc() || rest == digits.data()) return;
    const std::string suffix(rest, end);
    if (suffix.find_first_not_of("uUlL") != std::string::npos) return;
    Replace(token, std::to_string(number + 1) + suffix, "number");
    if (number > 0) Replace(token, std::to_string(number - 1) + suffix, "number");
  }

  static bool IsValueName(const Token& token) {
    return token.kind == TokenKind::kWord && !token.Is("const") && !token.Is("override");
  }

  // The text stands between two marks of these lengths.
  void LookAtText(const Token& token, size_t before, size_t length) {
    const std::string_view text = token.text.substr(before, length);
    const std::string head(token.text.substr(0, before));
    const std::string tail(token.text.substr(before + length));
    Replace(token, head + (text.empty() ? "mutant" : "") + tail, "text");
    const size_t place = PlaceToChange(text);
    if (place == text.size()) return;
    std::string changed(text);
    changed[place] = Neighbour(changed[place]);
    Replace(token, head + changed + tail, "text");
  }

  void LookAtRawText(const Token& token) {
    const size_t mark = token.text.find('(') + 1;
    LookAtText(token, mark, token.text.size() - 2 * mark + 1);
  }

  // A letter or digit that is not part of an escape or a conversion; the text's size without one.
  static size_t PlaceToChange(std::string_view text) {
    std::vector<size_t> places;
    for (size_t i = 0; i < text.size(); ++i) {
      if (!IsLetter(text[i]) && !IsDigit(text[i])) continue;
      const std::string_view before = text.substr(i < 2 ? 0 : i - 2, std::min<size_t>(i, 2));
      if (before.find('%') != std::string_view::npos || before.ends_with('\\')) continue;
      places.push_back(i);
    }
    return places.empty() ? text.size() : places[Hash(text) % places.size()];
  }

  void LookAtCharacter(const Token& token) {
    const char c = token.text.size() == 3 ? Neighbour(token.text[1]) : 'x';
    Replace(token, {'\'', c, '\''}, "text");
  }

  void LookAtSymbol(size_t i) {
    const Token& token = tokens[i];
    if (token.Is("!")) Replace(token, "", "condition");
    if (token.Is("++")) Replace(token, "--", "arithmetic");
    if (token.Is("--")) Replace(token, "++", "arithmetic");
    if (!HasBlanksAround(token)) return;
    // Texts can be joined but not subtracted.
    if (token.Is("+") && (IsText(i - 1) || IsText(i + 1))) return;
    for (const Swap& swap : kSwaps) {
      if (token.Is(swap.from)) Replace(token, std::string(swap.to), swap.kind);
    }
  }

  bool IsText(size_t i) const {
    return i < tokens.size() &&
           (tokens[i].kind == TokenKind::kText || tokens[i].kind == TokenKind::kRawText);
  }

  bool HasBlanksAround(const Token& token) const {
    const auto isBlank = [](char c) { return c == ' ' || c == '\n'; };
    return token.offset > 0 && token.End() < source.size() && isBlank(source[token.offset - 1]) &&
           isBlank(source[token.End()]);
  }

  std::string_view source;
  std::vector<Token> tokens;
  std::vector<size_t> partners;
  std::vector<Mutant> mutants;
};

std::string Squeezed(std::string_view text) {
  std::string squeezed;
  for (const char c : text) {
    const bool isBlank = c == ' ' || c == '\n' || c == '\t';
    if (isBlank && (squeezed.empty() || squeezed.back() == ' ')) continue;
    squeezed += isBlank ? ' ' : c;
  }
  while (squeezed.ends_with(' ')) squeezed.pop_back();
  return squeezed;
}

size_t LineBegin(std::string_view source, size_t offset) {
  const size_t before = offset == 0 ? std::string_view::npos : source.rfind('\n', offset - 1);
  return before == std::string_view::npos ? 0 : before + 1;
}

size_t LineEnd(std::string_view source, size_t offset) {
  return std::min(source.find('\n', offset), source.size());
}

// A short line, such as "return false;", says little without the one before it.
size_t DescribedFrom(std::string_view source, const Mutant& mutant) {
  constexpr size_t kShort = 16;
  const size_t begin = LineBegin(source, mutant.offset);
  const size_t end = LineEnd(source, mutant.offset + mutant.length);
  const bool isShort = Squeezed(source.substr(begin, end - begin)).size() < kShort;
  return isShort && begin > 0 ? LineBegin(source, begin - 1) : begin;
}

}  // namespace

std::vector<Mutant> FindMutants(std::string_view source) {
  return MutantFinder(source).Run();
}

std::string Apply(std::string_view source, const Mutant& mutant) {
  std::string changed(source.substr(0, mutant.offset));
  changed += mutant.replacement;
  changed += source.substr(mutant.offset + mutant.length);
  return changed;
}

size_t LineOf(std::string_view source, const Mutant& mutant) {
  const std::string_view before = source.substr(0, mutant.offset);
  return 1 + static_cast<size_t>(std::count(before.begin(), before.end(), '\n'));
}

std::string Before(std::string_view source, const Mutant& mutant) {
  const size_t begin = DescribedFrom(source, mutant);
  return Squeezed(source.substr(begin, LineEnd(source, mutant.offset + mutant.length) - begin));
}

std::string After(std::string_view source, const Mutant& mutant) {
  const size_t begin = DescribedFrom(source, mutant);
  const size_t end = mutant.offset + mutant.length;
  return Squeezed(std::string(source.substr(begin, mutant.offset - begin)) + mutant.replacement +
                  std::string(source.substr(end, LineEnd(source, end) - end)));
}

std::vector<size_t> SamplingOrder(std::string_view source, const std::vector<Mutant>& mutants,
                                  std::string_view file, uint64_t seed) {
  Random random(seed ^ Hash(file));
  std::map<size_t, std::vector<size_t>> byLine;
  for (size_t i = 0; i < mutants.size(); ++i) byLine[LineOf(source, mutants[i])].push_back(i);
  std::vector<std::vector<size_t>> lines;
  for (auto& [line, indices] : byLine) {
    random.Shuffle(indices);
    lines.push_back(indices);
  }
  random.Shuffle(lines);
  std::vector<size_t> order;
  for (size_t round = 0; order.size() < mutants.size(); ++round) {
    for (const std::vector<size_t>& indices : lines) {
      if (round < indices.size()) order.push_back(indices[round]);
    }
  }
  return order;
}

size_t CountMutableLines(std::string_view source, const std::vector<Mutant>& mutants) {
  std::vector<size_t> lines;
  for (const Mutant& mutant : mutants) lines.push_back(LineOf(source, mutant));
  std::sort(lines.begin(), lines.end());
  return static_cast<size_t>(std::unique(lines.begin(), lines.end()) - lines.begin());
}

// The remainders go to where they are largest.
std::vector<size_t> ShareOut(size_t count, const std::vector<size_t>& weights) {
  const size_t total = std::accumulate(weights.begin(), weights.end(), size_t{0});
  std::vector<size_t> shares(weights.size(), 0);
  if (total == 0) return shares;
  std::vector<std::pair<size_t, size_t>> remainders;
  size_t left = count;
  for (size_t i = 0; i < weights.size(); ++i) {
    shares[i] = count * weights[i] / total;
    left -= shares[i];
    remainders.emplace_back(count * weights[i] % total, i);
  }
  std::stable_sort(remainders.begin(), remainders.end(),
                   [](const auto& a, const auto& b) { return a.first > b.first; });
  for (size_t i = 0; i < left; ++i) ++shares[remainders[i].second];
  return shares;
}

}  // namespace mutation
