// Recordings: what can be read is written and read again as the same, and plays back in order.

#include "kor/recording.h"

#include "kor/redaction.h"
#include "support.h"

namespace {

KorRecording Shortened(const KorRecording& recording) {
  KorRecording shortened = recording;
  shortened.DropTrailingRepeats();
  return shortened;
}

void CheckRoundTrip(const KorRecording& recording) {
  const std::string text = recording.Format();
  KorRecording again;
  KorString error;
  fuzz::Require(again.Parse(text, error), "a written recording can be read");
  fuzz::Require(again == Shortened(recording), "Parse(Format(r)) = r");
  fuzz::Require(again.Format() == text, "equal recordings give equal files");
}

// A machine that notes what it passes on from a replay has made the same recording.
void CheckReplay(const KorRecording& recording) {
  KorReplayMachine replay(Shortened(recording));
  KorRecordingMachine noting(replay);
  for (const KorRecording::Run& run : recording.runs) {
    fuzz::Require(noting.RunCommand(run.command) == run.result, "a replay gives what was recorded");
  }
  for (const auto& [path, exists] : recording.files) {
    fuzz::Require(noting.FileExists(path) == exists, "a replay gives what was recorded");
  }
  if (recording.hostName) fuzz::Require(noting.HostName() == *recording.hostName, "the same host");
  if (recording.distributionName) {
    fuzz::Require(noting.DistributionName() == *recording.distributionName, "the same system");
  }
  fuzz::Require(replay.Missing().empty(), "nothing is missing in a replay");
  fuzz::Require(noting.Recording() == recording, "a recorded replay is the recording");
}

void CheckRedaction(const KorRecording& recording) {
  KorRecording redacted = recording;
  KorRedact(redacted);
  CheckRoundTrip(redacted);
  fuzz::Require(redacted.runs.size() == recording.runs.size(), "redaction keeps the runs");
  for (size_t run = 0; run < redacted.runs.size(); ++run) {
    const KorCommandResult& before = recording.runs[run].result;
    const KorCommandResult& after = redacted.runs[run].result;
    fuzz::Require(before.outcome == after.outcome && before.status == after.status,
                  "redaction keeps the outcomes");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::QuietLog log;
  fuzz::UseLog(log);

  KorRecording recording;
  KorString error;
  if (!recording.Parse(fuzz::View(data, size), error)) {
    fuzz::Require(recording == KorRecording() && !error.IsEmpty(), "a refusal has a reason");
    return 0;
  }
  CheckRoundTrip(recording);
  CheckReplay(recording);
  CheckRedaction(recording);
  return 0;
}
