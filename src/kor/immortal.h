// Statics that others may use while statics are destroyed.

#pragma once

#include <utility>

// A static of this type is never destroyed, and needs no memory but its own.
template <typename T>
union KorImmortal {
  template <typename... Args>
  explicit KorImmortal(Args&&... args) : object(std::forward<Args>(args)...) {}
  ~KorImmortal() {}  // NOLINT(modernize-use-equals-default): that would be deleted

  KorImmortal(const KorImmortal&) = delete;
  KorImmortal& operator=(const KorImmortal&) = delete;

  T object;
};
