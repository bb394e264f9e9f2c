#include "hardware/memory/refused_memory.h"

#include <cstdlib>
#include <new>

namespace {

thread_local size_t refusedSize = 0;

}  // namespace

RefusedMemory::RefusedMemory(size_t size) {
  refusedSize = size;
}

RefusedMemory::~RefusedMemory() {
  refusedSize = 0;
}

// The other forms call these.
void* operator new(size_t size) {
  const bool isRefused = size == refusedSize || refusedSize == RefusedMemory::kAnySize;
  void* const memory = isRefused ? nullptr : std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}
