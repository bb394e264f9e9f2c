// The saved inventory document: what can be read is written and read again as the same, and written
// in one way only.

#include "korcore/obj_inv.h"
#include "support.h"

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
