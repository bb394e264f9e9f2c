#include <algorithm>
#include <array>
#include <charconv>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "kor/debug.h"
#include "kor/xml_sax_parser.h"
#include "korcore/obj_inv.h"
#include "korcore/obj_inv_xml.h"
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
constexpr std::array<ElementRule, 5> kElementRules = {{
    {obj_inv_xml::kInventory, Element::kInventory, Element::kNone,
     Bit(kFormat) | Bit(kName) | Bit(kKind) | Bit(kChecksum) | Bit(kLastChecksum)},
    {obj_inv_xml::kClass, Element::kClass, Element::kInventory, Bit(kName) | kMarkFields},
    {obj_inv_xml::kAttribute, Element::kAttribute, Element::kClass,
     Bit(kName) | Bit(kType) | Bit(kUnit) | Bit(kDescription) | kMarkFields |
         kPreviousDefinitionFields},
    {obj_inv_xml::kInstance, Element::kInstance, Element::kClass, Bit(kName) | kMarkFields},
    {obj_inv_xml::kValue, Element::kValue, Element::kInstance,
     Bit(kName) | Bit(kPrevious) | kMarkFields},
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

class Reader final : public CsXmlSaxParser {
 public:
  explicit Reader(ObjInv& emptyDocument) : document(emptyDocument) {}

 protected:
  void OnElementInit(const char* word) override {
    const ElementRule* rule = RuleOf(std::string_view(word));
    if (rule == nullptr || rule->parent != open) {
      Refuse("the element '%s' does not belong here", word);
      return;
    }
    open = rule->element;
    allowedFields = rule->fields;
    fields.fill(std::nullopt);
    text.clear();
  }

  void OnElementAttr(const char* word, const char* content) override {
    const auto found = std::find(kFieldWords.begin(), kFieldWords.end(), std::string_view(word));
    const auto field = static_cast<unsigned int>(found - kFieldWords.begin());
    if (field == kFieldCount || (allowedFields & (1u << field)) == 0) {
      Refuse("the attribute '%s' does not belong here", word);
      return;
    }
    fields[field] = Unescaped(content);
  }

  void OnElementStart(const char* word) override {
    if (!fields[kName]) {
      Refuse("the element '%s' has no name", word);
      return;
    }
    switch (open) {
      case Element::kInventory:
        StartInventory();
        break;
      case Element::kClass:
        type = Add(document.Objects());
        break;
      case Element::kAttribute:
        StartDefinition();
        break;
      case Element::kInstance:
        instance = Add(type->Instances());
        break;
      case Element::kValue:
        StartValue();
        break;
      case Element::kNone:
        break;
    }
  }

  void OnElementData(const char* data, unsigned long length) override {
    const std::string_view piece(data, length);
    if (open == Element::kValue) {
      text += piece;
    } else if (piece.find_first_not_of(" \t\r\n") != std::string_view::npos) {
      Stop("there is text outside of a value");
    }
  }

  void OnElementEnd(const char* /*word*/) override {
    if (open == Element::kValue) value->SetValue(Unescaped(text));
    open = RuleOf(open)->parent;
  }

 private:
  void StartInventory() {
    if (!fields[kFormat] || fields[kFormat]->View() != obj_inv_xml::kFormat) {
      Stop("the format is missing or unknown");
      return;
    }
    document.SetName(*fields[kName]);
    if (fields[kKind]) {
      const std::optional<unsigned long> kind = KindFromText(fields[kKind]->View());
      if (!kind) {
        Stop("the kind is not a number");
        return;
      }
      document.SetType(*kind);
    }
    document.SetChecksum(TextOf(kChecksum));
    document.SetLastChecksum(TextOf(kLastChecksum));
  }

  void StartDefinition() {
    if (type->Instances().Count() != 0) {
      Stop("there is an attribute after an instance");
      return;
    }
    ObjTypeAttr* attribute = Add(type->Attributes());
    if (attribute == nullptr) return;
    attribute->SetDefinition({TextOf(kType), TextOf(kUnit), TextOf(kDescription)});
    const bool hasType = fields[kPreviousType].has_value();
    if (hasType != fields[kPreviousUnit].has_value() ||
        hasType != fields[kPreviousDescription].has_value()) {
      Stop("a previous definition is incomplete");
    } else if (hasType) {
      attribute->SetPreviousDefinition(
          {*fields[kPreviousType], *fields[kPreviousUnit], *fields[kPreviousDescription]});
    }
  }

  void StartValue() {
    value = Add(instance->Attributes());
    if (value != nullptr && fields[kPrevious]) value->SetPreviousValue(*fields[kPrevious]);
  }

  // Null, and the reading is at its end, when the element cannot be taken.
  template <typename T>
  T* Add(ObjSetOf<T>& set) {
    auto made = std::make_unique<T>(*fields[kName]);
    if (!ReadMarks(*made)) return nullptr;
    if (set.Add(made.get())) return made.release();
    Refuse("the name '%S' is there twice", *fields[kName]);
    return nullptr;
  }

  bool ReadMarks(ObjBase& element) {
    if (fields[kChange]) {
      const std::optional<ObjChange> change = ChangeFromWord(fields[kChange]->View());
      if (!change) {
        Refuse("the change '%S' is unknown", *fields[kChange]);
        return false;
      }
      element.SetChange(*change);
    }
    if (fields[kFirst] || fields[kAfter]) {
      if (!PlaceIsClear(kFirst, kAfter)) return false;
      element.SetPlace(PlaceOf(kAfter));
    }
    if (fields[kPreviousFirst] || fields[kPreviousAfter]) {
      if (!PlaceIsClear(kPreviousFirst, kPreviousAfter)) return false;
      element.SetPreviousPlace(PlaceOf(kPreviousAfter));
    }
    return true;
  }

  bool PlaceIsClear(Field firstField, Field afterField) {
    const std::optional<KorString>& first = fields[firstField];
    if (!first || (!fields[afterField] && first->View() == obj_inv_xml::kTrue)) return true;
    Stop("the place of an element is unclear");
    return false;
  }

  ObjPlace PlaceOf(Field afterField) const {
    return fields[afterField] ? ObjPlace::After(*fields[afterField]) : ObjPlace::First();
  }

  KorString TextOf(Field field) const { return fields[field].value_or(KorString()); }

  template <typename Argument>
  void Refuse(KorFormatString<std::type_identity_t<Argument>> format, const Argument& argument) {
    KorString reason;
    reason.Printf(format, argument);
    Stop(reason);
  }

  ObjInv& document;
  Element open = Element::kNone;
  unsigned int allowedFields = 0;
  std::array<std::optional<KorString>, kFieldCount> fields;
  ObjType* type = nullptr;
  ObjInst* instance = nullptr;
  ObjInstAttr* value = nullptr;
  std::string text;
};

}  // namespace

bool ObjInv::Parse(const KorString& path, ObjInvParser* /*parser*/) {
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
