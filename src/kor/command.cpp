#include "kor/command.h"

#include <string>
#include <utility>

#include "kor/debug.h"
#include "kor/trace.h"

namespace {

using Outcome = KorCommandResult::Outcome;

// What the shell answers when a command cannot be executed or is not found.
constexpr int kCannotExecute = 126;
constexpr int kNotFound = 127;
// What it answers for a command that a signal ended: 128 + the signal's number.
constexpr int kFirstSignalStatus = 129;
constexpr int kLastSignalStatus = 192;

bool ExitedWell(int status, bool hasOutput) {
  if (status == 0) return true;
  if (status == kCannotExecute || status == kNotFound) return false;
  if (status >= kFirstSignalStatus && status <= kLastSignalStatus) return false;
  // df ends with 1 when one mount cannot be examined, and lists all the others.
  return hasOutput;
}

// Single values come out clean, while patterns that end in a line end still find a key on the last
// line of a longer output.
void StripLineEndOfOnlyLine(std::string& output) {
  if (!output.empty() && output.find('\n') == output.size() - 1) output.pop_back();
}

// The place where a person looks who finds nothing in an inventory.
void LogFailure(const KorString& command, const KorCommandResult& result) {
  KorDebug& log = KorFrameworkLog();
  switch (result.outcome) {
    case Outcome::kExited:
      log.DetailWithNL("Command '%S' failed with status %d", command, result.status);
      break;
    case Outcome::kStatusLost:
      log.DetailWithNL("Command '%S' printed nothing and its status was lost", command);
      break;
    case Outcome::kNotStarted:
      log.WarningWithNL("Command '%S' could not be run", command);
      break;
    case Outcome::kTooLong:
      log.WarningWithNL("Command '%S' printed too much and was stopped", command);
      break;
    case Outcome::kKilled:
      log.WarningWithNL("Command '%S' was killed by signal %d", command, result.status);
      break;
  }
}

}  // namespace

bool KorCommandSucceeded(const KorCommandResult& result) {
  switch (result.outcome) {
    case Outcome::kExited:
      return ExitedWell(result.status, !result.output.empty());
    case Outcome::kStatusLost:
      return !result.output.empty();
    case Outcome::kNotStarted:
    case Outcome::kTooLong:
    case Outcome::kKilled:
      return false;
  }
  return false;
}

bool CommandToString(const KorString& command, KorString& output) {
  KorCommandResult result = KorMachine::Current().RunCommand(command);
  if (KorTrace* const trace = KorTrace::Current()) trace->OnCommand(command, result);
  const bool succeeded = KorCommandSucceeded(result);
  if (!succeeded) LogFailure(command, result);
  StripLineEndOfOnlyLine(result.output);
  output = KorString(std::move(result.output));
  return succeeded;
}
