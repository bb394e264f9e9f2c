// The search that all regular-expression functions share. Internal to this library: callers use
// kor/regex.h.

#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "kor/processor_time.h"
#include "kor/string.h"

class CompiledRegex;

// One expression, taken from the cache of compiled expressions or compiled now, and the groups of
// its latest match. To be used by one thread.
class RegexSearch {
 public:
  RegexSearch(const KorString& pattern, int options);

  // Why and where the expression does not compile; the empty text when it does.
  const KorString& Error() const;

  // The first match at or after `from`, unless `mayBeEmpty` is false not an empty one right there.
  // An expression that does not compile and a search that hits a limit find nothing and give one
  // warning for the expression. The subject must live as long as the groups are asked for.
  bool Find(std::string_view subject, size_t from = 0, bool mayBeEmpty = true);

  // After a Find() that was true, until the next Find() of any RegexSearch on this thread.
  size_t Begin() const { return offsets[0]; }
  size_t End() const { return offsets[1]; }

  // How many groups the expression has, the whole match not counted.
  size_t GroupCount() const;
  // Group 0 is the whole match; a group that is unset or unknown is the empty text.
  std::string_view Group(size_t number) const;

  // One warning for the expression, however often it is given up.
  void WarnGivenUp(const char* doing, const KorString& reason) const;

 private:
  std::shared_ptr<CompiledRegex> compiled;
  std::string_view subject;
  const size_t* offsets = nullptr;
  // The processor's time, in microseconds, from which on its searches are timed; 0 until then.
  uint64_t timedFrom = 0;
  KorTick tick;
  bool hasSearched = false;
};

// For those who only ask whether there is a match, as a RegexSearch of one search. Both may be
// called by any thread.
std::shared_ptr<CompiledRegex> CompileRegex(const KorString& pattern, int options);
bool HasMatch(CompiledRegex& regex, std::string_view subject);

// What the searches of one RegexSearch may take together of the processor's time, once there are
// several or one takes long: so many microseconds, and some for each, so that millions of short
// searches are not taken for a few long ones. Aligned for atomic access without a library's help.
struct alignas(uint64_t) RegexBudget {
  uint32_t microseconds;
  uint32_t forEachSearch;
};

// Returns what it was. For tests.
RegexBudget SetRegexBudget(RegexBudget given);

// What the calling thread keeps from one search to the next, in bytes.
size_t RegexBytesKept();
