#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "kor/debug.h"
#include "kor/file.h"
#include "kor/xml_sax_parser.h"
#include "korcore/obj_inv.h"
#include "korcore/obj_inv_xml.h"
#include "korcore/plain_xml.h"
#include "korcore/utf8.h"

namespace {

// The XML attributes of all elements.
enum Field : unsigned int {
  kFormat,
  kName,
  kKind,
  kChecksum,
  kLastChecksum,
  kType,
  kUnit,
  kDescription,
  kChange,
  kPrevious,
  kPreviousType,
  kPreviousUnit,
  kPreviousDescription,
  kFirst,
  kAfter,
  kPreviousFirst,
  kPreviousAfter,
  kFieldCount
};
constexpr std::array<std::string_view, kFieldCount> kFieldWords = {"format",
                                                                   "name",
                                                                   "kind",
                                                                   "checksum",
                                                                   "last-checksum",
                                                                   "type",
                                                                   "unit",
                                                                   "description",
                                                                   "change",
                                                                   "previous",
                                                                   "previous-type",
                                                                   "previous-unit",
                                                                   "previous-description",
                                                                   "first",
                                                                   "after",
                                                                   "previous-first",
                                                                   "previous-after"};

constexpr unsigned int Bit(Field field) {
  return 1u << field;
}
constexpr unsigned int kMarkFields =
    Bit(kChange) | Bit(kFirst) | Bit(kAfter) | Bit(kPreviousFirst) | Bit(kPreviousAfter);
constexpr unsigned int kPreviousDefinitionFields =
    Bit(kPreviousType) | Bit(kPreviousUnit) | Bit(kPreviousDescription);

enum class Element { kNone, kInventory, kClass, kAttribute, kInstance, kValue };

// What may stand where, with which XML attributes.
struct ElementRule {
  std::string_view word;
  Element element;
  Element parent;
  unsigned int fields;
};
// The commonest first.
constexpr std::array<ElementRule, 5> kElementRules = {{
    {obj_inv_xml::kValue, Element::kValue, Element::kInstance,
     Bit(kName) | Bit(kPrevious) | kMarkFields},
    {obj_inv_xml::kInventory, Element::kInventory, Element::kNone,
     Bit(kFormat) | Bit(kName) | Bit(kKind) | Bit(kChecksum) | Bit(kLastChecksum)},
    {obj_inv_xml::kClass, Element::kClass, Element::kInventory, Bit(kName) | kMarkFields},
    {obj_inv_xml::kAttribute, Element::kAttribute, Element::kClass,
     Bit(kName) | Bit(kType) | Bit(kUnit) | Bit(kDescription) | kMarkFields |
         kPreviousDefinitionFields},
    {obj_inv_xml::kInstance, Element::kInstance, Element::kClass, Bit(kName) | kMarkFields},
}};

const ElementRule* RuleOf(std::string_view word) {
  for (const ElementRule& rule : kElementRules) {
    if (rule.word == word) return &rule;
  }
  return nullptr;
}

const ElementRule* RuleOf(Element element) {
  for (const ElementRule& rule : kElementRules) {
    if (rule.element == element) return &rule;
  }
  return nullptr;
}

// Turns the characters that stand for bytes back into them.
KorString Unescaped(std::string_view text) {
  constexpr char kEscapeLead = '\xF4';
  if (text.find(kEscapeLead) == std::string_view::npos) return KorString(text);
  std::string bytes;
  while (true) {
    const size_t lead = std::min(text.find(kEscapeLead), text.size());
    bytes += text.substr(0, lead);
    text.remove_prefix(lead);
    if (text.empty()) return KorString(std::move(bytes));
    const Utf8Character character = Utf8First(text);
    if (character.codePoint >= obj_inv_xml::kFirstEscape &&
        character.codePoint <= obj_inv_xml::kLastEscape) {
      bytes += static_cast<char>(character.codePoint - obj_inv_xml::kFirstEscape);
    } else {
      bytes += text.substr(0, character.length);
    }
    text.remove_prefix(character.length);
  }
}

bool IsBlank(char character) {
  return character == ' ' || character == '\t' || character == '\r' || character == '\n';
}

std::optional<ObjChange> ChangeFromWord(std::string_view word) {
  if (word == obj_inv_xml::kAdded) return ObjChange::kAdded;
  if (word == obj_inv_xml::kModified) return ObjChange::kModified;
  if (word == obj_inv_xml::kRemoved) return ObjChange::kRemoved;
  return std::nullopt;
}

// Only as it is written: above 0, no sign, no leading zeros.
std::optional<unsigned long> KindFromText(std::string_view text) {
  unsigned long kind = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), kind);
  if (result.ec != std::errc() || kind == 0 || std::to_string(kind) != text) return std::nullopt;
  return kind;
}

// Makes a document of the elements that it is told of. What cannot be taken gives false; the reason
// is then there.
class Builder {
 public:
  explicit Builder(ObjInv& emptyDocument) : document(emptyDocument) {}

  const KorString& Reason() const { return reason; }

  bool BeginElement(std::string_view word) {
    const ElementRule* rule = RuleOf(word);
    if (rule == nullptr || rule->parent != open) {
      return Refuse("the element '%S' does not belong here", KorString(word));
    }
    open = rule->element;
    openWord = rule->word;
    allowedFields = rule->fields;
    given = 0;
    text.clear();
    return true;
  }

  bool Attribute(std::string_view word, std::string_view content) {
    const auto found = std::find(kFieldWords.begin(), kFieldWords.end(), word);
    const auto field = static_cast<unsigned int>(found - kFieldWords.begin());
    if (field == kFieldCount || (allowedFields & (1u << field)) == 0) {
      return Refuse("the attribute '%S' does not belong here", KorString(word));
    }
    if ((given & (1u << field)) != 0) return Stop("an attribute is there twice");
    given |= 1u << field;
    fields[field] = Unescaped(content);
    return true;
  }

  bool StartElement() {
    if (!Has(kName)) return Refuse("the element '%S' has no name", KorString(openWord));
    switch (open) {
      case Element::kInventory:
        return StartInventory();
      case Element::kClass:
        return (type = Add(document.Objects())) != nullptr;
      case Element::kAttribute:
        return StartDefinition();
      case Element::kInstance:
        return (instance = Add(type->Instances())) != nullptr;
      case Element::kValue:
        return StartValue();
      case Element::kNone:
        break;
    }
    return false;
  }

  bool Text(std::string_view piece) {
    if (open == Element::kValue) {
      text += piece;
      return true;
    }
    return std::ranges::all_of(piece, IsBlank) || Stop("there is text outside of a value");
  }

  bool EndElement() {
    if (open == Element::kValue) value->SetValue(Unescaped(text));
    open = RuleOf(open)->parent;
    return true;
  }

 private:
  bool StartInventory() {
    if (!Has(kFormat) || fields[kFormat].View() != obj_inv_xml::kFormat) {
      return Stop("the format is missing or unknown");
    }
    document.SetName(fields[kName]);
    if (Has(kKind)) {
      const std::optional<unsigned long> kind = KindFromText(fields[kKind].View());
      if (!kind) return Stop("the kind is not a number");
      document.SetType(*kind);
    }
    document.SetChecksum(TextOf(kChecksum));
    document.SetLastChecksum(TextOf(kLastChecksum));
    return true;
  }

  bool StartDefinition() {
    if (type->Instances().Count() != 0) return Stop("there is an attribute after an instance");
    ObjTypeAttr* attribute = Add(type->Attributes());
    if (attribute == nullptr) return false;
    attribute->SetDefinition({TextOf(kType), TextOf(kUnit), TextOf(kDescription)});
    const bool hasType = Has(kPreviousType);
    if (hasType != Has(kPreviousUnit) || hasType != Has(kPreviousDescription)) {
      return Stop("a previous definition is incomplete");
    }
    if (hasType) {
      attribute->SetPreviousDefinition(
          {fields[kPreviousType], fields[kPreviousUnit], fields[kPreviousDescription]});
    }
    return true;
  }

  bool StartValue() {
    value = Add(instance->Attributes());
    if (value != nullptr && Has(kPrevious)) value->SetPreviousValue(fields[kPrevious]);
    return value != nullptr;
  }

  // Null, and the reading is at its end, when the element cannot be taken.
  template <typename T>
  T* Add(ObjSetOf<T>& set) {
    auto made = std::make_unique<T>(fields[kName]);
    if (!ReadMarks(*made)) return nullptr;
    if (set.Add(made.get())) return made.release();
    Refuse("the name '%S' is there twice", fields[kName]);
    return nullptr;
  }

  bool ReadMarks(ObjBase& element) {
    if ((given & kMarkFields) == 0) return true;
    if (Has(kChange)) {
      const std::optional<ObjChange> change = ChangeFromWord(fields[kChange].View());
      if (!change) return Refuse("the change '%S' is unknown", fields[kChange]);
      element.SetChange(*change);
    }
    if (Has(kFirst) || Has(kAfter)) {
      if (!PlaceIsClear(kFirst, kAfter)) return false;
      element.SetPlace(PlaceOf(kAfter));
    }
    if (Has(kPreviousFirst) || Has(kPreviousAfter)) {
      if (!PlaceIsClear(kPreviousFirst, kPreviousAfter)) return false;
      element.SetPreviousPlace(PlaceOf(kPreviousAfter));
    }
    return true;
  }

  bool PlaceIsClear(Field firstField, Field afterField) {
    if (!Has(firstField)) return true;
    if (!Has(afterField) && fields[firstField].View() == obj_inv_xml::kTrue) return true;
    return Stop("the place of an element is unclear");
  }

  ObjPlace PlaceOf(Field afterField) const {
    return Has(afterField) ? ObjPlace::After(fields[afterField]) : ObjPlace::First();
  }

  bool Has(Field field) const { return (given & Bit(field)) != 0; }
  KorString TextOf(Field field) const { return Has(field) ? fields[field] : KorString(); }

  bool Stop(const char* why) {
    reason = why;
    return false;
  }
  bool Refuse(KorFormatString<KorString> format, const KorString& argument) {
    reason.Printf(format, argument);
    return false;
  }

  ObjInv& document;
  Element open = Element::kNone;
  std::string_view openWord;
  unsigned int allowedFields = 0;
  // Only those that are given say something: the others keep what they had.
  unsigned int given = 0;
  std::array<KorString, kFieldCount> fields;
  ObjType* type = nullptr;
  ObjInst* instance = nullptr;
  ObjInstAttr* value = nullptr;
  std::string text;
  KorString reason;
};

// Reads whatever is XML.
class Reader final : public CsXmlSaxParser {
 public:
  explicit Reader(ObjInv& emptyDocument) : builder(emptyDocument) {}

 protected:
  void OnElementInit(const char* word) override { StopUnless(builder.BeginElement(word)); }
  void OnElementAttr(const char* word, const char* content) override {
    StopUnless(builder.Attribute(word, content));
  }
  void OnElementStart(const char* /*word*/) override { StopUnless(builder.StartElement()); }
  void OnElementData(const char* data, unsigned long length) override {
    StopUnless(builder.Text(std::string_view(data, length)));
  }
  void OnElementEnd(const char* /*word*/) override { StopUnless(builder.EndElement()); }

 private:
  void StopUnless(bool isTaken) {
    if (!isTaken) Stop(builder.Reason());
  }

  Builder builder;
};

// Of files only, which can be read once more when they turn out not to be plain.
bool ParsePlain(const KorString& path, ObjInv& emptyDocument) {
  std::string content;
  KorString error;
  const int64_t size = FileGetSize(path);
  if (size <= 0 || size > static_cast<int64_t>(kXmlSizeLimit)) return false;
  if (!FileReadAll(path, content, error, kXmlSizeLimit)) return false;
  Builder builder(emptyDocument);
  return plain_xml::Reader(content, builder).Read();
}

}  // namespace

bool ObjInv::Parse(const KorString& path, ObjInvParser* /*parser*/) {
  Clear();
  if (ParsePlain(path, *this)) return true;
  Clear();
  Reader reader(*this);
  if (reader.ParseFile(path)) return true;
  Clear();
  KorDebug log("Inventory", "Inventory documents");
  log.SetContext(context);
  if (reader.ErrorLine() == 0) {
    log.ErrorWithNL("Failed to read inventory '%S': %S", path, reader.ErrorText());
  } else {
    log.ErrorWithNL("Failed to read inventory '%S': line %gu: %S", path, reader.ErrorLine(),
                    reader.ErrorText());
  }
  return false;
}
