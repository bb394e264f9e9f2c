// Writing HTML: markup that stands in the source, and everything else escaped.

#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

#include "agent/report/escaped_text.h"

namespace agent {

// A literal of the source: no pointer and no string from outside can be taken for it. (A consteval
// constructor would say so more strictly; Clang 14 then destroys the texts beside it wrongly.)
class Markup {
 public:
  // Not explicit: html << "<td>"
  template <size_t size>
  // NOLINTNEXTLINE(google-explicit-constructor)
  constexpr Markup(const char (&literal)[size]) : text(literal, size - 1) {}

  std::string_view Text() const { return text; }

 private:
  std::string_view text;
};

// A text that is neither Markup nor EscapedText does not compile.
class HtmlWriter {
 public:
  HtmlWriter& operator<<(Markup markup) {
    html += markup.Text();
    return *this;
  }
  HtmlWriter& operator<<(const EscapedText& text) {
    html += text.Html();
    return *this;
  }
  HtmlWriter& operator<<(std::same_as<size_t> auto number) {
    html += std::to_string(number);
    return *this;
  }

  std::string Take() { return std::move(html); }

 private:
  std::string html;
};

}  // namespace agent
