#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
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

void AppendHexadecimal(std::string& out, unsigned char byte) {
  constexpr std::string_view kDigits = "0123456789ABCDEF";
  out += kDigits[byte >> 4];
  out += kDigits[byte & 15];
}

void AppendByteEscape(std::string& out, unsigned char byte) {
  out += "&#x10FE";
  AppendHexadecimal(out, byte);
  out += ';';
}

bool XmlCarries(char32_t codePoint) {
  const bool isControl =
      codePoint < 0x20 && codePoint != '\t' && codePoint != '\n' && codePoint != '\r';
  const bool isEscape =
      codePoint >= obj_inv_xml::kFirstEscape && codePoint <= obj_inv_xml::kLastEscape;
  return !isControl && !isEscape && codePoint != 0xFFFE && codePoint != 0xFFFF;
}

// One character or one byte that needs care; gives how many bytes of the text it was.
size_t AppendSpecial(std::string& out, std::string_view text) {
  const auto byte = static_cast<unsigned char>(text[0]);
  if (byte == '&') return out += "&amp;", 1;
  if (byte == '<') return out += "&lt;", 1;
  if (byte == '>') return out += "&gt;", 1;
  if (byte == '"') return out += "&quot;", 1;
  const Utf8Character character = Utf8First(text);
  if (character.length == 0 || !XmlCarries(character.codePoint)) {
    AppendByteEscape(out, byte);
    return 1;
  }
  // Readers would change line ends and tabs; the other controls upset terminals.
  if (character.codePoint < 0xA0) {
    out += "&#x";
    AppendHexadecimal(out, static_cast<unsigned char>(character.codePoint));
    out += ';';
  } else {
    out += text.substr(0, character.length);
  }
  return character.length;
}

void AppendEscaped(std::string& out, std::string_view text) {
  for (;;) {
    size_t end = 0;
    while (end < text.size() && kPlain[static_cast<unsigned char>(text[end])]) ++end;
    out.append(text.data(), end);
    if (end == text.size()) return;
    text.remove_prefix(end);
    text.remove_prefix(AppendSpecial(out, text));
  }
}

class Writer {
 public:
  explicit Writer(const std::function<void(std::string_view)>& writePiece) : write(writePiece) {
    piece.reserve(kPieceSize + kPieceSize / 4);
  }

  void Document(const ObjInv& document) {
    piece += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
    piece += '<';
    piece += obj_inv_xml::kInventory;
    Field("format", obj_inv_xml::kFormat);
    Field("name", document.GetName().View());
    if (document.GetType() != 0) Field("kind", std::to_string(document.GetType()));
    FieldUnlessEmpty("checksum", document.GetChecksum());
    FieldUnlessEmpty("last-checksum", document.GetLastChecksum());
    if (document.Objects().Count() == 0) {
      piece += "/>\n";
    } else {
      piece += ">\n";
      for (const ObjType* type : document.Objects()) Class(*type);
      piece += End(0, obj_inv_xml::kInventory);
    }
    write(piece);
  }

 private:
  void Class(const ObjType& type) {
    OpenElement(classBegin, type);
    Marks(type);
    if (type.Attributes().Count() + type.Instances().Count() == 0) {
      piece += "/>\n";
      return;
    }
    piece += ">\n";
    for (const ObjTypeAttr* attribute : type.Attributes()) Definition(*attribute);
    for (const ObjInst* instance : type.Instances()) Instance(*instance);
    piece += classEnd;
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
    piece += "/>\n";
  }

  void Instance(const ObjInst& instance) {
    OpenElement(instanceBegin, instance);
    Marks(instance);
    if (instance.Attributes().Count() == 0) {
      piece += "/>\n";
      return;
    }
    piece += ">\n";
    for (const ObjInstAttr* value : instance.Attributes()) Value(*value);
    piece += instanceEnd;
  }

  void Value(const ObjInstAttr& value) {
    OpenElement(valueBegin, value);
    if (value.HasMarks() || value.GetPreviousValue() != nullptr) ValueMarks(value);
    if (value.GetValue().IsEmpty()) {
      piece += "/>\n";
      return;
    }
    piece += '>';
    AppendEscaped(piece, value.GetValue().View());
    piece += valueEnd;
  }

  void ValueMarks(const ObjInstAttr& value) {
    Change(value);
    if (const KorString* previous = value.GetPreviousValue()) Field("previous", previous->View());
    Places(value);
  }

  void Open(std::string_view begin) {
    if (piece.size() >= kPieceSize) {
      write(piece);
      piece.clear();
    }
    piece += begin;
  }

  void OpenElement(std::string_view begin, const ObjBase& element) {
    Open(begin);
    AppendEscaped(piece, element.GetName().View());
    piece += '"';
  }

  void Field(std::string_view word, std::string_view text) {
    piece += ' ';
    piece += word;
    piece += "=\"";
    AppendEscaped(piece, text);
    piece += '"';
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
  const std::function<void(std::string_view)>& write;
  std::string piece;
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
