#include "hardware/scan/toolkit.h"

#include <string>
#include <string_view>

#include "kor/command.h"

namespace HardwareInventory {

namespace {

constexpr std::string_view kPlainCharacters =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.:@-";

bool IsPlainWord(const KorString& word) {
  return !word.IsEmpty() && word.View().find_first_not_of(kPlainCharacters) == std::string::npos;
}

}  // namespace

void DefineAttributes(ObjType& type, std::span<const AttributeRow> rows) {
  for (const AttributeRow& row : rows) {
    ObjTypeAttr* definition = type.Ensure(row.name, row.type);
    if (definition == nullptr) continue;
    if (row.description != nullptr) definition->SetDesc(row.description);
    if (row.unit != nullptr) definition->SetUnit(row.unit);
  }
}

ObjType* EnsureClass(ObjInv& inventory, const KorString& name, std::span<const AttributeRow> rows) {
  ObjType* type = inventory.Ensure(name);
  if (type != nullptr) DefineAttributes(*type, rows);
  return type;
}

void SetValue(ObjInst& instance, const KorString& attribute, const KorString& value) {
  if (ObjInstAttr* element = instance.Ensure(attribute)) element->SetValue(value);
}

void SetNumberUnlessZero(ObjInst& instance, const KorString& attribute, uint64_t number) {
  if (number == 0) return;
  KorString text;
  text.Printf("%gu", number);
  SetValue(instance, attribute, text);
}

std::optional<KorString> FirstGroup(const KorString& text, const KorString& pattern, int options) {
  KorVector<KorString> groups;
  if (FindPcreSimple(text.CStr(), text.GetLength(), pattern, options, groups) == 0) return {};
  return groups[0];
}

bool SetFirstGroup(ObjInst& instance, const KorString& attribute, const KorString& text,
                   const KorString& pattern, int options) {
  const std::optional<KorString> group = FirstGroup(text, pattern, options);
  if (group) SetValue(instance, attribute, *group);
  return group.has_value();
}

KorString OutputOf(const KorString& command) {
  KorString output;
  CommandToString(command, output);
  return output;
}

KorString ShellWord(const KorString& word) {
  if (IsPlainWord(word)) return word;
  // Nothing is special between single quotes but the quote itself.
  KorString quoted = word;
  quoted.ReplaceAll("'", "'\\''", true);
  return "'" + quoted + "'";
}

KorString ShellWordInBackQuotes(const KorString& word) {
  // Back-quotes end at the next back-quote, quoted or not, and take one layer of these backslashes
  // away before the inner command is read.
  const KorString quoted = ShellWord(word);
  std::string escaped;
  for (const char c : quoted.View()) {
    if (c == '\\' || c == '`' || c == '$') escaped += '\\';
    escaped += c;
  }
  return KorString(escaped);
}

}  // namespace HardwareInventory
