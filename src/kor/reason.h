// What to tell people of an exception.

#pragma once

#include <exception>
#include <new>

// The exception's own text, or words for a lack of memory, of which it only gives its type. Lives
// as long as the exception.
inline const char* KorReasonOf(const std::exception& error) noexcept {
  const bool isMemory = dynamic_cast<const std::bad_alloc*>(&error) != nullptr;
  return isMemory ? "not enough memory" : error.what();
}
