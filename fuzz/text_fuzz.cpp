// Wildcards, expressions, formatting and the operations on texts. The input: a pattern, a subject
// and a replacement, with NUL bytes between them.

#include <limits>

#include "kor/file.h"
#include "kor/regex.h"
#include "kor/tokeniser.h"
#include "support.h"

namespace {

// An expression may cost a million steps for each byte that it starts from.
constexpr size_t kLongestSubject = 256;

// What the pattern describes, byte by byte.
bool Describes(std::string_view pattern, std::string_view text) {
  std::vector<bool> reached(text.size() + 1, false);
  reached[0] = true;
  for (const char c : pattern) {
    std::vector<bool> next(text.size() + 1, false);
    for (size_t at = 0; at <= text.size(); ++at) {
      if (c == '*') {
        next[at] = reached[at] || (at > 0 && next[at - 1]);
      } else if (at > 0) {
        next[at] = reached[at - 1] && (c == '?' || c == text[at - 1]);
      }
    }
    reached = next;
  }
  return reached[text.size()];
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

void CheckWildcard(const KorString& pattern, const KorString& text) {
  const KorString regex = PatternToRegex(pattern);
  KorString error;
  fuzz::Require(CheckRegex(regex, error), "a pattern gives an expression that compiles");
  fuzz::Require(MatchRegex(text, regex, true) == Describes(pattern.View(), text.View()),
                "a pattern matches what it describes");
  fuzz::Require(
      MatchRegex(text, regex, false) == Describes(Lower(pattern.View()), Lower(text.View())),
      "a pattern matches what it describes, whatever the letter case");
}

void CheckRegexes(const KorString& regex, const KorString& subject, const KorString& replacement) {
  KorString error;
  const bool compiles = CheckRegex(regex, error);
  KorVector<KorString> groups;
  const bool matches = FindPcre(subject, regex, groups, 0, 1, 1) != 0;
  fuzz::Require(compiles || !matches, "what does not compile matches nothing");
  fuzz::Require(MatchRegex(subject, regex, true) == matches, "two searches agree");
  const KorString replaced = RegexReplace(subject, regex, replacement, true);
  fuzz::Require(matches || replaced == subject, "without a match nothing is replaced");
  if (!compiles) return;
  for (const int options : {1, 2, 4, 7}) MatchPcre(subject, regex, options);
  // \K moves the beginning of a match, also to behind its end.
  if (regex.Find("\\K", 0) != -1) return;
  fuzz::Require(RegexReplace(subject, regex, "$0", true) == subject, "a match replaced by itself");
}

void CheckNumbers(const KorString& text) {
  KorString out;
  out.Printf("%d|%u|%gu|%%|%s|%S", text.ToInt(), static_cast<uint32_t>(text.GetLength()),
             text.ToUINT64(), text.View(), text);
  std::string expected = std::to_string(text.ToInt()) + "|" + std::to_string(text.GetLength());
  expected += "|" + std::to_string(text.ToUINT64()) + "|%|" + text.Str() + "|" + text.Str();
  fuzz::Require(out.Str() == expected, "a format gives its arguments");
  const KorString number(std::to_string(text.ToInt()));
  fuzz::Require(number.ToInt() == text.ToInt(), "a number is read as it was written");
  fuzz::Require(text.ToInt() < 0 ? text.ToUINT64() == 0
                                 : text.ToUINT64() >= static_cast<uint64_t>(text.ToInt()),
                "both sizes of number agree");
}

void CheckPieces(const KorString& text, const KorString& separator) {
  StringTokeniser tokeniser(text, separator, 0);
  std::string joined;
  KorString piece;
  size_t count = 0;
  while (tokeniser.GetNextToken(&piece) != 0) {
    if (count++ > 0) joined += separator.Str();
    joined += piece.Str();
  }
  fuzz::Require(joined == text.Str() || joined + separator.Str() == text.Str(),
                "the pieces make up the text");
  KorString replaced = text;
  replaced.ReplaceAll(separator, separator, true);
  fuzz::Require(replaced == text, "a text replaced by itself changes nothing");
  replaced.ReplaceAll(separator, "", false);
  fuzz::Require(replaced.GetLength() <= text.GetLength(), "what is taken out makes it shorter");
}

void CheckPaths(const KorString& path) {
  KorString drive, directory, name, extension;
  SplitPath(path, drive, directory, name, extension);
  fuzz::Require(drive.IsEmpty() && directory + name + extension == path,
                "the parts make up a path");
  const KorString complete = CompletePath(path);
  fuzz::Require(complete.StartsWith("/", true) && CompletePath(complete) == complete,
                "a complete path is complete");
  const std::string inner = complete.Str() + "/";
  fuzz::Require(inner.find("/../") == std::string::npos && inner.find("/./") == std::string::npos,
                "a complete path has no dots");
}

// A format that is a text of the input; the compiler checks all others.
void CheckFormat(const KorString& format, const KorString& text) {
  const std::string made = KorFormat(format.View(), {text, text, text});
  fuzz::Require(made.size() <= format.GetLength() + 3 * text.GetLength(),
                "a format gives each argument once at most");
  if (format.Find("%", 0) == -1) fuzz::Require(made == format.Str(), "plain text stays");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::QuietLog log;
  fuzz::UseLog(log);

  const auto parts = fuzz::Parts(fuzz::View(data, size), 3);
  const KorString pattern(parts[0]);
  const KorString subject(parts[1].substr(0, kLongestSubject));
  const KorString replacement(parts[2]);
  CheckWildcard(pattern, subject);
  CheckWildcard(replacement, subject);
  CheckRegexes(pattern, subject, replacement);
  CheckNumbers(subject);
  CheckPieces(subject, pattern);
  CheckPaths(subject);
  CheckFormat(replacement, subject);
  return 0;
}
