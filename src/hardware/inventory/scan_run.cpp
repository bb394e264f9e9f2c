#include "hardware/inventory/scan_run.h"

#include "hardware/filter/hw_filter.h"
#include "hardware/inventory/translation_file.h"
#include "hardware/scan/scanners.h"

namespace HardwareInventory {
namespace {

constexpr Scanner kScanners[] = {
    {ScanSystem, "Failed to scan system"},
    {ScanKeyboard, "Failed to scan keyboard"},
    {ScanLogicalDisk, "Failed to scan logical disk"},
    {ScanPhysicalDisk, "Failed to scan physical disk"},
    {ScanNetworkAdapter, "Failed to scan network adapter"},
    {ScanDesktopMonitor, "Failed to scan desktop monitor"},
    {ScanVideoController, "Failed to scan video controller"},
    {ScanPointingDevice, "Failed to scan pointing device"},
    {ScanPhysicalMemory, "Failed to scan physical memory"},
    {ScanProcessor, "Failed to scan processor"},
};

// The translation file may be replaced at any time by an assignment or a filter action.
bool LoadUnderLock(HwFilter& filter, const KorString& path) KOR_EXCLUDES(mutexInv) {
  const KorMutexLock lock(mutexInv);
  return filter.Load(path);
}

}  // namespace

std::span<const Scanner> Scanners() {
  return kScanners;
}

void RunScanner(const Scanner& scanner, ObjInv& document) {
  if (!scanner.scan(document)) debugInv.TraceWithNL("%s", scanner.failure);
}

bool LoadInventoryFilter(HwFilter& filter) {
  KorString path;
  if (!GetTranslationFile(path)) {
    debugInv.ErrorWithNL("Failed to get the translation file");
    return false;
  }
  debugInv.PrintWithNL("Using translation file '%S'", path);
  if (!LoadUnderLock(filter, path)) {
    debugInv.ErrorWithNL("Failed to load the inventory filter");
    return false;
  }
  return true;
}

}  // namespace HardwareInventory
