// The scanners: each examines the current machine (kor/machine.h) and fills its classes of the
// document.
//
// A scanner logs one line when it begins. It answers false when it could not do its work; what it
// had written by then stays. Scanners keep nothing between calls, so two scans may run at once on
// documents of their own.

#pragma once

#include "korcore/obj_inv.h"

namespace HardwareInventory {

// "OS Performance", "Computer System", "Operating System", "BIOS", "Computer System Product".
bool ScanSystem(ObjInv& inventory);

// "Keyboard".
bool ScanKeyboard(ObjInv& inventory);

// "Logical Disk": mounted partitions.
bool ScanLogicalDisk(ObjInv& inventory);

// "Disk Drive": disks with at least one mounted partition.
bool ScanPhysicalDisk(ObjInv& inventory);

// "Network Adapter", "Network Adapter Configuration".
bool ScanNetworkAdapter(ObjInv& inventory);

// Linux offers no source for monitors: always false, and the document stays as it is.
bool ScanDesktopMonitor(ObjInv& inventory);

// "Video Controller".
bool ScanVideoController(ObjInv& inventory);

// "Pointing Device".
bool ScanPointingDevice(ObjInv& inventory);

// "Physical Memory".
bool ScanPhysicalMemory(ObjInv& inventory);

// "Processor": one instance per logical processor.
bool ScanProcessor(ObjInv& inventory);

}  // namespace HardwareInventory
