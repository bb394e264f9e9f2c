// Perl-compatible regular expressions over bytes.
//
// Patterns are compiled once and kept in a bounded cache. No UTF mode; newline is LF. A match limit
// and a bound on the time of the processor hold hostile patterns and texts: a search that meets
// one, like a pattern that does not compile, is "no match" with one warning for that pattern in the
// framework's log. A group that took no part in the match is the empty text.

#pragma once

#include <cstddef>
#include <memory>
#include <string_view>

#include "kor/string.h"
#include "kor/vector.h"

class CompiledRegex;

// Compile option bits of the callers; any combination.
inline constexpr int kPcreCaseless = 1;
inline constexpr int kPcreMultiLine = 2;
inline constexpr int kPcreDotAll = 4;

// Searches for the first match anywhere. Non-zero on a match; the captures then hold groups 1, 2,
// ... of the pattern at index 0, 1, ...; without a match they are left as they were.
int FindPcreSimple(const char* text, size_t length, const KorString& pattern, int options,
                   KorVector<KorString>& captures);

// The same on a string. The two trailing arguments are ignored.
int FindPcre(const KorString& subject, const KorString& pattern, KorVector<KorString>& captures,
             int options = 0, int unused1 = 1, int unused2 = 1);

// Where in the text the first match at or after `from` begins and ends; false, and nothing set,
// without one.
bool LocatePcre(std::string_view text, size_t from, const KorString& pattern, int options,
                size_t& begin, size_t& end);

bool MatchPcreSimple(const char* text, size_t length, const KorString& pattern, int options);
bool MatchPcre(const KorString& subject, const KorString& pattern, int options);

// Whether the expression is found anywhere in the subject; neither multi-line nor dot-all. The
// empty expression is found everywhere.
bool MatchRegex(const KorString& subject, const KorString& regex, bool caseSensitive);

// The same for one expression and many subjects, on any thread.
class KorRegex {
 public:
  KorRegex(const KorString& regex, bool caseSensitive);
  bool Matches(const KorString& subject) const;

 private:
  std::shared_ptr<CompiledRegex> compiled;
};

// The subject with every match replaced; options as for MatchRegex. In the replacement $1, ${1} and
// \1 name groups (all digits that follow count, 0 is the whole match); unset and unknown groups are
// empty; everything else stands as it is. Empty matches advance. An expression that does not
// compile replaces nothing.
KorString RegexReplace(const KorString& subject, const KorString& regex,
                       const KorString& replacement, bool caseSensitive);

// A regular expression that matches exactly the strings that the wildcard pattern describes: "*"
// any run of bytes, "?" any one byte, everything else literal, the whole string, line ends
// included.
KorString PatternToRegex(const KorString& pattern);

// Whether the expression compiles; if not, `error` says why and where.
bool CheckRegex(const KorString& regex, KorString& error);
