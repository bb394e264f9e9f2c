#include "agent/report/capacity_section.h"

#include <algorithm>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agent/report/known_values.h"
#include "agent/report/measures.h"

namespace agent {
namespace {

// More bars than these are no picture any more: the fullest are drawn.
constexpr size_t kMostBars = 12;
constexpr uint64_t kAlmostFull = 90;  // percent
// Beyond this, in megabytes, a number is no size.
constexpr uint64_t kLargestSize = 1'000'000'000'000;

// All bars are drawn in thousandths of their width.
constexpr uint64_t kBarWidth = 1000;

struct FileSystem {
  std::string name;
  std::string kind;  // "ext4 on /dev/sda"
  uint64_t size = 0;
  uint64_t free = 0;

  uint64_t Used() const { return size - free; }
  // Rounded up, as df does it: the rest is the percentage that is free.
  uint64_t UsedPercent() const { return 100 - free * 100 / size; }
};

std::optional<FileSystem> ReadFileSystem(const ObjInst& instance) {
  const auto size = KnownNumber(instance, "Size");
  const auto free = KnownNumber(instance, "FreeSpace");
  if (!size || !free || *size == 0 || *size > kLargestSize || *free > *size) return {};
  FileSystem system;
  system.name = KnownValue(instance, "Name");
  if (system.name.empty()) system.name = instance.GetName().Str();
  system.kind = KnownValue(instance, "File System Name");
  const std::string disk = KnownValue(instance, "Physical Disk");
  if (!disk.empty()) system.kind += (system.kind.empty() ? "on " : " on ") + disk;
  system.size = *size;
  system.free = *free;
  return system;
}

std::vector<FileSystem> FileSystems(const ObjInv& document) {
  std::vector<FileSystem> systems;
  for (const ObjInst* instance : InstancesOf(document, "Logical Disk")) {
    const std::optional<FileSystem> system = ReadFileSystem(*instance);
    if (system) systems.push_back(*system);
  }
  return systems;
}

struct MemorySizes {
  uint64_t memory = 0;
  uint64_t swap = 0;
};

std::optional<MemorySizes> Memory(const ObjInv& document) {
  const auto memory = FirstNumber(document, "Physical Memory", "Capacity");
  const auto swap = FirstNumber(document, "Physical Memory", "Swap Space");
  if (!memory || *memory == 0 || *memory > kLargestSize) return {};
  return MemorySizes{*memory, std::min(swap.value_or(0), kLargestSize)};
}

// The figures stand beside it as text.
void WriteBar(uint64_t first, uint64_t second, HtmlWriter& html) {
  html << "<svg class=\"bar\" viewBox=\"0 0 1000 10\" preserveAspectRatio=\"none\" "
          "aria-hidden=\"true\" focusable=\"false\">"
       << "<rect class=\"first\" width=\"" << size_t{first} << "\" height=\"10\"/>";
  if (second > 0) {
    html << "<rect class=\"second\" x=\"" << size_t{first} << "\" width=\"" << size_t{second}
         << "\" height=\"10\"/>";
  }
  html << "</svg>\n";
}

void WriteFileSystem(const FileSystem& system, HtmlWriter& html) {
  const bool isAlmostFull = system.UsedPercent() >= kAlmostFull;
  if (isAlmostFull) {
    html << "<li class=\"full\">";
  } else {
    html << "<li>";
  }
  html << "<p class=\"bar-name\"><strong>" << EscapedText(system.name) << "</strong> <span>"
       << EscapedText(system.kind) << "</span> <b>" << size_t{system.UsedPercent()}
       << " % used</b></p>\n";
  WriteBar(system.Used() * kBarWidth / system.size, 0, html);
  html << "<p class=\"bar-figures\">" << EscapedText(DiskSizeText(system.Used())) << " of "
       << EscapedText(DiskSizeText(system.size)) << ", " << EscapedText(DiskSizeText(system.free))
       << " free";
  if (isAlmostFull) html << "; almost full";
  html << "</p></li>\n";
}

void WriteFileSystems(std::vector<FileSystem> systems, HtmlWriter& html) {
  if (systems.empty()) return;
  html << "<h3>File systems</h3>\n";
  const size_t count = systems.size();
  if (count > kMostBars) {
    std::stable_sort(systems.begin(), systems.end(), [](const auto& left, const auto& right) {
      return left.UsedPercent() > right.UsedPercent();
    });
    systems.resize(kMostBars);
    html << "<p class=\"note\">The " << kMostBars << " fullest of " << count
         << "; the others are in the table Logical Disk.</p>\n";
  }
  html << "<ul class=\"bars\">\n";
  for (const FileSystem& system : systems) WriteFileSystem(system, html);
  html << "</ul>\n";
}

void WriteMemory(const MemorySizes& sizes, HtmlWriter& html) {
  const uint64_t share = sizes.memory * kBarWidth / (sizes.memory + sizes.swap);
  html << "<h3>Memory</h3>\n<ul class=\"bars\">\n<li>"
          "<p class=\"bar-name\"><strong>"
       << EscapedText(MemorySizeText(sizes.memory)) << "</strong> <span>memory</span>";
  if (sizes.swap > 0) {
    html << " <b class=\"second\">" << EscapedText(MemorySizeText(sizes.swap)) << " swap space</b>";
  }
  html << "</p>\n";
  WriteBar(share, kBarWidth - share, html);
  html << "</li>\n</ul>\n";
}

}  // namespace

bool HasCapacities(const ObjInv& document) {
  return Memory(document).has_value() || !FileSystems(document).empty();
}

void WriteCapacities(const ObjInv& document, HtmlWriter& html) {
  WriteFileSystems(FileSystems(document), html);
  const std::optional<MemorySizes> memory = Memory(document);
  if (memory) WriteMemory(*memory, html);
}

}  // namespace agent
