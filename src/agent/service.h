// The agent as a service: modules that are active, and a console that answers.

#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "agent/action_pool.h"
#include "agent/console_protocol.h"
#include "agent/console_server.h"
#include "agent/host.h"
#include "agent/result.h"
#include "agent/run_monitor.h"
#include "agent/watched_machine.h"
#include "kor/machine.h"
#include "kor/mutex.h"

namespace agent {

// Lives in a process of its own: it holds the host's worker and timers.
class Service {
 public:
  // Opens the host, activates its modules and serves the console. The live machine's commands are
  // bounded as the settings say; a machine that was set before (a recorded one) stays.
  static Result<std::unique_ptr<Service>> Start(const HostOptions& options);
  // Ends in order whatever is in progress; when a thread does not end, so does the process.
  ~Service();
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  // Reads the agent's settings again.
  void Reload() KOR_EXCLUDES(deliveryMutex);

 private:
  Service();

  Result<void> Open(const HostOptions& options);
  void ApplyCommandTimeout();
  void Handle(const std::string& line, const ConsoleServer::Reply& reply);
  void AnswerOn(ActionPool& pool, const KorString& name, const ConsoleServer::Reply& reply,
                std::function<std::string()> work);
  std::string StatusLine() KOR_EXCLUDES(deliveryMutex);

  const std::chrono::system_clock::time_point since;
  KorLiveMachine liveMachine;
  KorMachine* machineBefore;
  WatchedMachine machine;
  KorMutex deliveryMutex;  // the host's neighbours are replaced when settings are read again
  std::unique_ptr<Host> host;
  std::unique_ptr<RunMonitor> monitor;
  std::unique_ptr<ActionPool> actions;
  // Questions are answered also while all actions hang.
  std::unique_ptr<ActionPool> questions;
  std::unique_ptr<ConsoleServer> console;
};

}  // namespace agent
