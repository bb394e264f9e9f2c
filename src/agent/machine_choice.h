// Which machine a run examines: this one, this one with a recording made of it, or a recorded one.

#pragma once

#include <memory>

#include "agent/command_line.h"
#include "agent/result.h"
#include "kor/recording.h"

namespace agent {

// The machine that scans examine (KorMachine::Current()) while the object lives. Make it before the
// modules are loaded and let it go after they are gone.
class MachineChoice {
 public:
  static Result<std::unique_ptr<MachineChoice>> Create(const InventoryOptions& options);
  ~MachineChoice();
  MachineChoice(const MachineChoice&) = delete;
  MachineChoice& operator=(const MachineChoice&) = delete;

  // Writes the recording, if one was asked for; names on standard error what a replay asked for and
  // did not find.
  Result<void> Finish();

 private:
  explicit MachineChoice(const InventoryOptions& inventoryOptions) : options(inventoryOptions) {}

  const InventoryOptions options;
  std::unique_ptr<KorRecordingMachine> recorder;
  std::unique_ptr<KorReplayMachine> player;
};

}  // namespace agent
