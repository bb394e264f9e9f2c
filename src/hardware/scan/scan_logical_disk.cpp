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

constexpr const char* kInMegabytes = "in units of 1,000,000 bytes, from blocks of 1000 bytes";

void SetSizes(ObjInst& instance, const Printed& line) {
  const uint64_t size = DiskMegabytes(line.text, kTotalBlocksPattern);
  const uint64_t free = DiskMegabytes(line.text, kFreeBlocksPattern);
  const KorTraceSource total = line.Searched(kTotalBlocksPattern, 0);
  const KorTraceSource available = line.Searched(kFreeBlocksPattern, 0);
  SetNumberUnlessZero(instance, "Size", size, {total}, kInMegabytes);
  SetNumberUnlessZero(instance, "FreeSpace", free, {available}, kInMegabytes);
  if (size == 0 || free == 0) {
    TellAbsent(instance, "Free Percentage", {total, available}, "Size or FreeSpace is not known");
    return;
  }
  KorString percentage;
  percentage.Printf("%gu", free * 100 / size);
  SetValue(instance, "Free Percentage", percentage, {total, available},
           "FreeSpace in percent of Size, truncated");
}

void AddPartition(ObjType& type, const KorString& line) {
  KorVector<KorString> groups;
  const Printed printed{kDiskListingCommand, line};
  const KorTraceSource source = printed.Searched(kPartitionPattern, 0);
  if (FindPcre(line, kPartitionPattern, groups) == 0) {
    TellTextSkipped(type, source);
    return;
  }
  const KorString disk = groups[0];
  const KorString partition = disk + groups[1];
  ObjInst* instance = EnsureInstance(type, partition);
  if (instance == nullptr) return;
  SetValue(*instance, "Name", "/dev/" + partition, {source}, "/dev/ and groups 1 and 2");
  SetValue(*instance, "Physical Disk", "/dev/" + disk, {source}, "/dev/ and group 1");
  SetValue(*instance, "Type", "Disk", {}, "the same for every partition");
  SetFirstGroup(*instance, "File System Name", printed, kFileSystemPattern, 0);
  SetSizes(*instance, printed);
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
