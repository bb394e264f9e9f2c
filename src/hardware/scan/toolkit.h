// What all scanners do alike: define a class, run a command, cut its output, find a value, set it.

#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <span>
#include <string_view>

#include "kor/regex.h"
#include "kor/string.h"
#include "kor/tokeniser.h"
#include "kor/trace.h"
#include "kor/vector.h"
#include "korcore/obj_inv.h"

namespace HardwareInventory {

inline constexpr const char* kString = "String";
inline constexpr const char* kInteger = "Integer";

// The options of patterns that look for a line in a whole text.
inline constexpr int kAnyLine = kPcreCaseless | kPcreMultiLine | kPcreDotAll;

// One attribute that a scanner collects.
struct AttributeRow {
  const char* name;
  const char* type;
  const char* unit = nullptr;         // null: none
  const char* description = nullptr;  // null: none
};

// One attribute and the pattern whose first group is its value.
struct PatternRow {
  const char* attribute;
  const char* pattern;
};

void DefineAttributes(ObjType& type, std::span<const AttributeRow> rows);

// Words of explanations that several scanners give.
inline constexpr const char* kNothingPrinted = "the command printed nothing";
inline constexpr const char* kEmptyWithoutMatch = "empty when the pattern finds nothing";

// The class of that name with these attributes defined; null when it cannot be had.
ObjType* EnsureClass(ObjInv& inventory, const KorString& name, std::span<const AttributeRow> rows);

// What a command printed, or a piece of it.
struct Printed {
  std::string_view command;
  const KorString& text;

  KorTraceSource Whole() const { return {command, text.View(), {}, 0}; }
  KorTraceSource Searched(std::string_view pattern, int options) const {
    return {command, text.View(), pattern, options};
  }
  // The pattern took every match, on whichever line.
  KorTraceSource SearchedThroughout(std::string_view pattern) const {
    return {command, text.View(), pattern, kPcreMultiLine, true};
  }
};

// What a value is made of, for who asks where it comes from (kor/trace.h).
using Sources = std::initializer_list<KorTraceSource>;

// What is asked of the machine from here on is asked for these classes.
void TellClasses(std::span<const std::string_view> names);
// The class is left out of this scan.
void TellClassSkipped(std::string_view name, std::string_view why);
// Nothing is made of the text: the pattern, which names instances, does not take it.
void TellTextSkipped(const ObjType& type, const KorTraceSource& source);
// A value that has been set without SetValue.
void TellValue(const ObjInst& instance, std::string_view attribute, const KorString& value,
               Sources sources, const char* how);
// The value is not set. Without a reason in words it is that the pattern found nothing.
void TellAbsent(const ObjInst& instance, std::string_view attribute, Sources sources,
                const char* why = nullptr);

// The instance of that name; null when it cannot be had.
ObjInst* EnsureInstance(ObjType& type, const KorString& name);

// A value that the instance cannot take is skipped. Without `how` it is group 1 of the one source's
// pattern, or the whole text.
void SetValue(ObjInst& instance, const KorString& attribute, const KorString& value,
              Sources sources, const char* how = nullptr);

// In plain decimal; a 0 stands for "not known" and is not written.
void SetNumberUnlessZero(ObjInst& instance, const KorString& attribute, uint64_t number,
                         Sources sources, const char* how);

// Group 1 of the first match; nothing without a match.
std::optional<KorString> FirstGroup(const KorString& text, const KorString& pattern, int options);

// Sets the attribute to group 1 of the first match and answers true; without a match the attribute
// is left as it is.
bool SetFirstGroup(ObjInst& instance, const KorString& attribute, const Printed& printed,
                   const KorString& pattern, int options);

// What the command printed, whatever became of it.
KorString OutputOf(const KorString& command);

// Calls visit(const KorString&) for each piece between occurrences of the separator.
template <typename Visit>
void ForEachPiece(const KorString& text, const KorString& separator, Visit visit) {
  StringTokeniser pieces(text, separator);
  KorString piece;
  while (pieces.GetNextToken(&piece) != 0) visit(piece);
}

// The word as a shell takes it for exactly these bytes. A word of letters, digits and "_.:@-" only
// stands as it is, any other one is quoted.
KorString ShellWord(const KorString& word);

// The same for a place between back-quotes.
KorString ShellWordInBackQuotes(const KorString& word);

}  // namespace HardwareInventory
