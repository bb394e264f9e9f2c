#include "hardware/scan/toolkit.h"

#include <array>
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
  TellClasses(std::array{name.View()});
  if (type != nullptr) DefineAttributes(*type, rows);
  return type;
}

void TellClasses(std::span<const std::string_view> names) {
  if (KorTrace* const trace = KorTrace::Current()) trace->OnClasses(names);
}

void TellClassSkipped(std::string_view name, std::string_view why) {
  if (KorTrace* const trace = KorTrace::Current()) trace->OnClassSkipped(name, why);
}

void TellTextSkipped(const ObjType& type, const KorTraceSource& source) {
  if (KorTrace* const trace = KorTrace::Current()) {
    trace->OnTextSkipped(type.GetName().View(), source);
  }
}

void TellValue(const ObjInst& instance, std::string_view attribute, const KorString& value,
               Sources sources, const char* how) {
  if (KorTrace* const trace = KorTrace::Current()) {
    trace->OnValue({&instance, attribute, &value, sources, how});
  }
}

void TellAbsent(const ObjInst& instance, std::string_view attribute, Sources sources,
                const char* why) {
  if (KorTrace* const trace = KorTrace::Current()) {
    trace->OnValue({&instance, attribute, nullptr, sources, why});
  }
}

ObjInst* EnsureInstance(ObjType& type, const KorString& name) {
  ObjInst* const instance = type.Ensure(name);
  KorTrace* const trace = KorTrace::Current();
  if (trace != nullptr && instance != nullptr) {
    trace->OnInstance(instance, type.GetName().View(), name.View());
  }
  return instance;
}

void SetValue(ObjInst& instance, const KorString& attribute, const KorString& value,
              Sources sources, const char* how) {
  ObjInstAttr* const element = instance.Ensure(attribute);
  if (element == nullptr) return;
  element->SetValue(value);
  TellValue(instance, attribute.View(), value, sources, how);
}

void SetNumberUnlessZero(ObjInst& instance, const KorString& attribute, uint64_t number,
                         Sources sources, const char* how) {
  if (number == 0) {
    TellAbsent(instance, attribute.View(), sources, "0 stands for not known and is not written");
    return;
  }
  KorString text;
  text.Printf("%gu", number);
  SetValue(instance, attribute, text, sources, how);
}

std::optional<KorString> FirstGroup(const KorString& text, const KorString& pattern, int options) {
  KorVector<KorString> groups;
  if (FindPcreSimple(text.CStr(), text.GetLength(), pattern, options, groups) == 0) return {};
  return groups[0];
}

bool SetFirstGroup(ObjInst& instance, const KorString& attribute, const Printed& printed,
                   const KorString& pattern, int options) {
  const KorTraceSource source = printed.Searched(pattern.View(), options);
  const std::optional<KorString> group = FirstGroup(printed.text, pattern, options);
  if (group) {
    SetValue(instance, attribute, *group, {source});
  } else {
    TellAbsent(instance, attribute.View(), {source});
  }
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
