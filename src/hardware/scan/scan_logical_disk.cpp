#include "hardware/module/globals.h"
#include "hardware/scan/disk_listing.h"
#include "hardware/scan/scanners.h"
#include "hardware/scan/toolkit.h"
#include "kor/command.h"

namespace HardwareInventory {

namespace {

constexpr AttributeRow kAttributes[] = {
    {"Name", kString},
    {"Physical Disk", kString, nullptr, "The physical disk on which the partition is located"},
    {"File System Name", kString, nullptr, "The name of the file system on the disk"},
    {"Size", kInteger},
    {"FreeSpace", kInteger},
    {"Free Percentage", kInteger, "%", "The available capacity expressed as percentage"},
    {"Type", kString, nullptr, "String value identifying the type of the media"},
};

// The class of letters is as servers have always been told it, the "|" included.
constexpr const char* kPartitionPattern = "^/dev/([h|s|e|x]d[a-z])([0-9]+)";
constexpr const char* kFileSystemPattern = R"re(^\S+\s+(\S+)\s+)re";

void SetSizes(ObjInst& instance, const KorString& line) {
  const uint64_t size = DiskMegabytes(line, kTotalBlocksPattern);
  const uint64_t free = DiskMegabytes(line, kFreeBlocksPattern);
  SetNumberUnlessZero(instance, "Size", size);
  SetNumberUnlessZero(instance, "FreeSpace", free);
  if (size == 0 || free == 0) return;
  KorString percentage;
  percentage.Printf("%gu", free * 100 / size);
  SetValue(instance, "Free Percentage", percentage);
}

void AddPartition(ObjType& type, const KorString& line) {
  KorVector<KorString> groups;
  if (FindPcre(line, kPartitionPattern, groups, 0, 1, 1) == 0) return;
  const KorString disk = groups[0];
  const KorString partition = disk + groups[1];
  ObjInst* instance = type.Ensure(partition);
  if (instance == nullptr) return;
  SetValue(*instance, "Name", "/dev/" + partition);
  SetValue(*instance, "Physical Disk", "/dev/" + disk);
  SetValue(*instance, "Type", "Disk");
  SetFirstGroup(*instance, "File System Name", line, kFileSystemPattern, 0);
  SetSizes(*instance, line);
}

}  // namespace

bool ScanLogicalDisk(ObjInv& inventory) {
  debugInv.PrintWithNL("Scanning logical disk");
  ObjType* type = EnsureClass(inventory, "Logical Disk", kAttributes);
  if (type == nullptr) return false;

  KorString output;
  if (!CommandToString(kDiskListingCommand, output)) return false;
  ForEachDiskLine(output, [type](const KorString& line) { AddPartition(*type, line); });
  return true;
}

}  // namespace HardwareInventory
