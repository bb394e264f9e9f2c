#include "kor/format.h"

#include <charconv>

#include "kor/string.h"

KorFormatArgument::KorFormatArgument(const KorString& value) : text(value.View()), isText(true) {}

void KorFormatArgument::AppendTo(std::string& out) const {
  if (isText) {
    out += text;
    return;
  }
  char digits[20];  // enough for 2^64 - 1
  char* const end = std::to_chars(digits, digits + sizeof digits, number).ptr;
  if (isNegative) out += '-';
  out.append(digits, end);
}

std::string KorFormat(std::string_view format, std::initializer_list<KorFormatArgument> arguments) {
  std::string out;
  out.reserve(format.size());
  const KorFormatArgument* next = arguments.begin();
  size_t at = 0;
  while (at < format.size()) {
    const size_t percent = format.find('%', at);
    if (percent == std::string_view::npos) break;
    out += format.substr(at, percent - at);
    const kor_format::Placeholder found = kor_format::PlaceholderAt(format, percent);
    if (found.kind == KorFormatKind::kNone) {
      out += '%';
      at = percent + (found.length == 0 ? 1 : found.length);
      continue;
    }
    if (next != arguments.end()) (next++)->AppendTo(out);
    at = percent + found.length;
  }
  if (at < format.size()) out += format.substr(at);
  return out;
}
