#include <vector>

#include "hardware/module/globals.h"
#include "hardware/scan/disk_listing.h"
#include "hardware/scan/scanners.h"
#include "hardware/scan/toolkit.h"
#include "kor/command.h"

namespace HardwareInventory {

namespace {

constexpr AttributeRow kAttributes[] = {
    {"Model", kString},
    {"Size", kInteger},
    {"Partitions", kInteger},
    {"InterfaceType", kString},
};

// The class of letters is that of the partitions, the "|" included.
constexpr const char* kDiskPattern = "^/dev/([h|s|e|x]d[a-z])[0-9]+";

struct InterfaceWord {
  const char* prefix;
  const char* word;
};
constexpr InterfaceWord kInterfaceWords[] = {
    {"hd", "IDE"},
    {"sd", "SCSI"},
    {"ed", "ESDI"},
    {"xd", "XT"},
};

struct Disk {
  KorString name;
  unsigned int partitions = 0;
  uint64_t size = 0;
  KorString lines;  // of the listing, kept only for who asks where the values come from
};

Disk& DiskNamed(std::vector<Disk>& disks, const KorString& name) {
  for (Disk& disk : disks) {
    if (disk.name.IsEqualTo(name, false)) return disk;
  }
  disks.emplace_back().name = name;
  return disks.back();
}

void CountPartition(const ObjType& type, std::vector<Disk>& disks, const KorString& line) {
  KorVector<KorString> groups;
  if (FindPcre(line, kDiskPattern, groups) == 0) {
    TellTextSkipped(type, Printed{kDiskListingCommand, line}.Searched(kDiskPattern, 0));
    return;
  }
  Disk& disk = DiskNamed(disks, groups[0]);
  ++disk.partitions;
  disk.size += DiskMegabytes(line, kTotalBlocksPattern);
  if (KorTrace::Current() != nullptr) disk.lines += line + "\n";
}

void AddDisk(ObjType& type, const Disk& disk) {
  ObjInst* instance = EnsureInstance(type, disk.name);
  if (instance == nullptr) return;
  const Printed printed{kDiskListingCommand, disk.lines};
  const KorTraceSource name = printed.SearchedThroughout(kDiskPattern);
  SetValue(*instance, "Model", "/dev/" + disk.name, {name}, "/dev/ and group 1");
  SetNumberUnlessZero(*instance, "Size", disk.size,
                      {printed.SearchedThroughout(kTotalBlocksPattern)},
                      "the sum of the disk's partitions, each in units of 1,000,000 bytes");
  KorString partitions;
  partitions.Printf("%u", disk.partitions);
  SetValue(*instance, "Partitions", partitions, {name}, "how many lines name the disk");
  for (const InterfaceWord& row : kInterfaceWords) {
    if (!disk.name.StartsWith(row.prefix, true)) continue;
    SetValue(*instance, "InterfaceType", row.word, {name}, "told by the first letters of group 1");
    return;
  }
  TellAbsent(*instance, "InterfaceType", {name},
             "the first letters of group 1 are of no known kind");
}

}  // namespace

bool ScanPhysicalDisk(ObjInv& inventory) {
  debugInv.PrintWithNL("Scanning disk drive");
  ObjType* type = EnsureClass(inventory, "Disk Drive", kAttributes);
  if (type == nullptr) return false;

  KorString output;
  if (!CommandToString(kDiskListingCommand, output)) return false;
  std::vector<Disk> disks;
  ForEachDiskLine(output, [&](const KorString& line) { CountPartition(*type, disks, line); });
  for (const Disk& disk : disks) AddDisk(*type, disk);
  return true;
}

}  // namespace HardwareInventory
