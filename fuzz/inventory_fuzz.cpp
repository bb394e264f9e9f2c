// The saved inventory document: what can be read is written and read again as the same, and written
// in one way only. What the reader of plain documents takes, the general one reads as the same.

#include <string>
#include <string_view>

#include "korcore/obj_inv.h"
#include "korcore/plain_xml.h"
#include "support.h"

namespace {

struct Nobody {
  bool BeginElement(std::string_view) { return true; }
  bool Attribute(std::string_view, std::string_view) { return true; }
  bool StartElement() { return true; }
  bool Text(std::string_view) { return true; }
  bool EndElement() { return true; }
};

// A comment is nothing plain.
void RequireSameFromGeneralReader(const fuzz::Folder& folder, std::string_view text,
                                  const ObjInv& document) {
  Nobody nobody;
  if (!plain_xml::Reader(text, nobody).Read()) return;
  ObjInv general(nullptr);
  const KorString path = folder.Write("general.xml", std::string(text) + "<!-- -->");
  fuzz::Require(general.Parse(path, nullptr), "a comment at the end changes nothing");
  fuzz::Require(SameDocuments(document, general), "both readers read the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::QuietLog log;
  static const fuzz::Folder folder;
  fuzz::UseLog(log);

  ObjInv document(&log);
  if (!document.Parse(folder.Write("input.xml", fuzz::View(data, size)), nullptr)) {
    ObjInv empty(nullptr);
    fuzz::Require(SameDocuments(document, empty), "a document that cannot be read is empty");
    return 0;
  }
  RequireSameFromGeneralReader(folder, fuzz::View(data, size), document);
  ObjInv copy(nullptr);
  copy.CopyFrom(document);
  fuzz::Require(SameDocuments(document, copy), "a copy is the same");

  const KorString path = folder.Path("saved.xml");
  fuzz::Require(document.Save(path), "a document that was read can be saved");
  ObjInv again(&log);
  fuzz::Require(again.Parse(path, nullptr), "a saved document can be read");
  fuzz::Require(SameDocuments(document, again), "Parse(Save(d)) = d");

  std::string pieces;
  again.WriteXml([&pieces](std::string_view piece) { pieces += piece; });
  fuzz::Require(pieces == folder.Read("saved.xml"), "equal documents give equal files");
  return 0;
}
