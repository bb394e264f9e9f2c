// The seam between a scan and the machine it examines: everything a scanner learns about the
// outside comes through here, so that a machine can be recorded and played back.

#pragma once

#include <atomic>
#include <cstdint>
#include <string>

#include "kor/string.h"

// What became of a command line.
struct KorCommandResult {
  enum class Outcome {
    kExited,      // `status` is the shell's exit status
    kStatusLost,  // it ended, but somebody else took its status (SIGCHLD ignored)
    kNotStarted,  // the shell could not be run
    kTooLong,     // the output passed the cap; it is cut there
    kKilled,      // the shell was killed by signal `status`
  };
  Outcome outcome = Outcome::kNotStarted;
  int status = 0;
  std::string output;  // standard output, raw bytes

  bool operator==(const KorCommandResult&) const = default;
};

// May be called from several threads at once.
class KorMachine {
 public:
  virtual ~KorMachine() = default;
  // Runs one shell command line and waits for its end. On a KorThread that is cancelled by force
  // the command is killed and KorThreadCancelled is thrown.
  virtual KorCommandResult RunCommand(const KorString& command) = 0;
  virtual bool FileExists(const KorString& path) = 0;
  virtual KorString HostName() = 0;
  virtual KorString DistributionName() = 0;

  // An inventory run tells, on the thread that asks everything else, that it begins, with the
  // translation file that it has loaded, and that its result is stored. For a machine that keeps
  // notes of runs; one that passes questions on to another need not pass these on.
  virtual void RunBegins(const KorString& /*translationFile*/) {}
  virtual void RunIsStored() {}

  // The machine that scans examine: the live one unless another was set. The machine that is set is
  // not owned and must outlive its use; null goes back to the live one. Returns the one before.
  static KorMachine& Current();
  static KorMachine* SetCurrent(KorMachine* machine);
};

// The machine this process runs on.
class KorLiveMachine : public KorMachine {
 public:
  KorCommandResult RunCommand(const KorString& command) override;
  bool FileExists(const KorString& path) override;
  // gethostname(2).
  KorString HostName() override;
  // PRETTY_NAME, else NAME, of os-release(5); "Linux" without one.
  KorString DistributionName() override;

  // How long commands that are begun from now on may take; 0 is without a bound. One that takes
  // longer is killed, with all that it started, and counts as killed.
  void SetTimeout(uint32_t milliseconds) { timeout = milliseconds; }

 private:
  std::atomic<uint32_t> timeout = 0;
};
