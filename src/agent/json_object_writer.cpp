#include "agent/json_object_writer.h"

#include <cstdint>
#include <nlohmann/json.hpp>
#include <string_view>

#include "agent/display_text.h"
#include "korcore/utf8.h"

namespace agent {
namespace {

// Of characters of two and three bytes, which is all there is to escape beyond ASCII.
uint32_t CodePointOf(std::string_view bytes) {
  const auto at = [&](size_t n) { return static_cast<uint32_t>(static_cast<uint8_t>(bytes[n])); };
  if (bytes.size() == 1) return at(0);
  if (bytes.size() == 2) return (at(0) & 0x1FU) << 6U | (at(1) & 0x3FU);
  return (at(0) & 0x0FU) << 12U | (at(1) & 0x3FU) << 6U | (at(2) & 0x3FU);
}

size_t LengthFrom(char lead) {
  const auto byte = static_cast<uint8_t>(lead);
  if (byte < 0x80) return 1;
  return byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : 4;
}

void AppendEscape(uint32_t codePoint, std::string& out) {
  constexpr char kDigits[] = "0123456789abcdef";
  out += "\\u";
  for (unsigned shift = 16; shift > 0; shift -= 4) out += kDigits[codePoint >> (shift - 4) & 0xFU];
}

// The text is UTF-8.
std::string WithoutSteering(const std::string& text) {
  std::string out;
  size_t length = 0;
  for (size_t at = 0; at < text.size(); at += length) {
    length = LengthFrom(text[at]);
    const std::string_view character = std::string_view(text).substr(at, length);
    if (IsHarmlessText(character)) {
      out += character;
    } else {
      AppendEscape(CodePointOf(character), out);
    }
  }
  return out;
}

}  // namespace

std::string QuotedJson(const KorString& text) {
  using nlohmann::ordered_json;
  return WithoutSteering(
      ordered_json(text.Str()).dump(-1, ' ', false, ordered_json::error_handler_t::replace));
}

std::string ReplacedText(std::string_view bytes) {
  using nlohmann::ordered_json;
  if (IsUtf8(bytes)) return std::string(bytes);
  const std::string json =
      ordered_json(bytes).dump(-1, ' ', false, ordered_json::error_handler_t::replace);
  return ordered_json::parse(json).get<std::string>();
}

void JsonObjectWriter::Open(const KorString& key) {
  BeginMember(key);
  Open();
}

void JsonObjectWriter::Open() {
  json += '{';
  ++depth;
  isEmpty = true;
}

void JsonObjectWriter::Close() {
  --depth;
  if (!isEmpty) NewLine();
  json += '}';
  isEmpty = false;
}

void JsonObjectWriter::Add(const KorString& key, const std::string& value) {
  BeginMember(key);
  json += value;
  isEmpty = false;
}

void JsonObjectWriter::BeginMember(const KorString& key) {
  if (!isEmpty) json += ',';
  NewLine();
  json += QuotedJson(key);
  json += ": ";
}

void JsonObjectWriter::NewLine() {
  json += '\n';
  json.append(2 * depth, ' ');
}

}  // namespace agent
