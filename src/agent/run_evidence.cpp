#include "agent/run_evidence.h"

#include <sys/stat.h>

#include <cerrno>
#include <string_view>
#include <utility>

#include "kor/debug.h"
#include "kor/file.h"
#include "kor/xml_sax_parser.h"

namespace agent {
namespace {

constexpr const char* kFile = "kor-agent-last-run.machine";

// The rules stand in the recording as the output of a command line that does nothing.
constexpr std::string_view kRulesCommand = "# translation file ";

// Whose run this thread is; a run that fails ends with its thread.
thread_local const RunEvidence* ofThisThread = nullptr;

KorMachine* MachineBefore() {
  KorMachine* const before = KorMachine::SetCurrent(nullptr);
  KorMachine::SetCurrent(before);
  return before;
}

}  // namespace

RunEvidence::RunEvidence(const Home& home, bool keeps)
    : before(MachineBefore()),
      inner(KorMachine::Current()),
      file(home.DataDir() + kFile),
      isKeeping(keeps) {
  KorMachine::SetCurrent(this);
}

RunEvidence::~RunEvidence() {
  KorMachine::SetCurrent(before);
}

void RunEvidence::SetKeeping(bool keeps) {
  const KorMutexLock lock(mutex);
  isKeeping = keeps;
}

KorRecording* RunEvidence::Notes() {
  return isKeeping && ofThisThread == this ? &notes : nullptr;
}

KorCommandResult RunEvidence::RunCommand(const KorString& command) {
  KorCommandResult result = inner.RunCommand(command);
  const KorMutexLock lock(mutex);
  if (KorRecording* const noted = Notes()) noted->runs.push_back({command, result});
  return result;
}

bool RunEvidence::FileExists(const KorString& path) {
  const bool exists = inner.FileExists(path);
  const KorMutexLock lock(mutex);
  if (KorRecording* const noted = Notes()) noted->files[path] = exists;
  return exists;
}

KorString RunEvidence::HostName() {
  KorString name = inner.HostName();
  const KorMutexLock lock(mutex);
  if (KorRecording* const noted = Notes()) noted->hostName = name;
  return name;
}

KorString RunEvidence::DistributionName() {
  KorString name = inner.DistributionName();
  const KorMutexLock lock(mutex);
  if (KorRecording* const noted = Notes()) noted->distributionName = name;
  return name;
}

void RunEvidence::RunBegins(const KorString& translationFile) {
  const KorMutexLock lock(mutex);
  ofThisThread = this;
  notes = KorRecording();
  if (!isKeeping) {
    FileDelete(file, 0);
    return;
  }
  KorRecording::Run rules;
  rules.command = KorString(kRulesCommand) + translationFile;
  rules.result.outcome = KorCommandResult::Outcome::kExited;
  KorString error;
  if (FileReadAll(translationFile, rules.result.output, error, kXmlSizeLimit)) {
    notes.runs.push_back(std::move(rules));
  } else {
    KorFrameworkLog().WarningWithNL(
        "The rules of the run cannot be kept for 'kor-agent explain': %S", error);
  }
}

void RunEvidence::RunIsStored() {
  KorRecording stored;
  {
    const KorMutexLock lock(mutex);
    if (Notes() == nullptr) return;
    stored = std::exchange(notes, KorRecording());
    ofThisThread = nullptr;
  }
  KorString error;
  if (stored.Save(file, error)) return;
  KorFrameworkLog().WarningWithNL(
      "What the run has learned cannot be kept for 'kor-agent explain': %S", error);
}

Result<KeptRun> ReadKeptRun(const Home& home) {
  KeptRun kept;
  kept.recordingFile = home.DataDir() + kFile;
  struct stat status;
  if (stat(kept.recordingFile.CStr(), &status) != 0 && errno == ENOENT) {
    return Failure{"what the last run learned has not been kept in the home '" + home.path +
                   "' (KeepEvidence); run 'kor-agent inventory' once"};
  }
  KorRecording recording;
  KorString error;
  if (!recording.Load(kept.recordingFile, error)) {
    return Failure{"what the last run learned cannot be read; run 'kor-agent inventory' once: " +
                   error};
  }
  for (KorRecording::Run& run : recording.runs) {
    if (!run.command.StartsWith(KorString(kRulesCommand), true)) continue;
    kept.translationFile = KorString(run.command.View().substr(kRulesCommand.size()));
    kept.rules = std::move(run.result.output);
    return kept;
  }
  return Failure{"'" + kept.recordingFile +
                 "' does not hold the rules of its run; run 'kor-agent inventory' once"};
}

}  // namespace agent
