// Periodic timers that invoke actions.

#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "kor/string.h"

struct ModuleTimerEntry {
  KorString name;
  KorString action;
  uint32_t seconds = 0;
  std::chrono::milliseconds untilNextTick{0};  // as ModuleTimerEntries() tells it; 0 when off
};

// Creates or replaces the entry of that name; its first tick comes one period from now. Period 0 is
// off. Ticks are delivered on the host's worker (korcore/host_worker.h) while the timers run; one
// that comes while the same entry's action is still queued or running is skipped. The trailing
// argument is ignored. Always true.
bool SetModuleTimerEntry(const KorString& name, const KorString& action, uint32_t seconds,
                         int unused = 0);

// The entries in the order of their creation.
std::vector<ModuleTimerEntry> ModuleTimerEntries();

// Starts and stops the delivery of ticks. Stopping forgets all entries.
void ModuleTimersStart();
void ModuleTimersStop();
