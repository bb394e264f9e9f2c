#include "kor/regex_workspace.h"

#include <algorithm>
#include <cstdlib>

#include "kor/thread_owned.h"

namespace {

constexpr uint32_t kDepthLimit = 1'000'000;
constexpr uint32_t kHeapLimitKiB = 64 * 1024;
constexpr size_t kFirstJitStack = size_t{32} * 1024;
constexpr size_t kLargestJitStack = size_t{1024} * 1024;
// More than that a thread does not keep for its next search.
constexpr size_t kMostKept = size_t{256} * 1024;

}  // namespace

RegexWorkspace& RegexWorkspace::OfThisThread() {
  static KorThreadOwned<RegexWorkspace> workspaces;
  return workspaces.OfThisThread();
}

RegexWorkspace::RegexWorkspace()
    : memory(PcreAllocated(PcreGeneralContext(pcre2_general_context_create(Allocate, Free, this)))),
      context(PcreAllocated(PcreMatchContext(pcre2_match_context_create(nullptr)))) {
  pcre2_set_depth_limit(context.get(), kDepthLimit);
  pcre2_set_heap_limit(context.get(), kHeapLimitKiB);
}

int RegexWorkspace::Match(const RegexAttempt& attempt) {
  if (attempt.pairsNeeded > pairs) MakeRoom(attempt.pairsNeeded);
  if (stack == nullptr && !attempt.isInterpreted) MakeStack();
  SetLimits(attempt);
  int result = attempt.isJit ? RunJit(attempt) : Run(attempt, 0);
  // The interpreter keeps its state on the heap and gets further than the JIT stack does.
  if (result == PCRE2_ERROR_JIT_STACKLIMIT) result = Run(attempt, PCRE2_NO_JIT);
  if (result > 0) {
    const size_t* const found = pcre2_get_ovector_pointer(data.get());
    offsets.assign(found, found + 2 * attempt.pairsNeeded);
  }
  // The interpreter leaves its state with the match data: up to the heap limit.
  if (largestBlock > kMostKept) Forget();
  return result;
}

void* RegexWorkspace::Allocate(size_t size, void* user) {
  auto& largest = static_cast<RegexWorkspace*>(user)->largestBlock;
  largest = std::max(largest, size);
  return std::malloc(size);
}

void RegexWorkspace::Free(void* block, void* /*user*/) {
  std::free(block);
}

int RegexWorkspace::Run(const RegexAttempt& attempt, uint32_t moreOptions) {
  return pcre2_match(attempt.code, PcreUnits(attempt.subject), attempt.subject.size(), attempt.from,
                     attempt.options | moreOptions, data.get(), context.get());
}

// Spares the checks and choices of pcre2_match(), a third of a short search.
int RegexWorkspace::RunJit(const RegexAttempt& attempt) {
  return pcre2_jit_match(attempt.code, PcreUnits(attempt.subject), attempt.subject.size(),
                         attempt.from, attempt.options, data.get(), context.get());
}

// Seldom others than those of the search before.
void RegexWorkspace::SetLimits(const RegexAttempt& attempt) {
  if (attempt.steps != steps) {
    steps = attempt.steps;
    pcre2_set_match_limit(context.get(), static_cast<uint32_t>(steps));
  }
  if (attempt.lastStart != lastStart) {
    lastStart = attempt.lastStart;
    pcre2_set_offset_limit(context.get(), lastStart);
  }
}

void RegexWorkspace::MakeRoom(size_t pairsNeeded) {
  data = PcreAllocated(
      PcreMatchData(pcre2_match_data_create(static_cast<uint32_t>(pairsNeeded), memory.get())));
  pairs = pairsNeeded;
}

void RegexWorkspace::MakeStack() {
  stack.reset(pcre2_jit_stack_create(kFirstJitStack, kLargestJitStack, nullptr));
  // A library without machine code gives none and needs none.
  if (stack != nullptr) pcre2_jit_stack_assign(context.get(), nullptr, stack.get());
}

void RegexWorkspace::Forget() {
  data.reset();
  pairs = 0;
  largestBlock = 0;
}
