#include "scene.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <utility>

#include "crash/home_check.h"

namespace {

namespace fs = std::filesystem;

constexpr int kExitFailed = 1;
constexpr int kExitNotStarted = 3;
constexpr int kExitNotWritten = 4;

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

std::string LogIn(const fs::path& home) {
  return ContentOf(home / "data/kor-agent.log");
}

}  // namespace

Scene::Scene(const Programs& usedPrograms, const fs::path& workFolder, const fs::path& firstHome,
             const fs::path& usedRecording)
    : programs(usedPrograms),
      work(workFolder),
      first(firstHome),
      recording(usedRecording),
      home(work / "home"),
      logBefore(LogIn(first)) {
  CopyHome();
  const AgentRun run = Run({}, {});
  if (run.status != 0) throw std::runtime_error("the run without a failure fails: " + run.errors);
  rightOutput = run.output;
  rightSent = Sent();
}

void Scene::CopyHome() const {
  fs::remove_all(home);
  if (!first.empty()) fs::copy(first, home, fs::copy_options::recursive);
}

AgentRun Scene::Run(const Fault& fault, const fs::path& library) const {
  std::vector<std::string> command = {programs.agent, "--module",  programs.module, "--home",
                                      home.string(),  "inventory", "--upload"};
  if (!recording.empty()) command.insert(command.end(), {"--replay", recording.string()});
  return RunAgent(std::move(command), fault, library, work);
}

std::string Scene::Log() const {
  const std::string log = LogIn(home);
  return log.starts_with(logBefore) ? log.substr(logBefore.size()) : log;
}

std::string Scene::Sent() const {
  return ContentOf(home / "data/HardwareInventory/HardwareInventorySent.xml");
}

AgentRun Scene::Count(const Fault& fault) const {
  CopyHome();
  return Run(fault, programs.library);
}

Scene::Trial Scene::Try(const Fault& fault) const {
  CopyHome();
  Trial trial{Run(fault, programs.library), {}, false};
  if (!trial.run.failed && trial.run.signal == 0) return trial;
  const Complain complain = [&trial](const std::string& text) { trial.complaints.push_back(text); };
  try {
    trial.isNamed = IsNamed(trial.run, fault);
    CheckEnd(trial.run, complain);
    CheckHome(home, false, complain);
    CheckAnswer(trial, fault, complain);
    Heal(complain);
  } catch (const std::exception& exception) {
    complain(exception.what());
  }
  return trial;
}

// By its reason: the system's words, or those of whoever noticed.
bool Scene::IsNamed(const AgentRun& run, const Fault& fault) const {
  const std::string said = run.errors + Log();
  if (fault.kind == "allocation") {
    // The loader names only what it could not do, and a thread that cannot be made has one error
    // for all that it may lack.
    return Contains(said, "memory") || Contains(said, "Memory error") ||
           Contains(said, "cannot create shared object") ||
           Contains(said, "cannot open shared object") ||
           Contains(said, "A thread cannot be started");
  }
  if (Contains(said, std::strerror(fault.error))) return true;
  // SQLite has words of its own.
  return fault.error == ENOSPC
             ? Contains(said, "database or disk is full")
             : Contains(said, "readonly database") || Contains(said, "disk I/O error") ||
                   Contains(said, "unable to open database file");
}

void Scene::CheckEnd(const AgentRun& run, const Complain& complain) const {
  if (run.isKilled) return complain("it does not end");
  if (run.signal != 0) complain("it crashed: " + std::string(strsignal(run.signal)));
  if (Contains(run.errors, "Sanitizer") || Contains(run.errors, "runtime error:")) {
    complain("a sanitizer complains");
  }
  if (run.signal != 0 || run.status == 0) return;
  const bool isKnown =
      run.status == kExitFailed || run.status == kExitNotStarted || run.status == kExitNotWritten;
  if (!isKnown) complain("it ended with " + std::to_string(run.status));
}

void Scene::CheckAnswer(const Trial& trial, const Fault& fault, const Complain& complain) const {
  const AgentRun& run = trial.run;
  if (run.status == 0) {
    CheckResult(run, complain);
    // Memory that a library can do without is none of the user's business, nor is a look at a file
    // that a right inventory did not need; nor is a settings file of a library, which has defaults,
    // nor what was opened at the second attempt: the log, and a document, for which there are two
    // readers.
    const bool isForeign = Contains(run.what, " /") && !Contains(run.what, home.string());
    const bool isTriedAgain =
        run.what.ends_with("/kor-agent.log") || Contains(run.trace, "ObjInv5Parse");
    const bool isUnneeded = fault.kind == "allocation" || fault.kind == "stat";
    const bool isHarmless = isUnneeded || isForeign || isTriedAgain;
    if (!trial.isNamed && !isHarmless) complain("nothing is said of the failure");
  } else {
    if (!Contains(run.errors, "kor-agent: ")) complain("it failed without a word");
    if (!trial.isNamed) complain("it failed without the reason");
  }
}

void Scene::CheckResult(const AgentRun& run, const Complain& complain) const {
  if (Sent().empty()) complain("it ended well and nothing was accepted");
  // What this machine is changes under the run.
  if (recording.empty()) return;
  if (Sent() != rightSent) complain("it ended well with another inventory");
  if (run.output != rightOutput) complain("it ended well and printed something else");
}

void Scene::Heal(const Complain& complain) const {
  const AgentRun run = Run({}, {});
  if (run.status != 0) complain("the next run fails: " + run.errors);
  CheckHome(home, true,
            [&complain](const std::string& text) { complain("after the next run: " + text); });
  CheckResult(run, complain);
}
