// Bytes of unknown origin as text of an HTML page.

#pragma once

#include <string>
#include <string_view>

#include "kor/string.h"

namespace agent {

// Shows what the bytes are and is never markup, neither between tags nor in an attribute's quotes.
// What is not UTF-8 becomes U+FFFD, as in JSON; what could steer or confuse becomes an escape, as
// on a terminal (agent/display_text.h).
class EscapedText {
 public:
  explicit EscapedText(std::string_view bytes);
  explicit EscapedText(const KorString& bytes) : EscapedText(bytes.View()) {}

  const std::string& Html() const { return html; }

 private:
  std::string html;
};

}  // namespace agent
