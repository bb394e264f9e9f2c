#include "delivered_documents.h"

#include <set>

#include "kor/file.h"
#include "kor/string.h"
#include "korcore/obj_inv.h"

namespace {

namespace fs = std::filesystem;

enum Kind : unsigned long { kWhole = 1, kDifferential = 2, kMerge = 3 };

class Server {
 public:
  explicit Server(const Complain& complainer) : complain(complainer) {}

  void Take(const std::string& path) {
    ObjInv document(nullptr);
    if (!document.Parse(KorString(path), nullptr)) {
      complain(path + ": no inventory document");
      return;
    }
    if (!Renew(document)) complain(path + ": does not follow from what was sent before");
    sum = document.GetChecksum();
    sums.insert(sum.Str());
    if (SumOf(state) != sum) complain(path + ": does not make the inventory of its checksum");
  }

  bool Knows(const KorString& otherSum) const { return sums.contains(otherSum.Str()); }

 private:
  bool Renew(const ObjInv& document) {
    state.SetName(document.GetName());
    switch (document.GetType()) {
      case kWhole:
      case kMerge:
        document.ReadNew(state);
        return true;
      case kDifferential:
        return document.GetLastChecksum() == sum && state.Apply(document);
      default:
        return false;
    }
  }

  // As the agent takes it, of the file.
  static KorString SumOf(const ObjInv& document) {
    std::string xml;
    document.WriteXml([&xml](std::string_view piece) { xml += piece; });
    return TextMd5(KorString(xml));
  }

  const Complain& complain;
  ObjInv state{nullptr};
  KorString sum;
  std::set<std::string> sums;
};

}  // namespace

void CheckDocuments(const AcceptedItems& items, const fs::path& dataFolder,
                    const Complain& complain) {
  Server server(complain);
  for (const auto& [id, item] : items.All()) {
    if (!item.content.empty()) server.Take(item.content.string());
  }
  const KorString sent((dataFolder / "HardwareInventory/HardwareInventorySent.xml").string());
  if (FileExists(sent) && !server.Knows(FileMd5(sent))) {
    complain(sent.Str() + ": was never accepted for delivery");
  }
}
