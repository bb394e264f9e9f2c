#include "kor/regex_search.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cctype>
#include <cstdint>
#include <limits>
#include <list>
#include <mutex>
#include <unordered_map>

#include "kor/debug.h"
#include "kor/mutex.h"
#include "kor/processor_time.h"
#include "kor/regex.h"
#include "kor/regex_workspace.h"

namespace {

// How far a search may go from one starting point: the library's match limit counts steps of
// backtracking and begins anew at each point. It grows with the subject, so that no honest walk
// over a long text meets it.
constexpr uint64_t kBaseMatchLimit = 1'000'000;
constexpr uint64_t kMatchLimitPerByte = 8;

// How far it may go from all starting points together. A subject of ordinary length is searched in
// one call, with a lower limit for each point. What is longer, or does not end within that limit,
// is searched a window of starting points after the other, and between two windows the time is
// looked at. A window is as wide as these allow: a scan to the end of the subject from each of its
// points, and the limit of steps for each of them.
constexpr RegexBudget kBudget{.microseconds = 2'000'000, .forEachSearch = 2};
constexpr size_t kLongestInOneCall = size_t{128} * 1024;
constexpr uint64_t kStepsInOneCall = uint64_t{1} << 25;
constexpr uint64_t kScansInOneCall = uint64_t{1} << 29;
constexpr uint64_t kLeastSteps = 1024;
constexpr uint64_t kStepsGrowth = 8;
std::atomic<RegexBudget> budget = kBudget;

// The library's compiling to machine code takes as long as some dozens of short searches do
// without, and most expressions of a run are asked a few times only. So the first searches are
// interpreted, as far as they get with few steps.
constexpr uint32_t kSearchesBeforeJit = 32;
constexpr size_t kLongestInterpreted = size_t{4} * 1024;
constexpr uint64_t kInterpretedSteps = uint64_t{1} << 18;

constexpr size_t kCachedExpressions = 1024;

// The only place that knows both the callers' option bits and the library's.
uint32_t LibraryOptions(int options) {
  const auto bits = static_cast<unsigned int>(options);
  uint32_t result = PCRE2_NEVER_UTF | PCRE2_NEVER_UCP;
  if ((bits & kPcreCaseless) != 0) result |= PCRE2_CASELESS;
  if ((bits & kPcreMultiLine) != 0) result |= PCRE2_MULTILINE;
  if ((bits & kPcreDotAll) != 0) result |= PCRE2_DOTALL;
  return result;
}

// What a line end is must not depend on how a distribution has built the library.
pcre2_compile_context* LineFeedContext() {
  static const PcreCompileContext context = [] {
    PcreCompileContext made =
        PcreAllocated(PcreCompileContext(pcre2_compile_context_create(nullptr)));
    pcre2_set_newline(made.get(), PCRE2_NEWLINE_LF);
    pcre2_set_bsr(made.get(), PCRE2_BSR_UNICODE);
    return made;
  }();
  return context.get();
}

KorString LibraryMessage(int code) {
  PCRE2_UCHAR text[256] = {};
  pcre2_get_error_message(code, text, sizeof text);
  return {reinterpret_cast<const char*>(text)};
}

bool IsTimeSpent(uint64_t timedFrom) {
  return KorProcessorMicroseconds() > timedFrom + budget.load().microseconds;
}

uint64_t MostSteps(size_t length) {
  return std::min<uint64_t>(kBaseMatchLimit + kMatchLimitPerByte * length,
                            std::numeric_limits<uint32_t>::max());
}

// The bytes that a match can begin with, as far as the library knows.
class FirstBytes {
 public:
  FirstBytes() { possible.fill(true); }
  explicit FirstBytes(const pcre2_code* code) : FirstBytes() {
    const uint8_t* map = nullptr;
    uint32_t kind = 0;
    pcre2_pattern_info(code, PCRE2_INFO_FIRSTCODETYPE, &kind);
    if (kind == 1) {
      uint32_t unit = 0;
      pcre2_pattern_info(code, PCRE2_INFO_FIRSTCODEUNIT, &unit);
      possible.fill(false);
      // Whether it counts in either case is not told.
      for (const int byte : {static_cast<int>(unit), std::tolower(static_cast<int>(unit)),
                             std::toupper(static_cast<int>(unit))}) {
        possible[static_cast<size_t>(byte) & 0xff] = true;
      }
      isKnown = true;
    } else if (pcre2_pattern_info(code, PCRE2_INFO_FIRSTBITMAP, &map) == 0 && map != nullptr) {
      for (size_t byte = 0; byte < possible.size(); ++byte) {
        possible[byte] = (map[byte / 8] >> (byte % 8) & 1) != 0;
      }
      isKnown = true;
    }
  }

  // The first place at or after `at` where a match can begin; beyond the end when there is none.
  size_t Next(std::string_view subject, size_t at) const {
    if (!isKnown) return at;
    while (at < subject.size() && !possible[static_cast<unsigned char>(subject[at])]) ++at;
    return at < subject.size() ? at : subject.size() + 1;
  }

 private:
  std::array<bool, 256> possible;
  bool isKnown = false;
};

// Whether the starting points may be tried in several calls: \G asks where the call began, and what
// these verbs say of one starting point is about others, too.
bool IsDivisible(std::string_view pattern) {
  const auto holds = [pattern](const char* what) {
    return pattern.find(what) != std::string_view::npos;
  };
  return !holds("\\G") && !holds("(*COMMIT") && !holds("(*SKIP") && !holds("(*NOTEMPTY_ATSTART");
}

// Goes over the starting points window by window, with as few steps for each as will do.
class PatientSearch {
 public:
  PatientSearch(const RegexAttempt& whole, const FirstBytes& firstBytes,
                uint64_t timedFromMicroseconds)
      : attempt(whole),
        first(firstBytes),
        timedFrom(timedFromMicroseconds),
        mostSteps(MostSteps(whole.subject.size())) {
    width = Widest();
  }

  // As RegexWorkspace::Match().
  int Run() {
    for (;;) {
      attempt.from = first.Next(attempt.subject, attempt.from);
      if (attempt.from > attempt.subject.size()) return PCRE2_ERROR_NOMATCH;
      const size_t room = attempt.subject.size() - attempt.from;
      attempt.lastStart = attempt.from + std::min(width - 1, room);
      attempt.steps = steps;
      const int result = RegexWorkspace::OfThisThread().Match(attempt);
      if (result == PCRE2_ERROR_NOMATCH) {
        GoOn();
      } else if (result != PCRE2_ERROR_MATCHLIMIT || !LookCloser()) {
        return result;
      }
      if (IsTimeSpent(timedFrom)) return PCRE2_ERROR_MATCHLIMIT;
    }
  }

 private:
  size_t Widest() const {
    const uint64_t scan = attempt.subject.size() + 1 - attempt.from;
    const uint64_t widest = std::min(kScansInOneCall / scan, kStepsInOneCall / steps);
    return static_cast<size_t>(std::max<uint64_t>(widest, 1));
  }

  void GoOn() {
    attempt.from = attempt.lastStart + 1;
    // The option is about the place where the whole search begins.
    attempt.options &= ~static_cast<uint32_t>(PCRE2_NOTEMPTY_ATSTART);
    if (attempt.from > attempt.subject.size()) return;
    steps = std::max(steps / kStepsGrowth, std::min(kLeastSteps, mostSteps));
    width = std::min(2 * width, Widest());
  }

  // False when that has been done as far as it goes.
  bool LookCloser() {
    if (width > 1) {
      width = std::max<size_t>(width / 8, 1);
      return true;
    }
    if (steps >= mostSteps) return false;
    steps = std::min(steps * kStepsGrowth, mostSteps);
    return true;
  }

  RegexAttempt attempt;
  const FirstBytes& first;
  const uint64_t timedFrom;
  const uint64_t mostSteps;
  uint64_t steps = kLeastSteps;
  size_t width = 1;
};

}  // namespace

// An expression as it stands in the cache, a bad one with its reason. Shared by threads.
class CompiledRegex {
 public:
  CompiledRegex(const KorString& expression, uint32_t libraryOptions)
      : pattern(expression), options(libraryOptions) {
    int reason = 0;
    size_t offset = 0;
    code = Compile(options, reason, offset);
    if (code == nullptr) {
      error.Printf("%S at offset %gu", LibraryMessage(reason), offset);
      return;
    }
    pcre2_pattern_info(code.get(), PCRE2_INFO_CAPTURECOUNT, &groupCount);
    uint32_t all = 0;
    pcre2_pattern_info(code.get(), PCRE2_INFO_ALLOPTIONS, &all);
    isAnchored = (all & PCRE2_ANCHORED) != 0;
    isDivisible = IsDivisible(pattern.View());
  }

  const KorString& Pattern() const { return pattern; }
  uint32_t Options() const { return options; }
  const KorString& Error() const { return error; }
  size_t GroupCount() const { return groupCount; }

  // `timedFrom` as in RegexSearch; a search that takes long sets it.
  bool Match(std::string_view subject, size_t from, bool mayBeEmpty, uint64_t& timedFrom) {
    if (code == nullptr) {
      Warn("Bad regular expression", error);
      return false;
    }
    RegexAttempt attempt{code.get(), groupCount + size_t{1}, subject, from,
                         mayBeEmpty ? 0 : PCRE2_NOTEMPTY_ATSTART};
    const int result = Search(attempt, timedFrom);
    if (result > 0) return true;
    if (result == PCRE2_ERROR_NOMEMORY) throw std::bad_alloc();
    if (result != PCRE2_ERROR_NOMATCH) {
      Warn("Gave up the search for regular expression", LibraryMessage(result));
    }
    return false;
  }

  void Warn(const char* what, const KorString& reason) {
    if (hasWarned.exchange(true)) return;
    KorFrameworkLog().WarningWithNL("%s '%S': %S", what, pattern, reason);
  }

 private:
  PcreCode Compile(uint32_t compileOptions, int& reason, size_t& offset) const {
    PcreCode made(pcre2_compile(PcreUnits(pattern.View()), pattern.GetLength(), compileOptions,
                                &reason, &offset, LineFeedContext()));
    // It would be remembered as a bad expression.
    if (made == nullptr && reason == PCRE2_ERROR_HEAP_FAILED) throw std::bad_alloc();
    return made;
  }

  // True when that told whether there is a match.
  bool IsToldByInterpreter(RegexAttempt attempt, int& result) {
    const size_t length = attempt.subject.size();
    if (length > kLongestInterpreted) return false;
    if (searches.fetch_add(1, std::memory_order_relaxed) >= kSearchesBeforeJit) return false;
    attempt.steps = kInterpretedSteps / (length + 1);
    attempt.isInterpreted = true;
    result = RegexWorkspace::OfThisThread().Match(attempt);
    return result > 0 || result == PCRE2_ERROR_NOMATCH;
  }

  // A copy, because others may be searching with the one that is there.
  const pcre2_code* MakeQuick() {
    std::call_once(quickOnce, [this] {
      quickOwner = PcreAllocated(PcreCode(pcre2_code_copy(code.get())));
      // May be refused, by a hardened kernel for example: then the library interprets.
      pcre2_jit_compile(quickOwner.get(), PCRE2_JIT_COMPLETE);
      size_t jitSize = 0;
      isJit =
          pcre2_pattern_info(quickOwner.get(), PCRE2_INFO_JITSIZE, &jitSize) == 0 && jitSize != 0;
      quick.store(quickOwner.get(), std::memory_order_release);
    });
    return quickOwner.get();
  }

  // The library's result code.
  int Search(RegexAttempt& attempt, uint64_t& timedFrom) {
    const pcre2_code* made = quick.load(std::memory_order_acquire);
    if (made == nullptr) {
      int result = 0;
      if (IsToldByInterpreter(attempt, result)) return result;
      made = MakeQuick();
    }
    const size_t length = attempt.subject.size();
    attempt.code = made;
    attempt.steps = MostSteps(length);
    attempt.isJit = isJit && attempt.from <= length;
    if (isAnchored) return RegexWorkspace::OfThisThread().Match(attempt);
    const bool isCurtailed = attempt.steps * (length + 1) > kStepsInOneCall;
    if (isCurtailed) attempt.steps = std::max(kStepsInOneCall / (length + 1), kLeastSteps);
    if (!isDivisible || length <= kLongestInOneCall) {
      const int result = RegexWorkspace::OfThisThread().Match(attempt);
      if (result != PCRE2_ERROR_MATCHLIMIT || !isCurtailed || !isDivisible) return result;
    }
    std::call_once(windowedOnce, [this] {
      int reason = 0;
      size_t offset = 0;
      windowed = Compile(options | PCRE2_USE_OFFSET_LIMIT, reason, offset);
      if (windowed != nullptr) pcre2_jit_compile(windowed.get(), PCRE2_JIT_COMPLETE);
      firstBytes = FirstBytes(code.get());
    });
    if (windowed == nullptr) return PCRE2_ERROR_NOMEMORY;
    attempt.code = windowed.get();
    attempt.isJit = false;
    if (timedFrom == 0) timedFrom = KorProcessorMicroseconds();
    return PatientSearch(attempt, firstBytes, timedFrom).Run();
  }

  const KorString pattern;
  const uint32_t options;
  PcreCode code;
  uint32_t groupCount = 0;
  bool isAnchored = false;
  bool isDivisible = true;
  std::atomic<uint32_t> searches = 0;
  // The same as machine code, made when it is searched often or long.
  std::once_flag quickOnce;
  PcreCode quickOwner;
  std::atomic<const pcre2_code*> quick = nullptr;
  bool isJit = false;
  // The same for searches of a window, made when there is one; ordinary searches are quicker
  // without.
  std::once_flag windowedOnce;
  PcreCode windowed;
  FirstBytes firstBytes;
  KorString error;
  std::atomic<bool> hasWarned = false;
};

namespace {

// The expressions used last. One that is dropped lives on as long as a search holds it.
class RegexCache {
 public:
  static RegexCache& Instance() {
    static RegexCache cache;
    return cache;
  }

  std::shared_ptr<CompiledRegex> Get(const KorString& pattern, uint32_t options) {
    {
      const KorMutexLock lock(mutex);
      if (auto known = Find({pattern.View(), options})) return known;
    }
    // Compiling takes long, so it is done without the lock; of two threads that compile the same
    // expression, the second takes what the first has made.
    auto made = std::make_shared<CompiledRegex>(pattern, options);
    const KorMutexLock lock(mutex);
    if (auto known = Find({pattern.View(), options})) return known;
    Insert(made);
    return made;
  }

 private:
  struct Key {
    std::string_view pattern;
    uint32_t options;
    bool operator==(const Key&) const = default;
  };
  struct KeyHash {
    size_t operator()(const Key& key) const {
      return std::hash<std::string_view>()(key.pattern) ^ key.options;
    }
  };
  using Entries = std::list<std::shared_ptr<CompiledRegex>>;

  static Key KeyOf(const CompiledRegex& entry) { return {entry.Pattern().View(), entry.Options()}; }

  std::shared_ptr<CompiledRegex> Find(const Key& key) KOR_REQUIRES(mutex) {
    const auto found = index.find(key);
    if (found == index.end()) return nullptr;
    entries.splice(entries.begin(), entries, found->second);
    return *found->second;
  }

  void Insert(const std::shared_ptr<CompiledRegex>& entry) KOR_REQUIRES(mutex) {
    entries.push_front(entry);
    index.emplace(KeyOf(*entry), entries.begin());
    if (entries.size() <= kCachedExpressions) return;
    index.erase(KeyOf(*entries.back()));
    entries.pop_back();
  }

  KorMutex mutex;
  Entries entries KOR_GUARDED_BY(mutex);  // the latest first
  std::unordered_map<Key, Entries::iterator, KeyHash> index KOR_GUARDED_BY(mutex);
};

}  // namespace

std::shared_ptr<CompiledRegex> CompileRegex(const KorString& pattern, int options) {
  return RegexCache::Instance().Get(pattern, LibraryOptions(options));
}

bool HasMatch(CompiledRegex& regex, std::string_view subject) {
  uint64_t timedFrom = 0;
  return regex.Match(subject, 0, true, timedFrom);
}

RegexSearch::RegexSearch(const KorString& pattern, int options)
    : compiled(CompileRegex(pattern, options)) {}

const KorString& RegexSearch::Error() const {
  return compiled->Error();
}

bool RegexSearch::Find(std::string_view text, size_t from, bool mayBeEmpty) {
  // A single search is not timed unless it takes long: reading the clock costs as much as a short
  // one.
  if (hasSearched) {
    if (timedFrom == 0) timedFrom = KorProcessorMicroseconds();
    timedFrom += budget.load().forEachSearch;
    if (tick.HasPassed() && IsTimeSpent(timedFrom)) {
      WarnGivenUp("Gave up the search for regular expression",
                  LibraryMessage(PCRE2_ERROR_MATCHLIMIT));
      return false;
    }
  }
  hasSearched = true;
  if (!compiled->Match(text, from, mayBeEmpty, timedFrom)) return false;
  subject = text;
  offsets = RegexWorkspace::OfThisThread().Offsets();
  return true;
}

void RegexSearch::WarnGivenUp(const char* doing, const KorString& reason) const {
  compiled->Warn(doing, reason);
}

size_t RegexSearch::GroupCount() const {
  return compiled->GroupCount();
}

std::string_view RegexSearch::Group(size_t number) const {
  if (number > compiled->GroupCount()) return {};
  const size_t begin = offsets[2 * number];
  if (begin == PCRE2_UNSET) return {};
  return subject.substr(begin, offsets[2 * number + 1] - begin);
}

RegexBudget SetRegexBudget(RegexBudget given) {
  return budget.exchange(given);
}

size_t RegexBytesKept() {
  return RegexWorkspace::OfThisThread().BytesKept();
}
