#include <array>

#include "hardware/module/globals.h"
#include "hardware/scan/scanners.h"
#include "hardware/scan/toolkit.h"
#include "kor/command.h"
#include "kor/system_info.h"

namespace HardwareInventory {

namespace {

constexpr AttributeRow kPerformanceAttributes[] = {{"SystemUpTime", kInteger}};

constexpr AttributeRow kComputerAttributes[] = {{"Name", kString}};

constexpr AttributeRow kOsAttributes[] = {{"Caption", kString}, {"CSDVersion", kString}};

constexpr AttributeRow kBiosAttributes[] = {
    {"Manufacturer", kString},        {"ReleaseDate", kString},
    {"SerialNumber", kString},        {"SMBIOSBIOSVersion", kString},
    {"SMBIOSMajorVersion", kInteger}, {"SMBIOSMinorVersion", kInteger},
    {"SMBIOSPresent", kString},       {"Version", kString},
};

constexpr AttributeRow kProductAttributes[] = {
    {"IdentifyingNumber", kString}, {"Name", kString}, {"UUID", kString}, {"Vendor", kString},
    {"Version", kString},
};

constexpr const char* kUpTimeCommand = "cat /proc/uptime";
constexpr const char* kReleaseCommand = "/bin/uname -r";

constexpr const char* kUpTimePattern = R"re(^\s*([0-9]+))re";
constexpr const char* kSmbiosPattern = "SMBIOS ([0-9]+)[.]([0-9]+) present";
constexpr const char* kRevisionPattern = R"re(\s+BIOS Revision:\s+([-.0-9a-zA-Z]+))re";

// The serial number is the system's: boards rarely have one of their own that anybody looks for.
constexpr std::array kBiosCommands = {
    "dmidecode -qs bios-vendor",
    "dmidecode -qs bios-release-date",
    "dmidecode -qs system-serial-number",
    "dmidecode -qs bios-version",
    "dmidecode -t 0",
};

// In the order of the attributes.
constexpr std::array kProductCommands = {
    "dmidecode -qs system-serial-number", "dmidecode -qs system-product-name",
    "dmidecode -qs system-uuid",          "dmidecode -qs system-manufacturer",
    "dmidecode -qs system-version",
};

// Runs the commands until the first that fails; false when one did.
template <size_t N>
bool RunAll(const std::array<const char*, N>& commands, std::array<KorString, N>& outputs) {
  for (size_t i = 0; i < N; ++i) {
    if (!CommandToString(commands[i], outputs[i])) return false;
  }
  return true;
}

bool ScanPerformance(ObjInv& inventory) {
  ObjType* type = EnsureClass(inventory, "OS Performance", kPerformanceAttributes);
  if (type == nullptr) return false;
  KorString output;
  KorVector<KorString> groups;
  if (!CommandToString(kUpTimeCommand, output)) return true;
  const KorTraceSource source = Printed{kUpTimeCommand, output}.Searched(kUpTimePattern, 0);
  if (!output.Match(kUpTimePattern, groups, 0)) {
    TellTextSkipped(*type, source);
    return true;
  }
  if (ObjInst* instance = EnsureInstance(*type, "0")) {
    SetValue(*instance, "SystemUpTime", groups[0], {source});
  }
  return true;
}

bool ScanComputer(ObjInv& inventory) {
  ObjType* type = EnsureClass(inventory, "Computer System", kComputerAttributes);
  if (type == nullptr) return false;
  if (ObjInst* instance = EnsureInstance(*type, "0")) {
    SetValue(*instance, "Name", NetworkSocket::GetLocalHostName(), {},
             "the host name, as gethostname(2) gives it");
  }
  return true;
}

bool ScanOperatingSystem(ObjInv& inventory) {
  ObjType* type = EnsureClass(inventory, "Operating System", kOsAttributes);
  if (type == nullptr) return false;
  ObjInst* instance = EnsureInstance(*type, "0");
  if (instance == nullptr) return true;
  SetValue(*instance, "Caption", LinuxOSInfos().GetDistributionName(), {},
           "PRETTY_NAME of /etc/os-release, else NAME");
  KorString release;
  const bool succeeded = CommandToString(kReleaseCommand, release);
  const KorTraceSource source = Printed{kReleaseCommand, release}.Whole();
  if (!succeeded) {
    TellAbsent(*instance, "CSDVersion", {source}, "the command failed");
    return true;
  }
  release.Trim();
  SetValue(*instance, "CSDVersion", release, {Printed{kReleaseCommand, release}.Whole()});
  return true;
}

bool ScanBios(ObjInv& inventory) {
  ObjType* type = EnsureClass(inventory, "BIOS", kBiosAttributes);
  if (type == nullptr) return false;
  std::array<KorString, kBiosCommands.size()> outputs;
  if (!RunAll(kBiosCommands, outputs)) return false;
  const auto& [vendor, releaseDate, serialNumber, version, table] = outputs;

  KorVector<KorString> smbios;
  const bool present =
      FindPcreSimple(table.CStr(), table.GetLength(), kSmbiosPattern, kAnyLine, smbios) != 0;
  const std::optional<KorString> revision = FirstGroup(table, kRevisionPattern, kAnyLine);

  ObjInst* instance = EnsureInstance(*type, "0");
  if (instance == nullptr) return true;
  const auto whole = [&outputs](size_t at) {
    return Printed{kBiosCommands[at], outputs[at]}.Whole();
  };
  SetValue(*instance, "Manufacturer", vendor, {whole(0)});
  SetValue(*instance, "ReleaseDate", releaseDate + " 00:00:00", {whole(1)},
           "the whole output and \" 00:00:00\"");
  SetValue(*instance, "SerialNumber", serialNumber, {whole(2)});
  SetValue(*instance, "SMBIOSBIOSVersion", version, {whole(3)});
  // Unlike other values, these are there even when nothing was found.
  const Printed printed{kBiosCommands.back(), table};
  const KorTraceSource smbiosSource = printed.Searched(kSmbiosPattern, kAnyLine);
  SetValue(*instance, "SMBIOSMajorVersion", present ? smbios[0] : "", {smbiosSource},
           present ? nullptr : kEmptyWithoutMatch);
  SetValue(*instance, "SMBIOSMinorVersion", present ? smbios[1] : "", {smbiosSource},
           present ? "group 2" : kEmptyWithoutMatch);
  SetValue(*instance, "SMBIOSPresent", present ? "TRUE" : "FALSE", {smbiosSource},
           "TRUE when the pattern is found, else FALSE");
  SetValue(*instance, "Version", revision.value_or(""),
           {printed.Searched(kRevisionPattern, kAnyLine)}, revision ? nullptr : kEmptyWithoutMatch);
  return true;
}

bool ScanProduct(ObjInv& inventory) {
  ObjType* type = EnsureClass(inventory, "Computer System Product", kProductAttributes);
  if (type == nullptr) return false;
  std::array<KorString, kProductCommands.size()> outputs;
  if (!RunAll(kProductCommands, outputs)) return false;
  ObjInst* instance = EnsureInstance(*type, "0");
  if (instance == nullptr) return true;
  for (size_t i = 0; i < outputs.size(); ++i) {
    SetValue(*instance, kProductAttributes[i].name, outputs[i],
             {Printed{kProductCommands[i], outputs[i]}.Whole()});
  }
  return true;
}

}  // namespace

bool ScanSystem(ObjInv& inventory) {
  debugInv.PrintWithNL("Scanning system");
  const bool hasBios = ScanPerformance(inventory) && ScanComputer(inventory) &&
                       ScanOperatingSystem(inventory) && ScanBios(inventory);
  if (!hasBios) TellClassSkipped("Computer System Product", "it is left out when BIOS fails");
  return hasBios && ScanProduct(inventory);
}

}  // namespace HardwareInventory
