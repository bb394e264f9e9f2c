// What an inventory run and an audit have in common: the filter and the scanners.

#pragma once

#include "hardware/module/globals.h"

#include <span>

class ObjInv;

namespace HardwareInventory {

class HwFilter;

struct Scanner {
  bool (*scan)(ObjInv& document);
  const char* failure;  // the message when it fails
};

// All scanners, in the order in which they run.
std::span<const Scanner> Scanners();

// Runs one scanner; a failure is traced and changes nothing for the others.
void RunScanner(const Scanner& scanner, ObjInv& document);

// Finds the translation file in use and loads it. False, with the reason logged, when there is none
// or it cannot be loaded.
bool LoadInventoryFilter(HwFilter& filter) KOR_EXCLUDES(mutexInv);

}  // namespace HardwareInventory
