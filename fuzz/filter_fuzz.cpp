// Translation files, and what their rules do to an inventory. The input: the file; after a NUL byte
// lines "name=value" for the inventory, which has some of its own without them.

#include "hardware/filter/filter_check.h"
#include "hardware/filter/hw_filter.h"
#include "hardware/module/globals.h"
#include "support.h"

namespace {

using HardwareInventory::FilterCheckScope;
using HardwareInventory::HwFilter;
using HardwareInventory::HwFilterGivenUp;
using HardwareInventory::HwFilterLimits;

// An expression may cost a second for each value, and there may be a hundred of them.
constexpr uint32_t kMostPasses = 3;
constexpr size_t kMostValues = 12;
constexpr size_t kLongestValue = 64;
constexpr HwFilterLimits kLimits = {.bytesOfValues = size_t{16} * 1024 * 1024,
                                    .milliseconds = 1000};

constexpr std::string_view kValues =
    "Manufacturer=acme ltd\nSize=512 MB\nSerial Number=X-1\nVersion=1.2.3\nEmpty=\n";

class PassLog : public fuzz::QuietLog {
 public:
  void Write(const KorLogRecord& record) override {
    QuietLog::Write(record);
    if (record.text.starts_with("There was no change within the last loop")) settled = true;
  }
  bool settled = false;
};

ObjInstAttr* AddTo(ObjSetOf<ObjInstAttr>& set, std::string_view name) {
  auto made = std::make_unique<ObjInstAttr>(KorString(name));
  return set.Add(made.get()) ? made.release() : nullptr;
}

void Fill(ObjInv& document, std::string_view values) {
  ObjType& type = *document.Ensure("System");
  ObjInst& instance = *type.Ensure("0");
  while (!values.empty() && instance.Attributes().Count() < kMostValues) {
    const std::string_view line = values.substr(0, values.find('\n'));
    values.remove_prefix(std::min(line.size() + 1, values.size()));
    const size_t equals = std::min(line.find('='), line.size());
    ObjInstAttr* value =
        AddTo(instance.Attributes(), line.substr(0, equals).substr(0, kLongestValue));
    if (value == nullptr) continue;
    type.Ensure(value->GetName(), "String");
    value->SetValue(
        KorString(line.substr(std::min(equals + 1, line.size())).substr(0, kLongestValue)));
  }
}

// Whether the file was read; the filter holds what came before an error.
bool Load(HwFilter& filter, const KorString& path, bool checked) {
  const FilterCheckScope scope(checked);
  const bool isRead = filter.Load(path);
  filter.GetHwListMaxPass() = std::min(filter.GetHwListMaxPass(), kMostPasses);
  return isRead;
}

// False when it is given up; when that is, is not the same each time.
bool Translate(const HwFilter& filter, ObjInv& document) {
  try {
    filter.ProcessAttrs(document, kLimits);
    return true;
  } catch (const HwFilterGivenUp&) {
    return false;
  }
}

void CheckValues(const ObjInv& document) {
  for (const ObjType* type : document.Objects()) {
    for (const ObjInst* instance : type->Instances()) {
      for (const ObjInstAttr* value : instance->Attributes()) {
        fuzz::Require(instance->Attributes().Get(value->GetName()) == value,
                      "a value is found by its name");
        fuzz::Require(!value->GetName().IsEmpty() || type->Attributes().Get("") != nullptr,
                      "no rule makes a name empty");
      }
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static PassLog log;
  static const fuzz::Folder folder;
  fuzz::UseLog(log);
  HardwareInventory::debugInv.SetContext(&log);

  const auto parts = fuzz::Parts(fuzz::View(data, size), 2);
  const KorString path = folder.Write("hwinvcfg.xml", parts[0]);
  HwFilter filter, checked;
  const bool isRead = Load(filter, path, false);
  fuzz::Require(Load(checked, path, true) == isRead, "a check changes nothing");
  KorContainer classes, checkedClasses;
  filter.WmiToContainer(classes);
  checked.WmiToContainer(checkedClasses);
  fuzz::Require(classes == checkedClasses, "a check changes nothing");
  fuzz::Require(filter.AttrCount() == checked.AttrCount(), "a check changes nothing");

  ObjInv document(nullptr), again(nullptr);
  Fill(document, parts[1].empty() ? kValues : parts[1]);
  again.CopyFrom(document);
  log.settled = false;
  const bool isDone = Translate(filter, document);
  CheckValues(document);
  const bool isSettled = log.settled;
  if (!isDone || !Translate(checked, again)) return 0;
  fuzz::Require(SameDocuments(document, again), "the same rules do the same");
  if (!isSettled || !Translate(filter, document)) return 0;
  fuzz::Require(SameDocuments(document, again), "after a pass without a change nothing changes");
  return 0;
}
