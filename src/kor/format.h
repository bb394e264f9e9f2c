// The framework's formatting: a format with its arguments, checked when it is compiled.
//
//   %S   KorString                    %u   unsigned 32-bit decimal
//   %s   text (const char*, views)    %gu  unsigned 64-bit decimal
//   %d   signed 32-bit decimal        %%   a percent sign
//
// A format that asks for another number or kind of arguments does not compile.

#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>
#include <type_traits>

class KorString;

enum class KorFormatKind { kString, kText, kSigned, kUnsigned32, kUnsigned64, kNone };

namespace kor_format {

template <typename T>
consteval KorFormatKind KindOf() {
  using Value = std::remove_cvref_t<T>;
  if constexpr (std::is_same_v<Value, KorString>)
    return KorFormatKind::kString;
  else if constexpr (std::is_convertible_v<Value, std::string_view>)
    return KorFormatKind::kText;
  else if constexpr (std::is_same_v<Value, int>)
    return KorFormatKind::kSigned;
  else if constexpr (std::is_same_v<Value, unsigned int>)
    return KorFormatKind::kUnsigned32;
  else if constexpr (std::is_same_v<Value, unsigned long> ||
                     std::is_same_v<Value, unsigned long long>)
    return KorFormatKind::kUnsigned64;
  else
    return KorFormatKind::kNone;
}

// The placeholder that starts at format[at] == '%': its kind and its length; kNone for "%%" and for
// anything unknown (length 2 and 0).
struct Placeholder {
  KorFormatKind kind;
  size_t length;
};
constexpr Placeholder PlaceholderAt(std::string_view format, size_t at) {
  const std::string_view rest = format.substr(at + 1);
  if (rest.starts_with("gu")) return {KorFormatKind::kUnsigned64, 3};
  if (rest.starts_with("S")) return {KorFormatKind::kString, 2};
  if (rest.starts_with("s")) return {KorFormatKind::kText, 2};
  if (rest.starts_with("d")) return {KorFormatKind::kSigned, 2};
  if (rest.starts_with("u")) return {KorFormatKind::kUnsigned32, 2};
  if (rest.starts_with("%")) return {KorFormatKind::kNone, 2};
  return {KorFormatKind::kNone, 0};
}

// True when the format asks for exactly these kinds, in this order.
constexpr bool Fits(std::string_view format, std::initializer_list<KorFormatKind> kinds) {
  const KorFormatKind* next = kinds.begin();
  for (size_t at = 0; at < format.size(); ++at) {
    if (format[at] != '%') continue;
    const Placeholder found = PlaceholderAt(format, at);
    if (found.length == 0) return false;
    if (found.kind != KorFormatKind::kNone) {
      if (next == kinds.end() || *next != found.kind) return false;
      ++next;
    }
    at += found.length - 1;
  }
  return next == kinds.end();
}

}  // namespace kor_format

template <typename... Args>
class KorFormatString {
 public:
  template <size_t N>
  // Implicit on purpose: callers pass a literal.
  // NOLINTNEXTLINE(google-explicit-constructor)
  consteval KorFormatString(const char (&literal)[N]) : text(literal, N - 1) {
    if (!kor_format::Fits(text, {kor_format::KindOf<Args>()...})) {
      throw "the format does not fit its arguments";
    }
  }
  std::string_view View() const { return text; }

 private:
  std::string_view text;
};

// One argument, borrowed for the length of the call.
class KorFormatArgument {
 public:
  // NOLINTBEGIN(google-explicit-constructor)
  KorFormatArgument(const KorString& value);
  KorFormatArgument(std::string_view value) : text(value), isText(true) {}
  KorFormatArgument(const char* value)
      : text(value == nullptr ? std::string_view() : std::string_view(value)), isText(true) {}
  KorFormatArgument(const std::string& value) : text(value), isText(true) {}
  KorFormatArgument(int value)
      : number(value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value)),
        isNegative(value < 0) {}
  KorFormatArgument(unsigned int value) : number(value) {}
  KorFormatArgument(unsigned long value) : number(value) {}
  KorFormatArgument(unsigned long long value) : number(value) {}
  // NOLINTEND(google-explicit-constructor)

  void AppendTo(std::string& out) const;

 private:
  std::string_view text;
  uint64_t number = 0;
  bool isText = false;
  bool isNegative = false;
};

// The format with the arguments in place of its placeholders. The format must fit the arguments,
// which KorFormatString has checked.
std::string KorFormat(std::string_view format, std::initializer_list<KorFormatArgument> arguments);
