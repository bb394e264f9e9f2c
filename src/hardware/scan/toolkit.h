// What all scanners do alike: define a class, run a command, cut its output, find a value, set it.

#pragma once

#include <cstdint>
#include <optional>
#include <span>

#include "kor/regex.h"
#include "kor/string.h"
#include "kor/tokeniser.h"
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

// The class of that name with these attributes defined; null when it cannot be had.
ObjType* EnsureClass(ObjInv& inventory, const KorString& name, std::span<const AttributeRow> rows);

// A value that the instance cannot take is skipped.
void SetValue(ObjInst& instance, const KorString& attribute, const KorString& value);

// In plain decimal; a 0 stands for "not known" and is not written.
void SetNumberUnlessZero(ObjInst& instance, const KorString& attribute, uint64_t number);

// Group 1 of the first match; nothing without a match.
std::optional<KorString> FirstGroup(const KorString& text, const KorString& pattern, int options);

// Sets the attribute to group 1 of the first match and answers true; without a match the attribute
// is left as it is.
bool SetFirstGroup(ObjInst& instance, const KorString& attribute, const KorString& text,
                   const KorString& pattern, int options);

// What the command printed, whatever became of it.
KorString OutputOf(const KorString& command);

// Calls visit(const KorString&) for each piece between occurrences of the separator.
template <typename Visit>
void ForEachPiece(const KorString& text, const KorString& separator, Visit visit) {
  StringTokeniser pieces(text, separator, 0);
  KorString piece;
  while (pieces.GetNextToken(&piece) != 0) visit(piece);
}

// The word as a shell takes it for exactly these bytes. A word of letters, digits and "_.:@-" only
// stands as it is, any other one is quoted.
KorString ShellWord(const KorString& word);

// The same for a place between back-quotes.
KorString ShellWordInBackQuotes(const KorString& word);

}  // namespace HardwareInventory
