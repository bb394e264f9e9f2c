// The translation file as the server assigns it.

#pragma once

#include <cstdint>

#include "hardware/module/globals.h"
#include "kor/container.h"
#include "kor/string.h"
#include "korcore/assignment.h"

namespace HardwareInventory {

// Stores the assigned content as the configured translation file and reports the outcome to the
// server (docs/assignments.md). The content is not looked at: a damaged document shows when the
// filter is next loaded.
//
// Every operation answers 44003, success and failure alike; the server reads the status report, not
// the code.
class HardwareAssignment : public KorAssignment {
 protected:
  int64_t Assign() override KOR_EXCLUDES(mutexInv);
  int64_t Update() override KOR_EXCLUDES(mutexInv);
  // Withdrawing leaves the file in place.
  int64_t Delete() override;

 private:
  int64_t AssignAndUpdate(const char* okStatus) KOR_EXCLUDES(mutexInv);
  int64_t Report(const char* status, const KorString& identifier);
};

// The action "HardwareAssign": always 0, also for what is not an assignment for this module.
uint32_t ActionHandler_HardwareAssign(KorContainer* parameters) KOR_EXCLUDES(mutexInv);

}  // namespace HardwareInventory
