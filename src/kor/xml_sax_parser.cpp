#include "kor/xml_sax_parser.h"

// The library has its bounds for entities when it is built with this, as distributions do.
#define XML_DTD
#include <expat.h>

#include <exception>
#include <filesystem>
#include <memory>
#include <new>
#include <string_view>
#include <system_error>
#include <type_traits>

#include "kor/debug.h"
#include "kor/file.h"
#include "kor/input_position.h"

namespace {

// Far deeper than any document of ours; users of the events may recurse per level.
constexpr unsigned int kMaximumDepth = 1024;
// What entities make of a document beyond the library's threshold of 8 MiB.
constexpr float kMaximumAmplification = 4;

struct ParserFree {
  void operator()(XML_Parser parser) const { XML_ParserFree(parser); }
};
using ParserHandle = std::unique_ptr<std::remove_pointer_t<XML_Parser>, ParserFree>;

// In ISO 8859-1 the library takes three signs for letters that it refuses in the names of a
// document in UTF-8, as XML 1.0 does (2.3): such a document could be read, but not once it is
// written again.
bool IsName(std::string_view name) {
  for (const std::string_view sign : {"\xC2\xAA", "\xC2\xB5", "\xC2\xBA"}) {
    if (name.find(sign) != std::string_view::npos) return false;
  }
  return true;
}

// Pipes of a command line (/dev/stdin, /dev/fd/N) have no name: somebody writes to them and ends.
bool HasName(const KorString& path) {
  std::error_code error;
  return !std::filesystem::canonical(path.Str(), error).empty();
}

KorString TooLarge(uint64_t limit) {
  KorString text;
  text.Printf("it is larger than %gu bytes", limit);
  return text;
}

// Why the file is not even opened; empty when it is.
KorString Refusal(const KorString& path, uint64_t limit) {
  if (FileIsSpecial(path) && HasName(path)) return "it is not a file";
  return FileGetSize(path) > static_cast<int64_t>(limit) ? TooLarge(limit) : KorString();
}

}  // namespace

// One reading: turns expat's callbacks into the events of its owner.
struct CsXmlSaxParser::Events {
  CsXmlSaxParser& owner;
  KorInputPositionScope position;
  ParserHandle parser{XML_ParserCreate(nullptr)};
  unsigned int depth = 0;
  std::exception_ptr thrown;

  Events(CsXmlSaxParser& parserOwner, const KorString& path) : owner(parserOwner), position(path) {
    if (!parser) throw std::bad_alloc();
    XML_SetUserData(parser.get(), this);
    XML_SetBillionLaughsAttackProtectionMaximumAmplification(parser.get(), kMaximumAmplification);
    XML_SetElementHandler(parser.get(), StartElement, EndElement);
    XML_SetCharacterDataHandler(parser.get(), CharacterData);
    XML_SetProcessingInstructionHandler(parser.get(), ProcessingInstruction);
  }

  bool IsOver() const { return thrown != nullptr || owner.stopRequested; }

  // Delivers events from one callback of expat. An exception must not pass through expat's C
  // frames; it is kept and goes on from where the reading was started. expat may call back once
  // more after it has been told to stop.
  template <typename Deliver>
  void Guard(Deliver deliver) {
    if (IsOver()) return;
    position.SetLine(XML_GetCurrentLineNumber(parser.get()));
    try {
      deliver();
    } catch (...) {
      thrown = std::current_exception();
    }
    if (IsOver()) {
      owner.errorLine = XML_GetCurrentLineNumber(parser.get());
      XML_StopParser(parser.get(), XML_FALSE);
    }
  }

  void Start(const char* name, const char** attributes) {
    if (++depth > kMaximumDepth) {
      owner.Stop("elements are nested too deeply");
      return;
    }
    CheckName(name);
    for (const char** each = attributes; *each != nullptr; each += 2) CheckName(*each);
    if (owner.stopRequested) return;
    owner.OnElementInit(name);
    for (; *attributes != nullptr && !owner.stopRequested; attributes += 2) {
      owner.OnElementAttr(attributes[0], attributes[1]);
    }
    if (!owner.stopRequested) owner.OnElementStart(name);
  }

  void CheckName(const char* name) {
    if (!IsName(name)) owner.Stop(XML_ErrorString(XML_ERROR_INVALID_TOKEN));
  }

  static void XMLCALL StartElement(void* user, const char* name, const char** attributes) {
    Events& events = *static_cast<Events*>(user);
    events.Guard([&] { events.Start(name, attributes); });
  }

  static void XMLCALL EndElement(void* user, const char* name) {
    Events& events = *static_cast<Events*>(user);
    events.Guard([&] {
      --events.depth;
      events.owner.OnElementEnd(name);
    });
  }

  static void XMLCALL CharacterData(void* user, const char* data, int length) {
    Events& events = *static_cast<Events*>(user);
    events.Guard([&] { events.owner.OnElementData(data, static_cast<unsigned long>(length)); });
  }

  static void XMLCALL ProcessingInstruction(void* user, const char* target, const char*) {
    Events& events = *static_cast<Events*>(user);
    events.Guard([&] { events.CheckName(target); });
  }

  // False when nothing more is to be read.
  bool Feed(std::string_view piece, bool isLast) {
    const XML_Status status =
        XML_Parse(parser.get(), piece.data(), static_cast<int>(piece.size()), isLast);
    if (thrown) std::rethrow_exception(thrown);
    if (status == XML_STATUS_OK) return true;
    if (!owner.stopRequested) {
      owner.errorText = XML_ErrorString(XML_GetErrorCode(parser.get()));
      owner.errorLine = XML_GetCurrentLineNumber(parser.get());
    }
    return false;
  }
};

bool CsXmlSaxParser::ParseFile(const KorString& path) {
  errorText.Clear();
  errorLine = 0;
  stopRequested = false;
  Events events(*this, path);
  errorText = Refusal(path, sizeLimit);
  bool wellFormed = true;
  uint64_t size = 0;
  const auto feed = [&](std::string_view piece) {
    size += piece.size();
    return wellFormed = size <= sizeLimit && events.Feed(piece, false);
  };
  const bool wasRead = errorText.IsEmpty() && FileReadChunks(path, feed, errorText);
  // Files of the kernel have no size: what is read is counted, too.
  if (size > sizeLimit) errorText = TooLarge(sizeLimit);
  if (!wasRead || size > sizeLimit) {
    KorFrameworkLog().ErrorWithNL("%S: %S", path, errorText);
    return false;
  }
  if (wellFormed && events.Feed({}, true)) return true;
  events.position.SetLine(errorLine);
  KorFrameworkLog().ErrorWithNL("%S: line %gu: %S", path, errorLine, errorText);
  return false;
}

void CsXmlSaxParser::Stop(const KorString& reason) {
  if (stopRequested) return;
  stopRequested = true;
  errorText = reason;
}

void CsXmlSaxParser::OnElementInit(const char*) {}
void CsXmlSaxParser::OnElementAttr(const char*, const char*) {}
void CsXmlSaxParser::OnElementStart(const char*) {}
void CsXmlSaxParser::OnElementData(const char*, unsigned long) {}
void CsXmlSaxParser::OnElementEnd(const char*) {}
