// One call of the library that matches, and what a thread keeps for it. Internal to this library.

#pragma once

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <string_view>
#include <vector>

// Objects of the library, owned.
template <auto Free>
struct PcreFree {
  template <typename T>
  void operator()(T* object) const {
    Free(object);
  }
};
template <typename T, auto Free>
using PcreOwner = std::unique_ptr<T, PcreFree<Free>>;
using PcreCode = PcreOwner<pcre2_code, pcre2_code_free>;
using PcreCompileContext = PcreOwner<pcre2_compile_context, pcre2_compile_context_free>;
using PcreGeneralContext = PcreOwner<pcre2_general_context, pcre2_general_context_free>;
using PcreMatchContext = PcreOwner<pcre2_match_context, pcre2_match_context_free>;
using PcreMatchData = PcreOwner<pcre2_match_data, pcre2_match_data_free>;
using PcreJitStack = PcreOwner<pcre2_jit_stack, pcre2_jit_stack_free>;

// The library says that it has no memory by a null pointer.
template <typename Owner>
Owner PcreAllocated(Owner owner) {
  if (owner == nullptr) throw std::bad_alloc();
  return owner;
}

inline PCRE2_SPTR PcreUnits(std::string_view text) {
  return reinterpret_cast<PCRE2_SPTR>(text.data() == nullptr ? "" : text.data());
}

struct RegexAttempt {
  const pcre2_code* code;
  size_t pairsNeeded;
  std::string_view subject;
  size_t from;
  uint32_t options;
  uint64_t steps = 0;              // from each starting point
  size_t lastStart = PCRE2_UNSET;  // no match begins after it; only for windowed code
  bool isJit = false;
  bool isInterpreted = false;  // no machine code has been made of it
};

// What a thread needs to match: kept from one search to the next, so that an ordinary search
// allocates nothing.
class RegexWorkspace {
 public:
  static RegexWorkspace& OfThisThread();

  RegexWorkspace();

  // The library's result code; from 1 on it is a match and Offsets() holds the groups.
  int Match(const RegexAttempt& attempt);

  const size_t* Offsets() const { return offsets.data(); }
  size_t BytesKept() const { return largestBlock; }

 private:
  static void* Allocate(size_t size, void* user);
  static void Free(void* block, void* user);

  int Run(const RegexAttempt& attempt, uint32_t moreOptions);
  int RunJit(const RegexAttempt& attempt);
  void SetLimits(const RegexAttempt& attempt);
  void MakeRoom(size_t pairsNeeded);
  void MakeStack();
  void Forget();

  // In this order: the match data is freed by way of the memory's functions.
  size_t largestBlock = 0;
  PcreGeneralContext memory;
  PcreMatchContext context;
  PcreJitStack stack;
  PcreMatchData data;
  size_t pairs = 0;
  uint64_t steps = 0;
  size_t lastStart = PCRE2_UNSET;
  std::vector<size_t> offsets;
};
