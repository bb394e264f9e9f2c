#include "hardware/scan/x_configuration.h"

#include <optional>
#include <span>

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

constexpr const char* kNoDevice =
    "no Device section has a word of the adapter's name as its driver, vendor or board";

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
  const KorString command = "grep Memory /var/log/Xorg.0.log* | grep -i " + keyword;
  const KorString log = OutputOf(command);
  const KorTraceSource source =
      Printed{command.View(), log}.Searched(kMemoryPattern, kPcreCaseless);
  const std::optional<KorString> kilobytes = FirstGroup(log, kMemoryPattern, kPcreCaseless);
  if (!kilobytes) {
    TellAbsent(instance, "AdapterRAM", {source});
    return;
  }
  KorString megabytes;
  megabytes.Printf("%d", kilobytes->ToInt() >> 10);
  SetValue(instance, "AdapterRAM", megabytes, {source}, "group 1 in units of 1024 kB, truncated");
}

constexpr const char* kOfDevice[] = {"AdapterRAM", "AdapterCompatibility", "VideoProcessor"};
constexpr const char* kOfScreen[] = {"CurrentBitsPerPixel", "CurrentHorizontalResolution",
                                     "CurrentRefreshRate", "CurrentVerticalResolution",
                                     "VideoModeDescription"};
constexpr std::span kOfMode = std::span(kOfScreen).subspan(1);

void TellAllAbsent(const ObjInst& instance, std::span<const char* const> attributes,
                   const KorTraceSource& source, const char* why) {
  for (const char* attribute : attributes) TellAbsent(instance, attribute, {source}, why);
}

void SetMode(ObjInst& instance, const KorString& section) {
  const KorTraceSource source =
      Printed{kConfigurationCommand, section}.Searched(kModePattern, kPcreMultiLine);
  KorVector<KorString> mode;
  if (FindPcreSimple(section.CStr(), section.GetLength(), kModePattern, kPcreMultiLine, mode) ==
      0) {
    TellAllAbsent(instance, kOfMode, source, nullptr);
    return;
  }
  SetValue(instance, "CurrentHorizontalResolution", mode[1], {source}, "group 2");
  SetValue(instance, "CurrentRefreshRate", mode[3], {source}, "group 4");
  SetValue(instance, "CurrentVerticalResolution", mode[2], {source}, "group 3");
  SetValue(instance, "VideoModeDescription", mode[0], {source});
}

// Every Screen section of the device counts, so the last one wins.
void SetFromScreens(ObjInst& instance, const KorString& text, const KorString& device) {
  const KorString devicePattern = R"re(^\s*Device\s+")re" + device + "\"";
  TellAllAbsent(instance, kOfScreen,
                Printed{kConfigurationCommand, text}.Searched(devicePattern.View(), kPcreMultiLine),
                "no Screen section is the device's");
  ForEachPiece(text, "EndSection", [&](const KorString& section) {
    if (!Contains(section, kScreenPattern, kPcreMultiLine)) return;
    if (!Contains(section, devicePattern, kPcreMultiLine)) return;
    SetFirstGroup(instance, "CurrentBitsPerPixel", {kConfigurationCommand, section}, kDepthPattern,
                  kPcreMultiLine);
    SetMode(instance, section);
  });
}

}  // namespace

void SetFromXConfiguration(ObjInst& instance, const KorVector<KorString>& keywords) {
  const KorString text = OutputOf(kConfigurationCommand);
  StringTokeniser sections(text, "EndSection");
  KorString section;
  const KorString* keyword = nullptr;
  while (keyword == nullptr && sections.GetNextToken(&section) != 0) {
    if (!Contains(section, kDevicePattern, kPcreMultiLine)) continue;
    keyword = MatchingKeyword(section, keywords);
  }
  if (keyword == nullptr) {
    const KorTraceSource source =
        Printed{kConfigurationCommand, text}.Searched(kDevicePattern, kPcreMultiLine);
    TellAllAbsent(instance, kOfDevice, source, kNoDevice);
    TellAllAbsent(instance, kOfScreen, source, kNoDevice);
    return;
  }

  const Printed printed{kConfigurationCommand, section};
  SetMemory(instance, *keyword);
  const std::optional<KorString> device = FirstGroup(section, kIdentifierPattern, kPcreMultiLine);
  SetFirstGroup(instance, "AdapterCompatibility", printed, kDriverPattern, kPcreMultiLine);
  SetFirstGroup(instance, "VideoProcessor", printed, kBoardPattern, kPcreMultiLine);
  if (device) {
    SetFromScreens(instance, text, *device);
  } else {
    TellAllAbsent(instance, kOfScreen, printed.Searched(kIdentifierPattern, kPcreMultiLine),
                  "the Device section has no Identifier");
  }
}

}  // namespace HardwareInventory
