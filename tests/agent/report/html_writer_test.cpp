#include "agent/report/html_writer.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "kor/string.h"

namespace {

using agent::EscapedText;
using agent::HtmlWriter;
using namespace std::string_view_literals;

template <typename T>
concept Writable = requires(HtmlWriter& html, const T& value) {
  html << value;
};

// What comes from outside can only be written escaped: anything else does not compile.
static_assert(Writable<EscapedText>);
static_assert(Writable<size_t>);
static_assert(!Writable<std::string>);
static_assert(!Writable<std::string_view>);
static_assert(!Writable<KorString>);
static_assert(!Writable<char>);

std::string Escaped(std::string_view bytes) {
  return EscapedText(bytes).Html();
}

TEST(EscapedTextOfHtml, IsNeverMarkup) {
  EXPECT_EQ("&lt;/script&gt;&lt;img src=&quot;x&quot; onerror=&#39;y&#39;&gt; &amp;amp;",
            Escaped("</script><img src=\"x\" onerror='y'> &amp;"sv));
}

TEST(EscapedTextOfHtml, WhatIsNotUtf8IsTheReplacementCharacterAsInJson) {
  EXPECT_EQ(
      "a\xEF\xBF\xBD"
      "b",
      Escaped("a\xFF"
              "b"sv));
  EXPECT_EQ(
      "\xEF\xBF\xBD"
      "b",
      Escaped("\xE6\xBC"
              "b"sv))
      << "one for a character that is cut off";
  EXPECT_EQ(
      "gr\xC3\xB6\xC3\x9F"
      "er",
      Escaped("gr\xC3\xB6\xC3\x9F"
              "er"sv));
}

TEST(EscapedTextOfHtml, WhatSteersIsShownAsAnEscape) {
  EXPECT_EQ("a\\x00b\\x1b[1m\\n\\t\\x7f", Escaped("a\0b\x1b[1m\n\t\x7f"sv));
  EXPECT_EQ(
      "\\xe2\\x80\\xae"
      "fdp",
      Escaped("\xE2\x80\xAE"
              "fdp"sv))
      << "right-to-left override";
}

TEST(EscapedTextOfHtml, NoByteGetsThroughThatIsNotShown) {
  for (int value = 0; value < 256; ++value) {
    const char byte = static_cast<char>(value);
    for (const char shown : Escaped(std::string_view(&byte, 1))) {
      const auto code = static_cast<unsigned char>(shown);
      EXPECT_TRUE(code >= 0x20 && code != 0x7F && shown != '<' && shown != '>') << value;
    }
  }
}

TEST(WriterOfHtml, WritesMarkupTextAndNumbers) {
  HtmlWriter html;
  html << "<td>" << EscapedText("<1>"sv) << "</td>" << size_t{42};
  EXPECT_EQ("<td>&lt;1&gt;</td>42", html.Take());
}

}  // namespace
