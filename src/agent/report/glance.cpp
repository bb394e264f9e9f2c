#include "agent/report/glance.h"

#include <algorithm>
#include <initializer_list>
#include <utility>

#include "agent/report/known_values.h"
#include "agent/report/measures.h"

namespace agent {
namespace {

// How many of a kind are named before the rest is counted.
constexpr size_t kNamed = 3;

constexpr const char* kProduct = "Computer System Product";

// Those of the texts that say something, with blanks between them.
std::string Joined(std::initializer_list<std::string> texts) {
  std::string all;
  for (const std::string& text : texts) {
    if (!all.empty() && !text.empty()) all += ' ';
    all += text;
  }
  return all;
}

std::string Prefixed(const char* prefix, const std::string& text) {
  return text.empty() ? text : prefix + text;
}

GlanceItem Item(const char* label, std::string value, std::initializer_list<std::string> details) {
  GlanceItem item = {label, std::move(value), {}};
  for (const std::string& detail : details) {
    if (!detail.empty()) item.details.push_back(detail);
  }
  return item;
}

// The texts and how often each is there, in their order.
std::vector<std::pair<std::string, size_t>> Counted(const std::vector<std::string>& texts) {
  std::vector<std::pair<std::string, size_t>> counted;
  for (const std::string& text : texts) {
    if (text.empty()) continue;
    const auto found = std::find_if(counted.begin(), counted.end(),
                                    [&](const auto& entry) { return entry.first == text; });
    if (found == counted.end()) {
      counted.emplace_back(text, 1);
    } else {
      ++found->second;
    }
  }
  return counted;
}

// The first of them; the others are counted.
void AddNamed(const std::vector<std::string>& texts, std::vector<std::string>& details) {
  for (size_t at = 0; at < std::min(texts.size(), kNamed); ++at) details.push_back(texts[at]);
  if (texts.size() > kNamed) {
    details.push_back("and " + std::to_string(texts.size() - kNamed) + " more");
  }
}

GlanceItem System(const ObjInv& document) {
  return Item(
      "System",
      Joined({FirstValue(document, kProduct, "Vendor"), FirstValue(document, kProduct, "Name")}),
      {Prefixed("Version ", FirstValue(document, kProduct, "Version")),
       Prefixed("Serial number ", FirstValue(document, kProduct, "IdentifyingNumber"))});
}

GlanceItem OperatingSystem(const ObjInv& document) {
  const auto upTime = FirstNumber(document, "OS Performance", "SystemUpTime");
  return Item("Operating system", FirstValue(document, "Operating System", "Caption"),
              {Prefixed("Kernel ", FirstValue(document, "Operating System", "CSDVersion")),
               upTime ? "Up for " + DurationText(*upTime) : std::string()});
}

GlanceItem Processors(const ObjInv& document) {
  const std::vector<const ObjInst*> processors = InstancesOf(document, "Processor");
  GlanceItem item = {"Processors", {}, {}};
  if (processors.empty()) return item;
  std::vector<std::string> names;
  std::vector<std::string> packages;
  names.reserve(processors.size());
  packages.reserve(processors.size());
  for (const ObjInst* processor : processors) {
    names.push_back(KnownValue(*processor, "Name"));
    packages.push_back(KnownValue(*processor, "UniqueId"));
  }
  item.value = CountText(processors.size(), "logical processor", "logical processors");
  std::vector<std::string> models;
  const auto counted = Counted(names);
  models.reserve(counted.size());
  for (const auto& [name, count] : counted) {
    models.push_back(counted.size() == 1 ? name : std::to_string(count) + " × " + name);
  }
  AddNamed(models, item.details);
  const size_t packageCount = Counted(packages).size();
  if (packageCount > 1) item.details.push_back("in " + std::to_string(packageCount) + " packages");
  return item;
}

GlanceItem Memory(const ObjInv& document) {
  const auto capacity = FirstNumber(document, "Physical Memory", "Capacity");
  const auto swap = FirstNumber(document, "Physical Memory", "Swap Space");
  return Item("Memory", capacity ? MemorySizeText(*capacity) : std::string(),
              {swap ? MemorySizeText(*swap) + " of swap space" : std::string()});
}

GlanceItem Firmware(const ObjInv& document) {
  std::string date = FirstValue(document, "BIOS", "ReleaseDate");
  std::string serial = FirstValue(document, "BIOS", "SerialNumber");
  if (serial == FirstValue(document, kProduct, "IdentifyingNumber")) serial.clear();
  constexpr std::string_view kMidnight = " 00:00:00";
  if (date.ends_with(kMidnight)) date.resize(date.size() - kMidnight.size());
  return Item("Firmware",
              Joined({FirstValue(document, "BIOS", "Manufacturer"),
                      FirstValue(document, "BIOS", "SMBIOSBIOSVersion")}),
              {Prefixed("Released ", date), Prefixed("Serial number ", serial)});
}

GlanceItem Disks(const ObjInv& document) {
  const std::vector<const ObjInst*> drives = InstancesOf(document, "Disk Drive");
  GlanceItem item = {"Disks", {}, {}};
  if (drives.empty()) return item;
  item.value = CountText(drives.size(), "disk", "disks");
  std::vector<std::string> described;
  for (const ObjInst* drive : drives) {
    const auto size = KnownNumber(*drive, "Size");
    const auto partitions = KnownNumber(*drive, "Partitions");
    described.push_back(Joined(
        {KnownValue(*drive, "Model"), size ? DiskSizeText(*size) : std::string(),
         partitions ? "in " + CountText(*partitions, "partition", "partitions") : std::string()}));
  }
  std::erase(described, std::string());
  AddNamed(described, item.details);
  return item;
}

// "10.20.4.17,fe80::21a" as "10.20.4.17, fe80::21a".
std::string Addresses(std::string list) {
  for (size_t at = list.find(','); at != std::string::npos; at = list.find(',', at + 2)) {
    list.insert(at + 1, " ");
  }
  return list;
}

GlanceItem Network(const ObjInv& document) {
  const std::vector<const ObjInst*> all = InstancesOf(document, "Network Adapter Configuration");
  std::vector<std::string> addressed;
  for (const ObjInst* adapter : all) {
    const std::string addresses = Addresses(KnownValue(*adapter, "IPAddress"));
    if (addresses.empty()) continue;
    addressed.push_back(adapter->GetName().Str() + " " + addresses);
  }
  GlanceItem item = {"Network", {}, {}};
  if (all.empty()) return item;
  item.value = CountText(all.size(), "interface", "interfaces") + ", " +
               std::to_string(addressed.size()) + " with an address";
  AddNamed(addressed, item.details);
  return item;
}

GlanceItem Graphics(const ObjInv& document) {
  std::vector<std::string> names;
  for (const ObjInst* controller : InstancesOf(document, "Video Controller")) {
    names.push_back(KnownValue(*controller, "Name"));
  }
  std::erase(names, std::string());
  GlanceItem item = {"Graphics", names.empty() ? std::string() : names.front(), {}};
  if (!names.empty()) AddNamed({names.begin() + 1, names.end()}, item.details);
  return item;
}

}  // namespace

std::vector<GlanceItem> Glance(const ObjInv& document) {
  std::vector<GlanceItem> items;
  for (GlanceItem (*describe)(const ObjInv&) :
       {System, OperatingSystem, Processors, Memory, Disks, Network, Firmware, Graphics}) {
    GlanceItem item = describe(document);
    if (item.value.empty() && !item.details.empty()) {
      item.value = item.details.front();
      item.details.erase(item.details.begin());
    }
    if (!item.value.empty()) items.push_back(std::move(item));
  }
  return items;
}

std::string MachineName(const ObjInv& document) {
  const std::string name = FirstValue(document, "Computer System", "Name");
  return name.empty() ? document.GetName().Str() : name;
}

}  // namespace agent
