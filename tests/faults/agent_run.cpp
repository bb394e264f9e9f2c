#include "agent_run.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <thread>

#include "fault_report.h"

namespace {

namespace fs = std::filesystem;

// A sanitizer's complaint has to be told from a run that failed.
constexpr int kComplaintStatus = 99;
constexpr std::chrono::minutes kLongestRun{4};

std::vector<char*> PointersTo(std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  return pointers;
}

std::vector<std::string> EnvironmentFor(const Fault& fault, const fs::path& library,
                                        const fs::path& report) {
  std::vector<std::string> environment;
  for (char** entry = environ; *entry != nullptr; ++entry) environment.emplace_back(*entry);
  const std::string exitCode = "exitcode=" + std::to_string(kComplaintStatus);
  environment.push_back("TSAN_OPTIONS=" + exitCode);
  environment.push_back("UBSAN_OPTIONS=" + exitCode);
  environment.push_back("ASAN_OPTIONS=allocator_may_return_null=1:verify_asan_link_order=0:" +
                        exitCode);
  if (library.empty()) return environment;
  environment.push_back("LD_PRELOAD=" + library.string());
  environment.push_back(std::string(kFaultReport) + "=" + report.string());
  environment.push_back(std::string(kFaultKind) + "=" + fault.kind);
  environment.push_back(std::string(kFaultNumber) + "=" + std::to_string(fault.number));
  environment.push_back(std::string(kFaultError) + "=" + std::to_string(fault.error));
  environment.push_back(std::string(kFaultDepth) + "=" + std::to_string(fault.depth));
  return environment;
}

void ReadReport(const fs::path& path, AgentRun& run) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  void* const memory = mmap(nullptr, sizeof(FaultReport), PROT_READ, MAP_SHARED, descriptor, 0);
  close(descriptor);
  if (memory == MAP_FAILED) throw std::runtime_error("no report in " + path.string());
  const auto* const report = static_cast<const FaultReport*>(memory);
  run.calls = report->calls;
  run.failed = report->failed;
  run.what = report->what.data();
  run.trace = report->trace.data();
  for (const FaultPlace& place : report->places) {
    if (place.key != 0) run.places.push_back(place.firstCall);
  }
  std::sort(run.places.begin(), run.places.end());
  munmap(memory, sizeof(FaultReport));
}

// False when it takes so long that it had to be killed.
bool WaitFor(pid_t process, int& status) {
  const auto end = std::chrono::steady_clock::now() + kLongestRun;
  for (int nap = 1; waitpid(process, &status, WNOHANG) == 0; nap = std::min(2 * nap, 16)) {
    if (std::chrono::steady_clock::now() >= end) {
      kill(process, SIGKILL);
      waitpid(process, &status, 0);
      return false;
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(nap));
  }
  return true;
}

}  // namespace

std::string ContentOf(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

AgentRun RunAgent(std::vector<std::string> command, const Fault& fault, const fs::path& library,
                  const fs::path& folder) {
  const fs::path output = folder / "stdout";
  const fs::path errors = folder / "stderr";
  const fs::path report = folder / "report";
  fs::remove(report);
  std::ofstream(report).flush();
  std::vector<std::string> environment = EnvironmentFor(fault, library, report);
  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(), kFlags, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, errors.c_str(), kFlags, 0600);
  pid_t process = 0;
  const int failure = posix_spawn(&process, command[0].c_str(), &actions, nullptr,
                                  PointersTo(command).data(), PointersTo(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  if (failure != 0) throw std::runtime_error("cannot start " + command[0]);
  AgentRun run;
  int status = 0;
  run.isKilled = !WaitFor(process, status);
  if (WIFEXITED(status)) run.status = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) run.signal = WTERMSIG(status);
  run.output = ContentOf(output);
  run.errors = ContentOf(errors);
  if (!library.empty()) ReadReport(report, run);
  return run;
}
