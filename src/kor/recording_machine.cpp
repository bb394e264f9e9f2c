#include <algorithm>
#include <utility>

#include "kor/recording.h"

KorRecordingMachine::KorRecordingMachine(KorMachine& innerMachine) : inner(innerMachine) {}

KorCommandResult KorRecordingMachine::RunCommand(const KorString& command) {
  KorCommandResult result = inner.RunCommand(command);
  KorMutexLock lock(mutex);
  recording.runs.push_back({command, result});
  return result;
}

bool KorRecordingMachine::FileExists(const KorString& path) {
  const bool exists = inner.FileExists(path);
  KorMutexLock lock(mutex);
  recording.files[path] = exists;
  return exists;
}

KorString KorRecordingMachine::HostName() {
  KorString name = inner.HostName();
  KorMutexLock lock(mutex);
  recording.hostName = name;
  return name;
}

KorString KorRecordingMachine::DistributionName() {
  KorString name = inner.DistributionName();
  KorMutexLock lock(mutex);
  recording.distributionName = name;
  return name;
}

KorRecording KorRecordingMachine::Recording() const {
  KorMutexLock lock(mutex);
  return recording;
}

KorReplayMachine::KorReplayMachine(const KorRecording& recording)
    : files(recording.files),
      hostName(recording.hostName),
      distributionName(recording.distributionName) {
  KorMutexLock lock(mutex);
  for (const KorRecording::Run& run : recording.runs) {
    results[run.command].all.push_back(run.result);
  }
}

KorCommandResult KorReplayMachine::RunCommand(const KorString& command) {
  KorMutexLock lock(mutex);
  const auto found = results.find(command);
  if (found == results.end()) {
    NoteMissing(KorString("command ") + command);
    return {};
  }
  Results& known = found->second;
  const size_t index = known.next;
  known.next = std::min(index + 1, known.all.size() - 1);
  return known.all[index];
}

bool KorReplayMachine::FileExists(const KorString& path) {
  const auto found = files.find(path);
  if (found != files.end()) return found->second;
  KorMutexLock lock(mutex);
  NoteMissing(KorString("file ") + path);
  return false;
}

KorString KorReplayMachine::HostName() {
  if (hostName) return *hostName;
  KorMutexLock lock(mutex);
  NoteMissing("host");
  return {};
}

KorString KorReplayMachine::DistributionName() {
  if (distributionName) return *distributionName;
  KorMutexLock lock(mutex);
  NoteMissing("distribution");
  return {};
}

std::vector<KorString> KorReplayMachine::Missing() const {
  KorMutexLock lock(mutex);
  return missing;
}

void KorReplayMachine::NoteMissing(const KorString& what) {
  if (std::find(missing.begin(), missing.end(), what) == missing.end()) missing.push_back(what);
}
