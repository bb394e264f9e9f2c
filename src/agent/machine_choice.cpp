#include "agent/machine_choice.h"

#include <algorithm>
#include <vector>

#include "agent/terminal_log.h"
#include "kor/machine.h"
#include "kor/redaction.h"

namespace agent {
namespace {

// A command that was not recorded is one that the machine does not have: the scans then say nothing
// of it, and it is named once, at the end.
class ReplayedMachine : public KorReplayMachine {
 public:
  using KorReplayMachine::KorReplayMachine;

  KorCommandResult RunCommand(const KorString& command) override {
    constexpr int kNotFound = 127;
    KorCommandResult result = KorReplayMachine::RunCommand(command);
    const std::vector<KorString> notRecorded = Missing();
    const KorString name = KorString("command ") + command;
    if (std::find(notRecorded.begin(), notRecorded.end(), name) != notRecorded.end()) {
      result.outcome = KorCommandResult::Outcome::kExited;
      result.status = kNotFound;
    }
    return result;
  }
};

}  // namespace

Result<std::unique_ptr<MachineChoice>> MachineChoice::Create(const InventoryOptions& options) {
  std::unique_ptr<MachineChoice> choice(new MachineChoice(options));
  if (!options.recordFile.empty()) {
    choice->recorder = std::make_unique<KorRecordingMachine>(KorMachine::Current());
    KorMachine::SetCurrent(choice->recorder.get());
  } else if (!options.replayFile.empty()) {
    KorRecording recording;
    KorString error;
    if (!recording.Load(KorString(options.replayFile), error)) {
      return Failure{KorString("the recording cannot be played back: ") + error};
    }
    choice->player = std::make_unique<ReplayedMachine>(recording);
    KorMachine::SetCurrent(choice->player.get());
  }
  return choice;
}

MachineChoice::~MachineChoice() {
  KorMachine::SetCurrent(nullptr);
}

Result<void> MachineChoice::Finish() {
  if (player != nullptr) {
    for (const KorString& what : player->Missing()) Complain(KorString("not recorded: ") + what);
  }
  if (recorder == nullptr) return {};
  KorRecording recording = recorder->Recording();
  if (options.redact) KorRedact(recording);
  KorString error;
  if (recording.Save(KorString(options.recordFile), error)) return {};
  return Failure{KorString("the recording cannot be written: ") + error};
}

}  // namespace agent
