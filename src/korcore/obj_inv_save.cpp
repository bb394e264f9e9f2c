#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "kor/atomic_file.h"
#include "kor/debug.h"
#include "korcore/obj_inv.h"
#include "korcore/obj_inv_xml.h"
#include "korcore/utf8.h"

namespace {

constexpr size_t kPieceSize = 65'536;

// Bytes that stand in the file as they are, in a text and in a quoted value alike.
constexpr std::array<bool, 256> PlainBytes() {
  std::array<bool, 256> plain{};
  for (size_t byte = 0x20; byte < 0x7F; ++byte) plain[byte] = true;
  for (const char special : std::string_view("&<>\"")) {
    plain[static_cast<unsigned char>(special)] = false;
  }
  return plain;
}
constexpr std::array<bool, 256> kPlain = PlainBytes();

// Gathers what is put into it and gives it on in pieces of one size; the last may be shorter. A
// file takes whole pages faster than parts of them.
class Output {
 public:
  explicit Output(const std::function<void(std::string_view)>& writePiece) : write(writePiece) {}

  Output& operator<<(std::string_view text) {
    if (text.size() > kPieceSize - used) [[unlikely]]
      return PutLong(text);
    Take(text);
    return *this;
  }

  Output& operator<<(char character) {
    if (used == kPieceSize) Flush();
    piece[used++] = character;
    return *this;
  }

  // False, and nothing is put, when something in the text needs care, or there is no room for it.
  // Copies while it looks: most texts are short and plain, and a search with a copy after it takes
  // longer.
  bool PutIfPlain(std::string_view text) {
    if (text.size() > kPieceSize - used) return false;
    char* const end = piece.get() + used;
    unsigned isPlain = 1;
    for (size_t at = 0; at < text.size(); ++at) {
      const char character = text[at];
      end[at] = character;
      isPlain &= kPlain[static_cast<unsigned char>(character)];
    }
    if (isPlain != 0) used += text.size();
    return isPlain != 0;
  }

  void Flush() {
    write(std::string_view(piece.get(), used));
    used = 0;
  }

 private:
  void Take(std::string_view text) {
    std::memcpy(piece.get() + used, text.data(), text.size());
    used += text.size();
  }

  Output& PutLong(std::string_view text) {
    while (!text.empty()) {
      if (used == kPieceSize) Flush();
      const size_t length = std::min(text.size(), kPieceSize - used);
      Take(text.substr(0, length));
      text.remove_prefix(length);
    }
    return *this;
  }

  const std::function<void(std::string_view)>& write;
  const std::unique_ptr<char[]> piece = std::make_unique<char[]>(kPieceSize);
  size_t used = 0;
};

void PutHexadecimal(Output& out, unsigned char byte) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  out << kDigits[byte >> 4] << kDigits[byte & 15];
}

void PutByteEscape(Output& out, unsigned char byte) {
  out << "&#x10FE";
  PutHexadecimal(out, byte);
  out << ';';
}

bool XmlCarries(char32_t codePoint) {
  const bool isControl =
      codePoint < 0x20 && codePoint != '\t' && codePoint != '\n' && codePoint != '\r';
  const bool isEscape =
      codePoint >= obj_inv_xml::kFirstEscape && codePoint <= obj_inv_xml::kLastEscape;
  return !isControl && !isEscape && codePoint != 0xFFFE && codePoint != 0xFFFF;
}

// One character or one byte that needs care; gives how many bytes of the text it was.
size_t PutSpecial(Output& out, std::string_view text) {
  const auto byte = static_cast<unsigned char>(text[0]);
  if (byte == '&') return out << "&amp;", 1;
  if (byte == '<') return out << "&lt;", 1;
  if (byte == '>') return out << "&gt;", 1;
  if (byte == '"') return out << "&quot;", 1;
  const Utf8Character character = Utf8First(text);
  if (character.length == 0 || !XmlCarries(character.codePoint)) {
    PutByteEscape(out, byte);
    return 1;
  }
  // Readers would change line ends and tabs; the other controls upset terminals.
  if (character.codePoint < 0xA0) {
    out << "&#x";
    PutHexadecimal(out, static_cast<unsigned char>(character.codePoint));
    out << ';';
  } else {
    out << text.substr(0, character.length);
  }
  return character.length;
}

size_t PlainLength(std::string_view text) {
  size_t length = 0;
  while (length < text.size() && kPlain[static_cast<unsigned char>(text[length])]) ++length;
  return length;
}

// Never a part of the function below: what it needs on the stack is more work than a short text.
[[gnu::noinline]] void PutWithEscapes(Output& out, std::string_view text) {
  while (!text.empty()) {
    const size_t plain = PlainLength(text);
    out << text.substr(0, plain);
    text.remove_prefix(plain);
    if (!text.empty()) text.remove_prefix(PutSpecial(out, text));
  }
}

void PutEscaped(Output& out, std::string_view text) {
  if (!out.PutIfPlain(text)) PutWithEscapes(out, text);
}

class Writer {
 public:
  explicit Writer(const std::function<void(std::string_view)>& writePiece) : out(writePiece) {}

  void Document(const ObjInv& document) {
    out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<" << obj_inv_xml::kInventory;
    Field("format", obj_inv_xml::kFormat);
    Field("name", document.GetName().View());
    if (document.GetType() != 0) Field("kind", std::to_string(document.GetType()));
    FieldUnlessEmpty("checksum", document.GetChecksum());
    FieldUnlessEmpty("last-checksum", document.GetLastChecksum());
    if (document.Objects().Count() == 0) {
      out << "/>\n";
    } else {
      out << ">\n";
      for (const ObjType* type : document.Objects()) Class(*type);
      out << End(0, obj_inv_xml::kInventory);
    }
    out.Flush();
  }

 private:
  void Class(const ObjType& type) {
    OpenElement(classBegin, type);
    Marks(type);
    if (type.Attributes().Count() + type.Instances().Count() == 0) {
      out << "/>\n";
      return;
    }
    out << ">\n";
    for (const ObjTypeAttr* attribute : type.Attributes()) Definition(*attribute);
    for (const ObjInst* instance : type.Instances()) Instance(*instance);
    out << classEnd;
  }

  void Definition(const ObjTypeAttr& attribute) {
    OpenElement(attributeBegin, attribute);
    FieldUnlessEmpty("type", attribute.GetType());
    FieldUnlessEmpty("unit", attribute.GetUnit());
    FieldUnlessEmpty("description", attribute.GetDesc());
    Change(attribute);
    if (const ObjDefinition* previous = attribute.GetPreviousDefinition()) {
      Field("previous-type", previous->type.View());
      Field("previous-unit", previous->unit.View());
      Field("previous-description", previous->desc.View());
    }
    Places(attribute);
    out << "/>\n";
  }

  void Instance(const ObjInst& instance) {
    OpenElement(instanceBegin, instance);
    Marks(instance);
    if (instance.Attributes().Count() == 0) {
      out << "/>\n";
      return;
    }
    out << ">\n";
    for (const ObjInstAttr* value : instance.Attributes()) Value(*value);
    out << instanceEnd;
  }

  void Value(const ObjInstAttr& value) {
    OpenElement(valueBegin, value);
    if (value.HasMarks() || value.GetPreviousValue() != nullptr) ValueMarks(value);
    if (value.GetValue().IsEmpty()) {
      out << "/>\n";
      return;
    }
    out << '>';
    PutEscaped(out, value.GetValue().View());
    out << valueEnd;
  }

  void ValueMarks(const ObjInstAttr& value) {
    Change(value);
    if (const KorString* previous = value.GetPreviousValue()) Field("previous", previous->View());
    Places(value);
  }

  void OpenElement(std::string_view begin, const ObjBase& element) {
    out << begin;
    PutEscaped(out, element.GetName().View());
    out << '"';
  }

  void Field(std::string_view word, std::string_view text) {
    out << ' ' << word << "=\"";
    PutEscaped(out, text);
    out << '"';
  }

  void FieldUnlessEmpty(std::string_view word, const KorString& text) {
    if (!text.IsEmpty()) Field(word, text.View());
  }

  void Marks(const ObjBase& element) {
    Change(element);
    Places(element);
  }

  void Change(const ObjBase& element) {
    const std::string_view word = obj_inv_xml::ChangeWord(element.GetChange());
    if (!word.empty()) Field("change", word);
  }

  void Places(const ObjBase& element) {
    Place(element.GetPlace(), "first", "after");
    Place(element.GetPreviousPlace(), "previous-first", "previous-after");
  }

  void Place(const ObjPlace* place, std::string_view firstWord, std::string_view afterWord) {
    if (place == nullptr) return;
    if (place->IsFirst()) {
      Field(firstWord, obj_inv_xml::kTrue);
    } else {
      Field(afterWord, place->GetAfter().View());
    }
  }

  // Up to the name.
  static std::string Begin(size_t level, std::string_view word) {
    return std::string(2 * level, ' ').append("<").append(word).append(" name=\"");
  }
  static std::string End(size_t level, std::string_view word) {
    return std::string(2 * level, ' ').append("</").append(word).append(">\n");
  }

  // Put together once for all elements.
  const std::string classBegin = Begin(1, obj_inv_xml::kClass);
  const std::string classEnd = End(1, obj_inv_xml::kClass);
  const std::string attributeBegin = Begin(2, obj_inv_xml::kAttribute);
  const std::string instanceBegin = Begin(2, obj_inv_xml::kInstance);
  const std::string instanceEnd = End(2, obj_inv_xml::kInstance);
  const std::string valueBegin = Begin(3, obj_inv_xml::kValue);
  const std::string valueEnd = End(0, obj_inv_xml::kValue);
  Output out;
};

}  // namespace

void ObjInv::WriteXml(const std::function<void(std::string_view)>& write) const {
  Writer(write).Document(*this);
}

bool ObjInv::Save(const KorString& path, uint64_t mostBytes) const {
  KorAtomicFile file(path);
  uint64_t size = 0;
  WriteXml([&](std::string_view piece) {
    size += piece.size();
    if (size <= mostBytes) file.Write(piece);
  });
  if (size <= mostBytes && file.Commit()) return true;
  KorDebug log("Inventory", "Inventory documents");
  log.SetContext(context);
  KorString reason = file.Error();
  if (size > mostBytes) {
    // No reader would take it.
    reason.Printf("%S: it would be larger than %gu bytes", path, mostBytes);
  }
  log.ErrorWithNL("Failed to save inventory: %S", reason);
  return false;
}
