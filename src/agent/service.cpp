#include "agent/service.h"

#include <algorithm>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <utility>
#include <variant>

#include "agent/exit_code.h"
#include "agent/module_host.h"
#include "agent/service_status.h"
#include "kor/debug.h"
#include "korcore/host_worker.h"
#include "korcore/module_timer.h"

namespace agent {
namespace {

constexpr size_t kActionThreads = 4;
// As many as there may be connections: each has one request at a time.
constexpr size_t kWaitingActions = 64;
// What actions in progress get to end by themselves when the agent ends.
constexpr uint32_t kActionEndMilliseconds = 1000;

// The machine that was set before, or null for the live one.
KorMachine* TakeCurrentMachine() {
  KorMachine* const before = KorMachine::SetCurrent(nullptr);
  KorMachine::SetCurrent(before);
  return before;
}

}  // namespace

Result<std::unique_ptr<Service>> Service::Start(const HostOptions& options) {
  std::unique_ptr<Service> service(new Service());
  const Result<void> opened = service->Open(options);
  if (!opened.IsOk()) return Failure{opened.Reason()};
  return service;
}

Service::Service()
    : since(std::chrono::system_clock::now()),
      machineBefore(TakeCurrentMachine()),
      machine(machineBefore == nullptr ? liveMachine : *machineBefore) {
  KorMachine::SetCurrent(&machine);
}

Result<void> Service::Open(const HostOptions& options) {
  Result<std::unique_ptr<Host>> opened = Host::Open(options);
  if (!opened.IsOk()) return Failure{opened.Reason()};
  host = std::move(opened.Value());
  ApplyCommandTimeout();
  monitor = std::make_unique<RunMonitor>(host->Log());
  HostWorkerStart();
  ModuleTimersStart();
  actions = std::make_unique<ActionPool>(kActionThreads, kWaitingActions);
  questions = std::make_unique<ActionPool>(1, kWaitingActions);
  host->Activate();
  host->Delivery().StartService();
  auto started = ConsoleServer::Start(
      host->GetHome().DataDir(),
      [this](const std::string& line, const ConsoleServer::Reply& reply) { Handle(line, reply); });
  if (!started.IsOk()) return Failure{started.Reason()};
  console = std::move(started.Value());
  return {};
}

// From the outside in: nothing new comes, what is in progress ends, and only then do the modules
// go.
Service::~Service() {
  console.reset();
  if (host != nullptr) {
    ModuleTimersStop();
    if (actions != nullptr) actions->Stop(kActionEndMilliseconds);
    if (questions != nullptr) questions->Stop(kActionEndMilliseconds);
    // Before the worker is waited for, which may wait for a lock that a run holds.
    host->CancelRuns();
    EndWithoutThreads(kExitFailed);
    host->Delivery().Stop();
    HostWorkerStop();
  }
  actions.reset();
  questions.reset();
  monitor.reset();
  host.reset();
  KorMachine::SetCurrent(machineBefore);
}

void Service::ApplyCommandTimeout() {
  const uint64_t milliseconds = uint64_t{host->GetSettings().commandTimeoutSeconds} * 1000;
  liveMachine.SetTimeout(static_cast<uint32_t>(std::min<uint64_t>(milliseconds, UINT32_MAX)));
}

void Service::Reload() {
  {
    KorMutexLock lock(deliveryMutex);
    if (!host->ReloadSettings()) return;
    host->Delivery().StartService();
  }
  ApplyCommandTimeout();
  KorFrameworkLog().PrintWithNL("The agent's settings have been read again");
}

void Service::Handle(const std::string& line, const ConsoleServer::Reply& reply) {
  Result<ConsoleRequest> request = ParseConsoleRequest(line);
  if (!request.IsOk()) {
    reply(ConsoleErrorLine(ACTIONDB_ERROR_BADPARAM, request.Reason()));
  } else if (std::holds_alternative<StatusRequest>(request.Value())) {
    AnswerOn(*questions, "status", reply, [this] { return StatusLine(); });
  } else if (std::holds_alternative<ActionsRequest>(request.Value())) {
    reply(ConsoleContentLine(ACTIONDB_ERROR_SUCCESS, "actions", ActionsToJson(ActionDbActions())));
  } else {
    InvokeRequest& invoke = std::get<InvokeRequest>(request.Value());
    const KorString name = invoke.action;
    AnswerOn(*actions, name, reply,
             [invoked = std::move(invoke)] { return InvokeForConsole(invoked); });
  }
}

void Service::AnswerOn(ActionPool& pool, const KorString& name, const ConsoleServer::Reply& reply,
                       std::function<std::string()> work) {
  const bool accepted = pool.Submit({name, [reply, job = std::move(work)] { reply(job()); }});
  if (accepted) return;
  reply(ConsoleErrorLine(ACTIONDB_ERROR_FAILURE, "too many requests wait; try again later"));
}

std::string Service::StatusLine() {
  StatusSources sources;
  sources.since = since;
  sources.home = host->GetHome();
  for (const auto& module : host->Modules()) {
    sources.modules.push_back({module->Path(), module->Version()});
  }
  sources.run = monitor->Current();
  sources.lastRun = monitor->Last();
  sources.commands = machine.Commands();
  sources.actions = actions->InProgress();
  sources.waitingActions = actions->CountWaiting();
  sources.timers = ModuleTimerEntries();
  {
    KorMutexLock lock(deliveryMutex);
    sources.delivery = host->Delivery().Status();
  }
  return ConsoleContentLine(ACTIONDB_ERROR_SUCCESS, "status", StatusToJson(sources));
}

}  // namespace agent
