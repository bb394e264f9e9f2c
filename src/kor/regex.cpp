#include "kor/regex.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "kor/regex_search.h"

namespace {

// A replacement can be longer than what it replaces, and a rule is applied again and again.
constexpr size_t kLongestResult = size_t{64} * 1024 * 1024;

std::string_view Subject(const char* text, size_t length) {
  return text == nullptr ? std::string_view() : std::string_view(text, length);
}

// The captures may hold the subject or the pattern itself, so they are replaced last.
bool FindCaptures(std::string_view subject, const KorString& pattern, int options,
                  KorVector<KorString>& captures) {
  RegexSearch search(pattern, options);
  if (!search.Find(subject)) return false;
  KorVector<KorString> found;
  for (size_t number = 1; number <= search.GroupCount(); ++number) {
    found.Add(KorString(search.Group(number)));
  }
  captures = std::move(found);
  return true;
}

int OptionsFor(bool caseSensitive) {
  return caseSensitive ? 0 : kPcreCaseless;
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// A replacement text, cut at its references to groups.
class Replacement {
 public:
  explicit Replacement(std::string_view text) {
    size_t literal = 0;
    size_t at = 0;
    while (at < text.size()) {
      const Reference found = ReferenceAt(text, at);
      if (found.length == 0) {
        ++at;
        continue;
      }
      parts.push_back({text.substr(literal, at - literal), found.group});
      at += found.length;
      literal = at;
    }
    rest = text.substr(literal);
  }

  // False when the result would become too long.
  bool AppendTo(std::string& out, const RegexSearch& match) const {
    for (const Part& part : parts) {
      out += part.before;
      out += match.Group(part.group);
      if (out.size() > kLongestResult) return false;
    }
    out += rest;
    return out.size() <= kLongestResult;
  }

 private:
  struct Part {
    std::string_view before;
    size_t group;
  };
  struct Reference {
    size_t group = 0;
    size_t length = 0;  // 0: none here
  };

  static Reference ReferenceAt(std::string_view text, size_t at) {
    if (text[at] != '$' && text[at] != '\\') return {};
    const bool inBraces = text.substr(at).starts_with("${");
    const size_t first = at + (inBraces ? 2 : 1);
    size_t end = first;
    while (end < text.size() && IsDigit(text[end])) ++end;
    if (end == first) return {};
    if (inBraces && (end == text.size() || text[end] != '}')) return {};
    return {GroupNumber(text.substr(first, end - first)), end + (inBraces ? 1 : 0) - at};
  }

  // Numbers too large for any group stay so, whatever their length.
  static size_t GroupNumber(std::string_view digits) {
    constexpr size_t kUnknown = std::numeric_limits<uint32_t>::max();
    size_t number = 0;
    for (const char digit : digits) {
      number = std::min(number * 10 + static_cast<size_t>(digit - '0'), kUnknown);
    }
    return number;
  }

  std::vector<Part> parts;
  std::string_view rest;
};

}  // namespace

int FindPcreSimple(const char* text, size_t length, const KorString& pattern, int options,
                   KorVector<KorString>& captures) {
  return FindCaptures(Subject(text, length), pattern, options, captures) ? 1 : 0;
}

int FindPcre(const KorString& subject, const KorString& pattern, KorVector<KorString>& captures,
             int options, int /*unused1*/, int /*unused2*/) {
  return FindCaptures(subject.View(), pattern, options, captures) ? 1 : 0;
}

bool LocatePcre(std::string_view text, size_t from, const KorString& pattern, int options,
                size_t& begin, size_t& end) {
  RegexSearch search(pattern, options);
  if (!search.Find(text, from)) return false;
  begin = search.Begin();
  end = search.End();
  return true;
}

bool MatchPcreSimple(const char* text, size_t length, const KorString& pattern, int options) {
  return RegexSearch(pattern, options).Find(Subject(text, length));
}

bool MatchPcre(const KorString& subject, const KorString& pattern, int options) {
  return RegexSearch(pattern, options).Find(subject.View());
}

bool MatchRegex(const KorString& subject, const KorString& regex, bool caseSensitive) {
  return MatchPcre(subject, regex, OptionsFor(caseSensitive));
}

KorRegex::KorRegex(const KorString& regex, bool caseSensitive)
    : compiled(CompileRegex(regex, OptionsFor(caseSensitive))) {}

bool KorRegex::Matches(const KorString& subject) const {
  return HasMatch(*compiled, subject.View());
}

KorString RegexReplace(const KorString& subject, const KorString& regex,
                       const KorString& replacement, bool caseSensitive) {
  RegexSearch search(regex, OptionsFor(caseSensitive));
  const std::string_view text = subject.View();
  const Replacement parsed(replacement.View());
  std::string out;
  size_t copied = 0;
  bool lastWasEmpty = false;
  // Where a match was empty, the next search starts at the same place but must find more: at the
  // latest it finds an empty match one byte on.
  while (search.Find(text, copied, !lastWasEmpty)) {
    const size_t begin = std::max(search.Begin(), copied);
    out += text.substr(copied, begin - copied);
    if (!parsed.AppendTo(out, search)) {
      search.WarnGivenUp("Gave up replacing by regular expression", "the result is over 64 MiB");
      return subject;
    }
    lastWasEmpty = search.End() <= begin;
    copied = std::max(search.End(), begin);
  }
  out += text.substr(copied);
  return KorString(std::move(out));
}

bool CheckRegex(const KorString& regex, KorString& error) {
  const RegexSearch search(regex, 0);
  if (search.Error().IsEmpty()) return true;
  error = search.Error();
  return false;
}
