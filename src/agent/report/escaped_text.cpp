#include "agent/report/escaped_text.h"

#include "agent/display_text.h"
#include "agent/json_object_writer.h"

namespace agent {
namespace {

void AppendEscaped(char character, std::string& out) {
  switch (character) {
    case '&':
      out += "&amp;";
      break;
    case '<':
      out += "&lt;";
      break;
    case '>':
      out += "&gt;";
      break;
    case '"':
      out += "&quot;";
      break;
    case '\'':
      out += "&#39;";
      break;
    default:
      out += character;
  }
}

}  // namespace

EscapedText::EscapedText(std::string_view bytes) {
  for (const char character : DisplayText(ReplacedText(bytes))) AppendEscaped(character, html);
}

}  // namespace agent
