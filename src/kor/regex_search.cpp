#include "kor/regex_search.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <limits>
#include <list>
#include <new>
#include <unordered_map>

#include "kor/debug.h"
#include "kor/mutex.h"
#include "kor/regex.h"

namespace {

// How far one search may go. The match limit counts steps of backtracking from one starting point;
// it grows with the subject, so that no honest walk over a long text meets it.
constexpr uint64_t kBaseMatchLimit = 1'000'000;
constexpr uint64_t kMatchLimitPerByte = 8;
constexpr uint32_t kDepthLimit = 1'000'000;
constexpr uint32_t kHeapLimitKiB = 64 * 1024;
constexpr size_t kFirstJitStack = size_t{32} * 1024;
constexpr size_t kLargestJitStack = size_t{1024} * 1024;

constexpr size_t kCachedExpressions = 1024;

template <auto Free>
struct FreeWith {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};
using Code = std::unique_ptr<pcre2_code, FreeWith<pcre2_code_free>>;
using CompileContext = std::unique_ptr<pcre2_compile_context, FreeWith<pcre2_compile_context_free>>;
using MatchContext = std::unique_ptr<pcre2_match_context, FreeWith<pcre2_match_context_free>>;
using MatchData = std::unique_ptr<pcre2_match_data, FreeWith<pcre2_match_data_free>>;
using JitStack = std::unique_ptr<pcre2_jit_stack, FreeWith<pcre2_jit_stack_free>>;

template <typename Owner>
Owner Allocated(Owner owner) {
  if (owner == nullptr) throw std::bad_alloc();
  return owner;
}

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
  static const CompileContext context = [] {
    CompileContext made = Allocated(CompileContext(pcre2_compile_context_create(nullptr)));
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

PCRE2_SPTR Units(std::string_view text) {
  return reinterpret_cast<PCRE2_SPTR>(text.data() == nullptr ? "" : text.data());
}

// What a thread needs to match: kept from one search to the next, so that a search allocates
// nothing.
class MatchWorkspace {
 public:
  static MatchWorkspace& OfThisThread() {
    thread_local MatchWorkspace workspace;
    return workspace;
  }

  // The library's result code; from 1 on it is a match and Offsets() holds the groups.
  int Match(const pcre2_code* code, size_t pairsNeeded, std::string_view subject, size_t from,
            uint32_t options) {
    MakeRoom(pairsNeeded);
    const uint64_t limit = kBaseMatchLimit + kMatchLimitPerByte * subject.size();
    const uint64_t most = std::numeric_limits<uint32_t>::max();
    pcre2_set_match_limit(context.get(), static_cast<uint32_t>(std::min(limit, most)));
    int result = Run(code, subject, from, options);
    // The interpreter keeps its state on the heap and gets further than the JIT stack does.
    if (result == PCRE2_ERROR_JIT_STACKLIMIT) {
      result = Run(code, subject, from, options | PCRE2_NO_JIT);
    }
    // A search that went wrong may have grown the match data up to the heap limit.
    if (result < 0 && result != PCRE2_ERROR_NOMATCH) Forget();
    return result;
  }

  const size_t* Offsets() const { return pcre2_get_ovector_pointer(data.get()); }

 private:
  MatchWorkspace()
      : context(Allocated(MatchContext(pcre2_match_context_create(nullptr)))),
        stack(pcre2_jit_stack_create(kFirstJitStack, kLargestJitStack, nullptr)) {
    pcre2_set_depth_limit(context.get(), kDepthLimit);
    pcre2_set_heap_limit(context.get(), kHeapLimitKiB);
    // Without JIT there is no stack, and none is needed.
    if (stack != nullptr) pcre2_jit_stack_assign(context.get(), nullptr, stack.get());
  }

  int Run(const pcre2_code* code, std::string_view subject, size_t from, uint32_t options) {
    return pcre2_match(code, Units(subject), subject.size(), from, options, data.get(),
                       context.get());
  }

  void MakeRoom(size_t pairsNeeded) {
    if (pairsNeeded <= pairs) return;
    data =
        Allocated(MatchData(pcre2_match_data_create(static_cast<uint32_t>(pairsNeeded), nullptr)));
    pairs = pairsNeeded;
  }

  void Forget() {
    data.reset();
    pairs = 0;
  }

  MatchContext context;
  JitStack stack;
  MatchData data;
  size_t pairs = 0;
};

}  // namespace

// An expression as it stands in the cache, a bad one with its reason. Shared by threads; does not
// change but for the note that its warning has been given.
class CompiledRegex {
 public:
  CompiledRegex(const KorString& expression, uint32_t libraryOptions)
      : pattern(expression), options(libraryOptions) {
    int reason = 0;
    size_t offset = 0;
    code.reset(pcre2_compile(Units(pattern.View()), pattern.GetLength(), options, &reason, &offset,
                             LineFeedContext()));
    if (code == nullptr) {
      error.Printf("%S at offset %gu", LibraryMessage(reason), offset);
      return;
    }
    // May be refused, by a hardened kernel for example: then the library interprets.
    pcre2_jit_compile(code.get(), PCRE2_JIT_COMPLETE);
    pcre2_pattern_info(code.get(), PCRE2_INFO_CAPTURECOUNT, &groupCount);
  }

  const KorString& Pattern() const { return pattern; }
  uint32_t Options() const { return options; }
  const KorString& Error() const { return error; }
  size_t GroupCount() const { return groupCount; }

  bool Match(std::string_view subject, size_t from, bool mayBeEmpty) {
    if (code == nullptr) {
      if (!hasWarned.exchange(true)) {
        KorFrameworkLog().WarningWithNL("Bad regular expression '%S': %S", pattern, error);
      }
      return false;
    }
    const uint32_t matchOptions = mayBeEmpty ? 0 : PCRE2_NOTEMPTY_ATSTART;
    const int result = MatchWorkspace::OfThisThread().Match(code.get(), groupCount + size_t{1},
                                                            subject, from, matchOptions);
    if (result > 0) return true;
    if (result != PCRE2_ERROR_NOMATCH && !hasWarned.exchange(true)) {
      KorFrameworkLog().WarningWithNL("Gave up the search for regular expression '%S': %S", pattern,
                                      LibraryMessage(result));
    }
    return false;
  }

 private:
  const KorString pattern;
  const uint32_t options;
  Code code;
  uint32_t groupCount = 0;
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

RegexSearch::RegexSearch(const KorString& pattern, int options)
    : compiled(RegexCache::Instance().Get(pattern, LibraryOptions(options))) {}

const KorString& RegexSearch::Error() const {
  return compiled->Error();
}

bool RegexSearch::Find(std::string_view text, size_t from, bool mayBeEmpty) {
  if (!compiled->Match(text, from, mayBeEmpty)) return false;
  subject = text;
  offsets = MatchWorkspace::OfThisThread().Offsets();
  return true;
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
