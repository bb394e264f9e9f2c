#include "hardware/module/globals.h"
#include "hardware/scan/scanners.h"
#include "hardware/scan/toolkit.h"
#include "hardware/scan/x_configuration.h"

namespace HardwareInventory {

namespace {

constexpr AttributeRow kAttributes[] = {
    {"AdapterCompatibility", kString},
    {"AdapterRAM", kInteger},
    {"Availability", kString},
    {"CurrentBitsPerPixel", kInteger},
    {"CurrentHorizontalResolution", kInteger},
    {"CurrentRefreshRate", kInteger},
    {"CurrentVerticalResolution", kInteger},
    {"Description", kString},
    {"DriverDate", kString},
    {"DriverVersion", kString},
    {"Name", kString},
    {"VideoArchitecture", kString},
    {"VideoModeDescription", kString},
    {"VideoProcessor", kString},
};

constexpr const char* kListingCommand = R"sh(lspci | grep "VGA\|Video")sh";
constexpr const char* kServerCommand = R"sh(pgrep -f "bin/X |bin/X$")sh";

constexpr const char* kNamePattern = "([^(]+)";
constexpr const char* kKeywordPattern = "([0-9a-z]+)";
constexpr const char* kNvidiaVersionPattern =
    R"re(([0-9]+[.][0-9]+)\s+((?:Mon|Tue|Wed|Thu|Fri|Sat|Sun)\s+)re"
    R"re((?:Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec)\s+)re"
    R"re([0-9]+\s+[0-9][0-9]:[0-9][0-9]:[0-9][0-9]\s+[a-z]+\s+[0-9]{4})\n)re";

constexpr const char* kOnlyNvidia = "drivers are looked for only where the description has nvidia";

constexpr const char* kNvidiaCommand = "cat /proc/driver/nvidia/version";

// One line of the listing, such as "01:00.0 VGA compatible controller: Some Board (rev a2)".
struct Adapter {
  KorString deviceClass;
  KorString description;
  KorString name;
};

Adapter ReadListingLine(const KorString& line) {
  Adapter adapter;
  StringTokeniser fields(line, ":");
  fields.NextToken();
  adapter.deviceClass = fields.NextToken();
  adapter.description = fields.NextToken();
  adapter.description.Trim();
  adapter.name = FirstGroup(adapter.description, kNamePattern, kPcreCaseless).value_or("");
  adapter.name.Trim();
  return adapter;
}

// The words of the name without what is around their letters and digits.
KorVector<KorString> KeywordsOf(const KorString& name) {
  KorVector<KorString> keywords;
  ForEachPiece(name, " ", [&keywords](const KorString& word) {
    if (auto keyword = FirstGroup(word, kKeywordPattern, kPcreCaseless)) keywords.Add(*keyword);
  });
  return keywords;
}

// Without a readable version both values are there and empty.
void SetNvidiaDriver(ObjInst& instance) {
  const KorString text = OutputOf(kNvidiaCommand);
  KorVector<KorString> groups;
  const bool found = FindPcreSimple(text.CStr(), text.GetLength(), kNvidiaVersionPattern,
                                    kPcreCaseless, groups) != 0;
  const KorTraceSource source =
      Printed{kNvidiaCommand, text}.Searched(kNvidiaVersionPattern, kPcreCaseless);
  SetValue(instance, "DriverDate", found ? groups[1] : "", {source},
           found ? "group 2" : kEmptyWithoutMatch);
  SetValue(instance, "DriverVersion", found ? groups[0] : "", {source},
           found ? nullptr : kEmptyWithoutMatch);
}

void SetArchitecture(ObjInst& instance, const KorString& deviceClass) {
  // Made in any case: an adapter of no known architecture has the attribute, empty.
  ObjInstAttr* architecture = instance.Ensure("VideoArchitecture");
  if (architecture == nullptr) return;
  if (MatchPcreSimple(deviceClass.CStr(), deviceClass.GetLength(), "VGA", 0)) {
    architecture->SetValue("VGA");
  }
  TellValue(instance, "VideoArchitecture", architecture->GetValue(),
            {Printed{kListingCommand, deviceClass}.Searched("VGA", 0)},
            "VGA when the device's class says so, else empty");
}

void SetAvailability(ObjInst& instance) {
  const KorString processes = OutputOf(kServerCommand);
  SetValue(instance, "Availability", processes.IsEmpty() ? "Unknown" : "Enabled",
           {Printed{kServerCommand, processes}.Whole()},
           "Enabled when an X server is running, else Unknown");
}

void SetAdapter(ObjInst& instance, const KorString& line) {
  const Adapter adapter = ReadListingLine(line);
  SetFromXConfiguration(instance, KeywordsOf(adapter.name));
  SetValue(instance, "Description", adapter.description, {Printed{kListingCommand, line}.Whole()},
           "between the second and the third colon, without the blanks around it");
  SetValue(instance, "Name", adapter.name,
           {Printed{kListingCommand, adapter.description}.Searched(kNamePattern, kPcreCaseless)},
           "group 1 without the blanks around it; empty without a match");
  SetArchitecture(instance, adapter.deviceClass);
  SetAvailability(instance);
  const KorString& description = adapter.description;
  if (MatchPcreSimple(description.CStr(), description.GetLength(), "nvidia", kPcreCaseless)) {
    SetNvidiaDriver(instance);
    return;
  }
  const KorTraceSource source =
      Printed{kListingCommand, description}.Searched("nvidia", kPcreCaseless);
  TellAbsent(instance, "DriverDate", {source}, kOnlyNvidia);
  TellAbsent(instance, "DriverVersion", {source}, kOnlyNvidia);
}

}  // namespace

bool ScanVideoController(ObjInv& inventory) {
  debugInv.PrintWithNL("Scanning video controller");
  ObjType* type = EnsureClass(inventory, "Video Controller", kAttributes);
  if (type == nullptr) {
    debugInv.PrintWithNL("Ensure video controller fails");
    return false;
  }

  unsigned int counter = 0;
  ForEachPiece(OutputOf(kListingCommand), "\n", [type, &counter](const KorString& line) {
    KorString name;
    name.Printf("%u", counter++);
    if (ObjInst* instance = EnsureInstance(*type, name)) SetAdapter(*instance, line);
  });
  return true;
}

}  // namespace HardwareInventory
