// What the last inventory run learned of its machine, and the rules that it used: kept in the home
// so that its values can be explained afterwards.

#pragma once

#include <string>

#include "agent/home.h"
#include "agent/result.h"
#include "kor/machine.h"
#include "kor/mutex.h"
#include "kor/recording.h"
#include "kor/string.h"

namespace agent {

// The machine that scans examine while it lives: the one that was current before, with notes. What
// is asked outside of a run, or on other threads beside one, is not noted. A run that ends well
// replaces the notes of the one before.
class RunEvidence : public KorMachine {
 public:
  // Without `keeps` nothing is noted, and the next run removes what an earlier one left.
  RunEvidence(const Home& home, bool keeps);
  ~RunEvidence() override;
  RunEvidence(const RunEvidence&) = delete;
  RunEvidence& operator=(const RunEvidence&) = delete;

  void SetKeeping(bool keeps) KOR_EXCLUDES(mutex);

  KorCommandResult RunCommand(const KorString& command) override KOR_EXCLUDES(mutex);
  bool FileExists(const KorString& path) override KOR_EXCLUDES(mutex);
  KorString HostName() override KOR_EXCLUDES(mutex);
  KorString DistributionName() override KOR_EXCLUDES(mutex);
  void RunBegins(const KorString& translationFile) override KOR_EXCLUDES(mutex);
  void RunIsStored() override KOR_EXCLUDES(mutex);

 private:
  // The notes of this thread's run; null when there are none to be made.
  KorRecording* Notes() KOR_REQUIRES(mutex);

  KorMachine* const before;
  KorMachine& inner;
  const KorString file;
  KorMutex mutex;
  bool isKeeping KOR_GUARDED_BY(mutex);
  KorRecording notes KOR_GUARDED_BY(mutex);
};

struct KeptRun {
  KorString recordingFile;
  KorString translationFile;  // where it was
  std::string rules;          // what was in it
};

// A failure says what to do to have one.
Result<KeptRun> ReadKeptRun(const Home& home);

}  // namespace agent
