#include "hardware/filter/default_translation_file.h"

#include <array>
#include <cstddef>

namespace HardwareInventory {
namespace {

struct WmiClass {
  std::string_view name;
  std::string_view id;
};

// The last entry repeats the one before it: the document is compared byte for byte elsewhere.
constexpr WmiClass kClasses[] = {
    {"Keyboard", "Win32_Keyboard"},
    {"Pointing Device", "Win32_PointingDevice"},
    {"BIOS", "Win32_BIOS"},
    {"CDROM Drive", "Win32_CDROMDrive"},
    {"Disk Drive", "Win32_DiskDrive"},
    {"Floppy Drive", "Win32_FloppyDrive"},
    {"Logical Disk", "Win32_LogicalDisk"},
    {"Cache Memory", "Win32_CacheMemory"},
    {"Motherboard Device", "Win32_MotherboardDevice"},
    {"Parallel Port", "Win32_ParallelPort"},
    {"Physical Memory", "Win32_PhysicalMemory"},
    {"Processor", "Win32_Processor"},
    {"Sound Device", "Win32_SoundDevice"},
    {"Network Adapter", "Win32_NetworkAdapter"},
    {"Printer", "Win32_Printer"},
    {"Desktop Monitor", "Win32_DesktopMonitor"},
    {"Display Configuration", "Win32_DisplayConfiguration"},
    {"Video Configuration", "Win32_VideoConfiguration"},
    {"Computer System", "Win32_ComputerSystem"},
    {"Computer System Product", "Win32_ComputerSystemProduct"},
    {"Computer System Product", "Win32_ComputerSystemProduct"},
};

constexpr size_t kLength = 3672;

// Every line ends in a blank and a line feed; three blanks of indentation per level.
class Document {
 public:
  consteval Document() {
    Append("<HWINVCONFIG>");
    Append(" \n   <HWINVWMILIST>");
    for (const WmiClass& entry : kClasses) {
      Append(" \n      <HWWMICLASS>");
      Append(" \n         <CLASSNAME>", entry.name, "</CLASSNAME>");
      Append(" \n         <CLASSID>", entry.id, "</CLASSID>");
      Append(" \n         <ACTION>", "Accept", "</ACTION>");
      Append(" \n      </HWWMICLASS>");
    }
    Append(" \n   </HWINVWMILIST>");
    Append(" \n</HWINVCONFIG>");
  }

  constexpr std::string_view View() const { return {bytes.data(), length}; }

 private:
  consteval void Append(std::string_view text) {
    for (const char byte : text) bytes[length++] = byte;
  }
  consteval void Append(std::string_view before, std::string_view text, std::string_view after) {
    Append(before);
    Append(text);
    Append(after);
  }

  std::array<char, kLength> bytes = {};
  size_t length = 0;
};

constexpr Document kDocument;
static_assert(kDocument.View().size() == kLength);

}  // namespace

constinit const std::string_view DEFAULT_TRANSLATION_FILE = kDocument.View();

}  // namespace HardwareInventory
