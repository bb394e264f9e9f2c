// Memory that cannot be had. A program that links this replaces the allocation of all its
// libraries.

#pragma once

#include <cstddef>
#include <cstdint>

// While it lives, this thread gets no memory for objects of exactly that size, or for any.
class RefusedMemory {
 public:
  static constexpr size_t kAnySize = SIZE_MAX;

  explicit RefusedMemory(size_t size);
  ~RefusedMemory();
  RefusedMemory(const RefusedMemory&) = delete;
  RefusedMemory& operator=(const RefusedMemory&) = delete;
};
