#include "kor/os_release.h"

#include <cstddef>
#include <string>

namespace {

// What the shell makes of a value: quotes go, a backslash takes the next character as it is; within
// single quotes it is an ordinary character, within double quotes it only acts on four of them.
std::string Unquote(std::string_view value) {
  std::string out;
  char quote = 0;
  for (size_t at = 0; at < value.size(); ++at) {
    const char character = value[at];
    const bool hasNext = at + 1 < value.size();
    if (character == '\\' && quote != '\'' && hasNext) {
      const char next = value[++at];
      if (quote == '"' && std::string_view("\"\\$`").find(next) == std::string_view::npos) {
        out += character;
      }
      out += next;
    } else if (character == quote) {
      quote = 0;
    } else if (quote == 0 && (character == '"' || character == '\'')) {
      quote = character;
    } else {
      out += character;
    }
  }
  return out;
}

}  // namespace

KorString DistributionNameFromOsRelease(std::string_view content) {
  constexpr std::string_view kPrettyName = "PRETTY_NAME=";
  constexpr std::string_view kName = "NAME=";
  KorString prettyName;
  KorString name;
  while (!content.empty()) {
    const size_t end = content.find('\n');
    KorString line(content.substr(0, end));
    content.remove_prefix(end == std::string_view::npos ? content.size() : end + 1);
    line.Trim();
    const std::string_view text = line.View();
    if (text.starts_with(kPrettyName)) {
      prettyName = KorString(Unquote(text.substr(kPrettyName.size())));
    } else if (text.starts_with(kName)) {
      name = KorString(Unquote(text.substr(kName.size())));
    }
  }
  return prettyName.IsEmpty() ? name : prettyName;
}
