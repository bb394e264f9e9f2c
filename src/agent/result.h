// A value, or the reason why there is none, in words for the user.

#pragma once

#include <optional>
#include <utility>
#include <variant>

#include "kor/string.h"

namespace agent {

struct Failure {
  KorString reason;
};

template <typename T>
class [[nodiscard]] Result {
 public:
  // NOLINTBEGIN(google-explicit-constructor): `return value;` and `return Failure{...};`
  Result(T value) : content(std::move(value)) {}
  Result(Failure failure) : content(std::move(failure)) {}
  // NOLINTEND(google-explicit-constructor)

  bool IsOk() const { return std::holds_alternative<T>(content); }
  // Only when IsOk().
  T& Value() { return std::get<T>(content); }
  const T& Value() const { return std::get<T>(content); }
  // Only when not IsOk().
  const KorString& Reason() const { return std::get<Failure>(content).reason; }

 private:
  std::variant<T, Failure> content;
};

template <>
class [[nodiscard]] Result<void> {
 public:
  Result() = default;
  // NOLINTNEXTLINE(google-explicit-constructor): `return Failure{...};`
  Result(Failure reasonOfFailure) : failure(std::move(reasonOfFailure)) {}

  bool IsOk() const { return !failure.has_value(); }
  // Only when not IsOk().
  const KorString& Reason() const { return failure->reason; }

 private:
  std::optional<Failure> failure;
};

}  // namespace agent
