// Recordings of a machine: everything that a scan learned about it, in one text file that a person
// can read and send, and the machines that make one and play one back. The format is described in
// docs/file-formats.md.

#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "kor/machine.h"
#include "kor/mutex.h"
#include "kor/string.h"

// What was asked of a machine and what it answered. A value; not locked.
struct KorRecording {
  struct Run {
    KorString command;
    KorCommandResult result;
    bool operator==(const Run&) const = default;
  };

  std::vector<Run> runs;  // in the order in which the commands ended
  std::map<KorString, bool> files;
  std::optional<KorString> hostName;
  std::optional<KorString> distributionName;

  bool operator==(const KorRecording&) const = default;

  // Removes the runs at the end of a command's life that gave the same result as the one before:
  // playing back gives the last one again anyway.
  void DropTrailingRepeats();

  // The text of the file, without trailing repeats.
  std::string Format() const;
  // Replaces the recording by that of the text. False, and nothing changes, when it is not the text
  // of a recording; the error is "<line>: <reason>".
  bool Parse(std::string_view text, KorString& error);

  // The same with a file. The error is "<path>:<line>: <reason>" or "<path>: <reason>".
  bool Load(const KorString& path, KorString& error);
  bool Save(const KorString& path, KorString& error) const;
};

// Passes everything on to another machine and notes the answers.
class KorRecordingMachine : public KorMachine {
 public:
  // The inner machine must outlive this one.
  explicit KorRecordingMachine(KorMachine& innerMachine);

  KorCommandResult RunCommand(const KorString& command) override;
  bool FileExists(const KorString& path) override;
  KorString HostName() override;
  KorString DistributionName() override;

  // What was noted up to now.
  KorRecording Recording() const;

 private:
  KorMachine& inner;
  mutable KorMutex mutex;
  KorRecording recording KOR_GUARDED_BY(mutex);
};

// Answers from a recording and runs nothing. The n-th run of a command line gives the n-th result
// recorded for it; the last one repeats. A command line that was not recorded has not been started,
// a file that was not asked for is not there, a name that is missing is empty.
class KorReplayMachine : public KorMachine {
 public:
  explicit KorReplayMachine(const KorRecording& recording);

  KorCommandResult RunCommand(const KorString& command) override;
  bool FileExists(const KorString& path) override;
  KorString HostName() override;
  KorString DistributionName() override;

  // What was asked for and not recorded, each thing once, in the order it was first asked for:
  // "command <text>", "file <path>", "host", "distribution".
  std::vector<KorString> Missing() const;

 private:
  struct Results {
    std::vector<KorCommandResult> all;
    size_t next = 0;
  };

  void NoteMissing(const KorString& what) KOR_REQUIRES(mutex);

  mutable KorMutex mutex;
  std::unordered_map<KorString, Results> results KOR_GUARDED_BY(mutex);
  std::vector<KorString> missing KOR_GUARDED_BY(mutex);
  const std::map<KorString, bool> files;
  const std::optional<KorString> hostName;
  const std::optional<KorString> distributionName;
};
