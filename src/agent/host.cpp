#include "agent/host.h"

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <utility>

#include "agent/leftover_files.h"
#include "kor/file.h"
#include "korcore/agent_context.h"

namespace agent {
namespace {

constexpr size_t kLogFileBytes = 5 * 1024 * 1024;
constexpr size_t kOldLogFiles = 3;

}  // namespace

Result<std::unique_ptr<Host>> Host::Open(const HostOptions& options) {
  const Result<Home> home = PrepareHome(options.home);
  if (!home.IsOk()) return Failure{home.Reason()};
  std::unique_ptr<Host> host(new Host(home.Value(), options.terminal));
  Result<void> done = host->LockHome();
  if (done.IsOk()) done = host->OpenLog();
  if (done.IsOk()) {
    RemoveLeftoverFiles(host->home);
    done = host->AddNeighbours();
  }
  if (done.IsOk()) {
    if (options.keepsEvidence) {
      host->evidence = std::make_unique<RunEvidence>(host->home, host->settings.keepEvidence);
    }
    done = host->LoadModules(options.modules, options.skipFailedModules);
  }
  if (!done.IsOk()) return Failure{done.Reason()};
  return host;
}

Host::Host(const Home& preparedHome, const TerminalLog::Options& terminalOptions)
    : home(preparedHome), terminal(log, terminalOptions, STDERR_FILENO) {
  KorAgentSetDebugContext(&log);
  KorAgentSetConfigDir(home.ConfigDir());
  KorAgentSetDataDir(home.DataDir());
}

Host::~Host() {
  while (!modules.empty()) modules.pop_back();
  evidence.reset();
  neighbours.reset();
  identity.reset();
  KorAgentSetDebugContext(nullptr);
}

Result<void> Host::LockHome() {
  Result<PidLock> taken = PidLock::Take(home.DataDir() + "kor-agent.pid");
  if (!taken.IsOk()) return Failure{taken.Reason()};
  lock.emplace(std::move(taken.Value()));
  return {};
}

Result<void> Host::OpenLog() {
  KorString error;
  const KorString file = home.DataDir() + "kor-agent.log";
  if (log.AddFile(file, KorLogLevel::kDetail, kLogFileBytes, kOldLogFiles, error)) return {};
  return Failure{KorString("the log file cannot be opened: ") + error};
}

Result<void> Host::AddNeighbours() {
  const Result<Settings> read = ReadSettings(home);
  if (!read.IsOk()) return Failure{read.Reason()};
  settings = read.Value();
  identity = std::make_unique<Identity>(home.DataDir() + "identity.ini", settings.topology);
  neighbours = std::make_unique<Neighbours>(home, settings);
  return {};
}

Result<void> Host::LoadModules(std::vector<KorString> paths, bool skipFailed) {
  if (paths.empty()) {
    const Result<KorString> path = DefaultModulePath();
    if (!path.IsOk()) return Failure{path.Reason()};
    paths.push_back(path.Value());
  }
  for (const KorString& path : paths) {
    const KorString complete = CompletePath(path);
    const auto isLoaded = [&](const auto& module) { return module->Path() == complete; };
    if (std::any_of(modules.begin(), modules.end(), isLoaded)) continue;
    Result<std::unique_ptr<Module>> module = Module::Load(complete);
    if (module.IsOk()) {
      modules.push_back(std::move(module.Value()));
    } else if (skipFailed) {
      KorFrameworkLog().ErrorWithNL("%S", module.Reason());
    } else {
      return Failure{module.Reason()};
    }
  }
  if (modules.empty()) return Failure{"no module could be loaded"};
  return {};
}

bool Host::ReloadSettings() {
  const Result<Settings> read = ReadSettings(home);
  if (!read.IsOk()) {
    KorFrameworkLog().ErrorWithNL("The settings stay as they were: %S", read.Reason());
    return false;
  }
  settings = read.Value();
  if (evidence != nullptr) evidence->SetKeeping(settings.keepEvidence);
  neighbours->Reload(settings);
  // Last: a GUID that becomes available makes modules send.
  identity->Reload(settings.topology);
  return true;
}

void Host::Activate() {
  for (const std::unique_ptr<Module>& module : modules) module->Activate();
}

void Host::CancelRuns() {
  for (const std::unique_ptr<Module>& module : modules) module->Cancel();
}

}  // namespace agent
