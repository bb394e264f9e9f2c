#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "kor/debug.h"
#include "kor/file.h"
#include "kor/machine.h"
#include "kor/os_release.h"
#include "kor/thread.h"

namespace {

using Outcome = KorCommandResult::Outcome;
using Clock = std::chrono::steady_clock;

// A broken tool must not eat the machine.
constexpr size_t kMaxOutput = size_t{64} * 1024 * 1024;
constexpr size_t kChunkSize = 64 * 1024;
constexpr size_t kLargestOsRelease = size_t{1024} * 1024;
// How long a killed command may take to go. One that hangs in the kernel (a dead network file
// system) goes later or never, and does not keep the thread.
constexpr std::chrono::seconds kKillPatience{1};
constexpr int kLongestNapMilliseconds = 32;

// Until when a command may take; without an end when there is no value.
using Deadline = std::optional<Clock::time_point>;

bool IsOver(const Deadline& deadline) {
  return deadline && Clock::now() >= *deadline;
}

// For poll(2), so rounded up: a wait that ended too early would be repeated at once, again and
// again.
int MillisecondsUntil(const Deadline& deadline) {
  if (!deadline) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now()).count();
  return static_cast<int>(std::clamp<int64_t>(left, 0, INT_MAX));
}

// The command is not in the shell's own arguments, or "pgrep -f" would find the shell that runs it;
// nor in the environment of what the command starts. Each process may have 2 GiB of address space:
// one that keeps a line without an end must not eat the machine either.
constexpr const char* kShellScript =
    "korCommandLine=$KOR_COMMAND; unset KOR_COMMAND; ulimit -v 2097152; eval \"$korCommandLine\"";

class Descriptor {
 public:
  explicit Descriptor(int number = -1) : descriptor(number) {}
  ~Descriptor() { Close(); }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int Number() const { return descriptor; }
  void Close() {
    if (descriptor != -1) close(descriptor);
    descriptor = -1;
  }

 private:
  int descriptor;
};

// How the shell is started.
class SpawnPlan {
 public:
  explicit SpawnPlan(int output) {
    posix_spawn_file_actions_init(&actions);
    posix_spawnattr_init(&attributes);
    // First, since the pipe itself may be number 0 or 2 in a host that closed its own.
    Note(posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO));
    // A "cat" whose back-quotes came out empty would wait on standard input for ever.
    Note(posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0));
    // Complaints belong neither to the output nor to the host's terminal.
    Note(posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0));
    // The shell expands an unmatched glob in the working folder, which would be anybody's.
    Note(posix_spawn_file_actions_addchdir_np(&actions, "/"));
    // The host's files and sockets are none of a command's business.
    Note(posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1));
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    // What the host blocks or ignores would be passed on: without SIGPIPE "yes | head" never ends.
    Note(posix_spawnattr_setsigmask(&attributes, &none));
    Note(posix_spawnattr_setsigdefault(&attributes, &all));
    // A group of its own, so that a kill reaches every process of a pipeline.
    Note(posix_spawnattr_setpgroup(&attributes, 0));
    Note(posix_spawnattr_setflags(
        &attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP));
  }
  ~SpawnPlan() {
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
  }
  SpawnPlan(const SpawnPlan&) = delete;
  SpawnPlan& operator=(const SpawnPlan&) = delete;

  // 0, or an error number.
  int Spawn(pid_t& process, const KorString& command) const {
    if (error != 0) return error;
    std::string script = kShellScript;
    std::string name = "sh";
    std::string option = "-c";
    char* const arguments[] = {name.data(), option.data(), script.data(), nullptr};
    // Nothing is inherited: DF_BLOCK_SIZE, POSIXLY_CORRECT and their like change the very output
    // that is parsed, LD_* the programs. Services start with short PATHs; distributions translate
    // the words that patterns look for.
    std::string path = "PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin";
    std::string language = "LC_ALL=C";
    std::string home = "HOME=/";
    std::string commandEntry = "KOR_COMMAND=" + command.Str();
    char* const environment[] = {path.data(), language.data(), home.data(), commandEntry.data(),
                                 nullptr};
    return posix_spawn(&process, "/bin/sh", &actions, &attributes, arguments, environment);
  }

 private:
  void Note(int result) {
    if (error == 0) error = result;
  }

  posix_spawn_file_actions_t actions;
  posix_spawnattr_t attributes;
  int error = 0;
};

// Waits that long (-1: without an end) until the descriptor has something to read or is at its end,
// which gives true, or until the calling thread is cancelled by force. A descriptor of -1 is not
// looked at. An interrupted wait is a short one.
bool WaitReadable(int descriptor, int milliseconds) {
  pollfd watched[] = {{descriptor, POLLIN, 0}, {KorThread::CurrentForceDescriptor(), POLLIN, 0}};
  return poll(watched, std::size(watched), milliseconds) > 0 && watched[0].revents != 0;
}

void ThrowIfForced() {
  if (KorThread::CurrentIsForced()) throw KorThreadCancelled();
}

// A shell under way. Whatever way this is left, the shell is gone afterwards.
class ShellProcess {
 public:
  ShellProcess() = default;
  ~ShellProcess() {
    if (process != -1) KillGroup();
  }
  ShellProcess(const ShellProcess&) = delete;
  ShellProcess& operator=(const ShellProcess&) = delete;

  // 0, or an error number. The output goes to that descriptor.
  int Start(const KorString& command, int output) {
    return SpawnPlan(output).Spawn(process, command);
  }

  // Nothing when the time is over first.
  std::optional<KorCommandResult> WaitForEnd(const Deadline& deadline) {
    // It usually ends at once, being at the end of its output. There is no descriptor to wait for
    // it on every kernel; without one, the naps grow.
    const Descriptor end = ProcessDescriptor();
    for (int nap = 1;; nap = std::min(2 * nap, kLongestNapMilliseconds)) {
      if (auto result = TryReap()) return result;
      if (IsOver(deadline)) return std::nullopt;
      WaitReadable(end.Number(), end.Number() == -1 ? nap : MillisecondsUntil(deadline));
      ThrowIfForced();
    }
  }

 private:
  std::optional<KorCommandResult> TryReap() {
    int status = 0;
    const pid_t found = waitpid(process, &status, WNOHANG);
    if (found == 0) return std::nullopt;
    process = -1;
    // ECHILD: the host ignores SIGCHLD or collects every child itself.
    if (found == -1) return KorCommandResult{Outcome::kStatusLost, 0, {}};
    if (WIFSIGNALED(status)) return KorCommandResult{Outcome::kKilled, WTERMSIG(status), {}};
    return KorCommandResult{Outcome::kExited, WEXITSTATUS(status), {}};
  }

  // Becomes readable when the process ends.
  Descriptor ProcessDescriptor() const {
    return Descriptor(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
  }

  void KillGroup() {
    kill(-process, SIGKILL);
    const Clock::time_point end = Clock::now() + kKillPatience;
    while (!TryReap()) {
      if (Clock::now() >= end) {
        KorFrameworkLog().WarningWithNL("A killed command does not end");
        return;
      }
      poll(nullptr, 0, 1);
    }
  }

  pid_t process = -1;
};

enum class Reading { kEnd, kTooLong, kTimeOver };

// Reads to the end, as a shell does for back-quotes: also what a process that the command left in
// the background still prints. What passes the cap is cut.
Reading ReadToEnd(int descriptor, const Deadline& deadline, std::string& output) {
  const auto chunk = std::make_unique_for_overwrite<char[]>(kChunkSize);
  for (;;) {
    const bool readable = WaitReadable(descriptor, MillisecondsUntil(deadline));
    ThrowIfForced();
    if (IsOver(deadline)) return Reading::kTimeOver;
    if (!readable) continue;
    const ssize_t count = read(descriptor, chunk.get(), kChunkSize);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return Reading::kEnd;
    const size_t room = kMaxOutput - output.size();
    output.append(chunk.get(), std::min(static_cast<size_t>(count), room));
    if (static_cast<size_t>(count) > room) return Reading::kTooLong;
  }
}

// How the shell ended; when it did not, its destructor sees to that.
KorCommandResult Outlast(ShellProcess& shell, int outputEnd, const Deadline& deadline) {
  std::string output;
  const Reading reading = ReadToEnd(outputEnd, deadline, output);
  if (reading == Reading::kTooLong) return {Outcome::kTooLong, 0, std::move(output)};
  std::optional<KorCommandResult> result;
  if (reading == Reading::kEnd) result = shell.WaitForEnd(deadline);
  if (!result) {
    KorFrameworkLog().WarningWithNL("A command takes too long and is killed");
    return {Outcome::kKilled, SIGKILL, std::move(output)};
  }
  result->output = std::move(output);
  return *std::move(result);
}

KorCommandResult NotStarted(int error) {
  KorFrameworkLog().WarningWithNL("The shell cannot be run: %s", std::strerror(error));
  return {};
}

}  // namespace

KorCommandResult KorLiveMachine::RunCommand(const KorString& command) {
  ThrowIfForced();
  // The system would run what stands before the NUL byte.
  if (command.Find(KorString("", 1), 0) != -1) return NotStarted(EINVAL);
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return NotStarted(errno);
  const Descriptor readEnd(ends[0]);
  Descriptor writeEnd(ends[1]);
  Deadline deadline;
  if (const uint32_t bound = timeout; bound > 0) {
    deadline = Clock::now() + std::chrono::milliseconds(bound);
  }
  ShellProcess shell;
  const int error = shell.Start(command, writeEnd.Number());
  if (error != 0) return NotStarted(error);
  // Else the end of the output would never come.
  writeEnd.Close();
  return Outlast(shell, readEnd.Number(), deadline);
}

bool KorLiveMachine::FileExists(const KorString& path) {
  return ::FileExists(path);
}

KorString KorLiveMachine::HostName() {
  // One more than the system fills: a name that is cut need not end with a NUL.
  char name[HOST_NAME_MAX + 2] = {};
  return gethostname(name, sizeof(name) - 1) == 0 ? KorString(name) : KorString();
}

KorString KorLiveMachine::DistributionName() {
  std::string content;
  KorString reason;
  if (!FileReadAll("/etc/os-release", content, reason, kLargestOsRelease)) {
    FileReadAll("/usr/lib/os-release", content, reason, kLargestOsRelease);
  }
  KorString name = DistributionNameFromOsRelease(content);
  return name.IsEmpty() ? KorString("Linux") : name;
}
