// Compares whole runs of two programs, run in turn:
//   paired_runs NAME PAIRS WALL CPU MEMORY -- OURS... -- OTHER...
// WALL and CPU are the ratios not to be passed, MEMORY a ratio or, ending in "MiB", a size; "-"
// leaves a row out. What the programs print is thrown away.

#include <fcntl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "table.h"

namespace {

using Command = std::vector<char*>;

[[noreturn]] void Become(const Command& command) {
  const int nowhere = open("/dev/null", O_RDWR);
  for (int descriptor = 0; descriptor < 3; ++descriptor) dup2(nowhere, descriptor);
  execvp(command.front(), command.data());
  _exit(127);
}

struct Cost {
  double wall;
  double cpu;  // with all that it ran
};

Cost Run(const Command& command) {
  const double start = bench::ClockSeconds(CLOCK_MONOTONIC);
  const pid_t process = fork();
  if (process == 0) Become(command);
  int status = 0;
  rusage usage = {};
  wait4(process, &status, 0, &usage);
  const double wall = bench::ClockSeconds(CLOCK_MONOTONIC) - start;
  if (!WIFEXITED(status) || WEXITSTATUS(status) == 127) {
    throw std::runtime_error(std::string("cannot run ") + command.front());
  }
  const auto seconds = [](const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) * 1e-6;
  };
  return {wall, seconds(usage.ru_utime) + seconds(usage.ru_stime)};
}

double PeakOf(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmHWM:")) return std::stod(line.substr(6)) * 1024;
  }
  throw std::runtime_error("the system does not tell a process's peak memory");
}

// Of the process itself, not of those that it runs: it is stopped just before it is gone.
double PeakMemory(const Command& command) {
  const pid_t process = fork();
  if (process == 0) {
    ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
    raise(SIGSTOP);
    Become(command);
  }
  int status = 0;
  waitpid(process, &status, 0);
  ptrace(PTRACE_SETOPTIONS, process, nullptr, long{PTRACE_O_TRACEEXIT | PTRACE_O_EXITKILL});
  double peak = 0;
  long signal = 0;
  for (;;) {
    ptrace(PTRACE_CONT, process, nullptr, signal);
    waitpid(process, &status, 0);
    if (!WIFSTOPPED(status)) return peak;
    const bool isExit = status >> 8 == (SIGTRAP | (PTRACE_EVENT_EXIT << 8));
    if (isExit) peak = PeakOf(process);
    signal = WSTOPSIG(status) == SIGTRAP ? 0 : WSTOPSIG(status);
  }
}

void PrintMemory(const std::string& name, const Command& ours, const Command& other,
                 const std::string& target) {
  constexpr int kRuns = 3;
  std::vector<double> own;
  std::vector<double> others;
  for (int n = 0; n < kRuns; ++n) {
    own.push_back(PeakMemory(ours));
    others.push_back(PeakMemory(other));
  }
  const double our = bench::Median(own);
  if (target.ends_with("MiB")) {
    bench::PrintRow(name + ", peak memory in MiB", bench::MebibyteText(our), "-",
                    our / (1024 * 1024), std::stod(target));
  } else {
    bench::PrintRow(name + ", peak memory", bench::MebibyteText(our),
                    bench::MebibyteText(bench::Median(others)), our / bench::Median(others),
                    std::stod(target));
  }
}

int Compare(const std::vector<char*>& arguments) {
  const std::string name = arguments.at(1);
  const int pairCount = std::stoi(arguments.at(2));
  Command commands[2];
  int filled = -1;
  for (size_t n = 6; n < arguments.size(); ++n) {
    if (std::string(arguments[n]) == "--" && filled < 1) {
      ++filled;
    } else if (filled >= 0) {
      commands[filled].push_back(arguments[n]);
    }
  }
  for (Command& command : commands) command.push_back(nullptr);
  bench::Pairs wall;
  bench::Pairs cpu;
  // The first of each only warms up.
  for (int n = 0; n <= pairCount; ++n) {
    const Cost ours = Run(commands[0]);
    const Cost other = Run(commands[1]);
    if (n == 0) continue;
    wall.Add(ours.wall, other.wall);
    cpu.Add(ours.cpu, other.cpu);
  }
  const auto wanted = [&](size_t n) { return std::string(arguments.at(n)) != "-"; };
  if (wanted(3)) bench::PrintTimes(name + ", wall", wall, std::stod(arguments[3]));
  if (wanted(4)) bench::PrintTimes(name + ", CPU", cpu, std::stod(arguments[4]));
  if (wanted(5)) PrintMemory(name, commands[0], commands[1], arguments[5]);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Compare(std::vector<char*>(argv, argv + argc));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "paired_runs: %s\n", error.what());
    return 1;
  }
}
