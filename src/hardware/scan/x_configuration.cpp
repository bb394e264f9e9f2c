#include "hardware/scan/x_configuration.h"

#include <optional>

#include "hardware/scan/toolkit.h"

namespace HardwareInventory {

namespace {

// Comments cut, runs of blanks squeezed.
constexpr const char* kConfigurationCommand =
    R"sh(cat /etc/X11/xorg.conf | cut -d '#' -f1 | tr -s '[:space:]')sh";

constexpr const char* kDevicePattern = R"re(^\s*Section\s+"Device")re";
constexpr const char* kScreenPattern = R"re(^\s*Section\s+"Screen")re";
constexpr const char* kIdentifierPattern = R"re(^\s*Identifier\s+"([^"]+)")re";
constexpr const char* kDriverPattern = R"re(^\s*Driver\s+"([^"]+)")re";
constexpr const char* kBoardPattern = R"re(^\s*BoardName\s+"([^"]+)")re";
constexpr const char* kDepthPattern = R"re(^\s*Depth\s+([0-9]+))re";
constexpr const char* kModePattern =
    R"re(^\s*Option\s+"metamodes".+?(([0-9]+)x([0-9]+)_([0-9]+)))re";
constexpr const char* kMemoryPattern = R"re(Memory:.*?([0-9]+)\s*kB)re";

bool Contains(const KorString& section, const KorString& pattern, int options) {
  return MatchPcreSimple(section.CStr(), section.GetLength(), pattern, options);
}

// The first keyword that a driver, vendor or board name of the section contains; null without one.
const KorString* MatchingKeyword(const KorString& section, const KorVector<KorString>& keywords) {
  for (const KorString& keyword : keywords) {
    const KorString pattern =
        R"re(^\s*(Driver|(Vendor|Board)Name)\s+"[^"]*)re" + keyword + R"re([^"]*")re";
    if (Contains(section, pattern, kPcreCaseless | kPcreMultiLine)) return &keyword;
  }
  return nullptr;
}

void SetMemory(ObjInst& instance, const KorString& keyword) {
  const KorString log = OutputOf("grep Memory /var/log/Xorg.0.log* | grep -i " + keyword);
  const std::optional<KorString> kilobytes = FirstGroup(log, kMemoryPattern, kPcreCaseless);
  if (!kilobytes) return;
  KorString megabytes;
  megabytes.Printf("%d", kilobytes->ToInt() >> 10);
  SetValue(instance, "AdapterRAM", megabytes);
}

void SetMode(ObjInst& instance, const KorString& section) {
  KorVector<KorString> mode;
  if (FindPcreSimple(section.CStr(), section.GetLength(), kModePattern, kPcreMultiLine, mode) ==
      0) {
    return;
  }
  SetValue(instance, "CurrentHorizontalResolution", mode[1]);
  SetValue(instance, "CurrentRefreshRate", mode[3]);
  SetValue(instance, "CurrentVerticalResolution", mode[2]);
  SetValue(instance, "VideoModeDescription", mode[0]);
}

// Every Screen section of the device counts, so the last one wins.
void SetFromScreens(ObjInst& instance, const KorString& text, const KorString& device) {
  const KorString devicePattern = R"re(^\s*Device\s+")re" + device + "\"";
  ForEachPiece(text, "EndSection", [&](const KorString& section) {
    if (!Contains(section, kScreenPattern, kPcreMultiLine)) return;
    if (!Contains(section, devicePattern, kPcreMultiLine)) return;
    SetFirstGroup(instance, "CurrentBitsPerPixel", section, kDepthPattern, kPcreMultiLine);
    SetMode(instance, section);
  });
}

}  // namespace

void SetFromXConfiguration(ObjInst& instance, const KorVector<KorString>& keywords) {
  const KorString text = OutputOf(kConfigurationCommand);
  StringTokeniser sections(text, "EndSection", 0);
  KorString section;
  const KorString* keyword = nullptr;
  while (keyword == nullptr && sections.GetNextToken(&section) != 0) {
    if (!Contains(section, kDevicePattern, kPcreMultiLine)) continue;
    keyword = MatchingKeyword(section, keywords);
  }
  if (keyword == nullptr) return;

  SetMemory(instance, *keyword);
  const std::optional<KorString> device = FirstGroup(section, kIdentifierPattern, kPcreMultiLine);
  SetFirstGroup(instance, "AdapterCompatibility", section, kDriverPattern, kPcreMultiLine);
  SetFirstGroup(instance, "VideoProcessor", section, kBoardPattern, kPcreMultiLine);
  if (device) SetFromScreens(instance, text, *device);
}

}  // namespace HardwareInventory
