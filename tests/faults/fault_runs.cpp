// Runs inventories with their uploads again and again, in each of which another call fails, and
// says where the agent does not bear it: see usage.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>

#include "scene.h"
#include "support/work_folder.h"

namespace {

namespace fs = std::filesystem;

constexpr const char* kUsage =
    "usage: fault_runs --program FILE --module FILE --library FILE --recording FILE\n"
    "                  --kind KIND [--every N] [--places DEPTH] [--call N]\n"
    "  --program    a kor-agent\n"
    "  --module     its inventory module\n"
    "  --library    the fault library beside this program\n"
    "  --recording  classic_server.machine\n"
    "  --kind       allocation, write (the disk is full), write-error, sync, rename, open, spawn\n"
    "               (on this very machine), thread or stat (a look at a file)\n"
    "  --every      leaves out all but each N-th call, 1 by default\n"
    "  --places     only the first call of each place that is reached, told apart by that many\n"
    "               callers (at most 46)\n"
    "  --call       only that call, with all that is said of it\n";

constexpr const char* kSerial = "NG-4471-0093";
constexpr size_t kMostComplaints = 20;

struct Kind {
  const char* name;
  int error;
};

const std::map<std::string_view, Kind> kKinds = {{"allocation", {"allocation", ENOMEM}},
                                                 {"write", {"write", ENOSPC}},
                                                 {"write-error", {"write", EIO}},
                                                 {"sync", {"sync", EIO}},
                                                 {"rename", {"rename", ENOSPC}},
                                                 {"open", {"open", EMFILE}},
                                                 {"spawn", {"spawn", EAGAIN}},
                                                 {"thread", {"thread", EAGAIN}},
                                                 {"stat", {"stat", EIO}}};

struct Options {
  Programs programs;
  fs::path recording;
  std::string kind;
  uint64_t every = 1;
  int depth = 0;
  uint64_t call = 0;
};

// The recorded machine with another serial number.
void WriteMachine(const fs::path& recording, const std::string& serial, const fs::path& path) {
  std::string text = ContentOf(recording);
  if (text.find(kSerial) == std::string::npos) throw std::runtime_error("an unknown recording");
  for (size_t at = 0; (at = text.find(kSerial, at)) != std::string::npos;) {
    text.replace(at, std::strlen(kSerial), serial);
  }
  std::ofstream(path, std::ios::binary) << text;
}

class Faults {
 public:
  explicit Faults(const Options& givenOptions)
      : options(givenOptions), kind(kKinds.at(options.kind)) {}

  bool Run() {
    if (options.kind == "spawn") {
      RunScene("this machine", Scene(options.programs, work.Path(), {}, {}));
    } else {
      RunScenes();
    }
    return complaints == 0;
  }

 private:
  void RunScenes() {
    const fs::path old = work.Path() / "old.machine";
    const fs::path now = work.Path() / "new.machine";
    WriteMachine(options.recording, "NG-1", old);
    WriteMachine(options.recording, "NG-2", now);
    const Scene firstScene(options.programs, work.Path(), {}, old);
    // As the run without a failure has left it.
    const fs::path used = work.Path() / "used";
    fs::rename(work.Path() / "home", used);
    std::ofstream(used / "config/kor-agent.ini") << "[Agent]\nPollInterval = 600\n";
    RunScene("a new home", firstScene);
    RunScene("a home in use", Scene(options.programs, work.Path(), used, now));
  }

  void RunScene(const char* name, const Scene& scene) {
    failedRuns = borneRuns = 0;
    const AgentRun counted = scene.Count({kind.name, kind.error, 0, options.depth});
    if (counted.calls == 0) throw std::runtime_error("no call is counted");
    if (options.call > 0) {
      TryCall(scene, options.call);
    } else if (options.depth > 0) {
      for (size_t index = 0; index < counted.places.size(); index += options.every) {
        if (complaints < kMostComplaints) TryCall(scene, counted.places[index]);
      }
    } else {
      uint64_t number = 1;
      while (complaints < kMostComplaints && TryCall(scene, number)) number += options.every;
    }
    if (failedRuns + borneRuns == 0) throw std::runtime_error("no call failed");
    std::printf("%s, %s: %llu calls", options.kind.c_str(), name,
                static_cast<unsigned long long>(counted.calls));
    if (options.depth > 0) std::printf(" in %zu places", counted.places.size());
    std::printf("; made to fail %zu times: %zu runs failed, %zu did without\n",
                failedRuns + borneRuns, failedRuns, borneRuns);
    std::fflush(stdout);
  }

  // Whether the call was there to fail.
  bool TryCall(const Scene& scene, uint64_t number) {
    const Scene::Trial trial = scene.Try({kind.name, kind.error, number, 0});
    if (options.call > 0) Tell(number, trial);
    if (!trial.complaints.empty()) {
      ++complaints;
      if (options.call == 0) Tell(number, trial);
    }
    if (!trial.run.failed) return false;
    ++(trial.run.status == 0 ? borneRuns : failedRuns);
    return true;
  }

  void Tell(uint64_t number, const Scene::Trial& trial) const {
    std::printf("%s, call %llu (%s), status %d:\n", options.kind.c_str(),
                static_cast<unsigned long long>(number), trial.run.what.c_str(), trial.run.status);
    for (const std::string& text : trial.complaints) std::printf("  ! %s\n", text.c_str());
    std::printf("  standard error:\n%s  called from:\n%s\n", trial.run.errors.c_str(),
                trial.run.trace.c_str());
    std::fflush(stdout);
  }

  const Options& options;
  const Kind kind;
  const WorkFolder work;
  size_t complaints = 0;
  size_t failedRuns = 0;
  size_t borneRuns = 0;
};

// False for what the usage does not know.
bool Take(Options& options, std::string_view name, const char* value) {
  if (name == "--program") {
    options.programs.agent = value;
  } else if (name == "--module") {
    options.programs.module = value;
  } else if (name == "--library") {
    options.programs.library = value;
  } else if (name == "--recording") {
    options.recording = value;
  } else if (name == "--kind") {
    options.kind = value;
  } else if (name == "--every") {
    options.every = std::strtoull(value, nullptr, 10);
  } else if (name == "--places") {
    options.depth = std::atoi(value);
  } else if (name == "--call") {
    options.call = std::strtoull(value, nullptr, 10);
  } else {
    return false;
  }
  return true;
}

bool TakeAll(Options& options, int argc, char** argv) {
  for (int index = 1; index < argc; index += 2) {
    if (index + 1 == argc || !Take(options, argv[index], argv[index + 1])) return false;
  }
  const Programs& programs = options.programs;
  return !programs.agent.empty() && !programs.module.empty() && !programs.library.empty() &&
         kKinds.contains(options.kind) && options.every > 0;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  if (!TakeAll(options, argc, argv)) {
    std::fputs(kUsage, stderr);
    return 2;
  }
  try {
    return Faults(options).Run() ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "fault_runs: %s\n", error.what());
    return 1;
  }
}
