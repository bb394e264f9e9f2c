// Memory that cannot be had. A program that links this replaces the allocation of all its
// libraries.

#pragma once

#include <cstddef>

// While it lives, this thread gets no memory for objects of exactly that size.
class RefusedMemory {
 public:
  explicit RefusedMemory(size_t size);
  ~RefusedMemory();
  RefusedMemory(const RefusedMemory&) = delete;
  RefusedMemory& operator=(const RefusedMemory&) = delete;
};
