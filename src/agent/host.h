// What modules live in: the home, the log, the agent's neighbours and the modules themselves.

#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "agent/home.h"
#include "agent/identity.h"
#include "agent/module_host.h"
#include "agent/neighbours.h"
#include "agent/pid_lock.h"
#include "agent/result.h"
#include "agent/run_evidence.h"
#include "agent/settings.h"
#include "agent/terminal_log.h"
#include "kor/log_dispatcher.h"
#include "kor/string.h"

namespace agent {

struct HostOptions {
  KorString home;
  std::vector<KorString> modules;  // the inventory module when empty
  TerminalLog::Options terminal;
  // A module that cannot be loaded is reported as an error, and the others go on; without one that
  // can be loaded it is a failure all the same.
  bool skipFailedModules = false;
  // Whether what runs learn is kept where the settings want it: not in a home that goes away.
  bool keepsEvidence = true;
};

// One at a time: a process has one set of folders and one logging context.
class Host {
 public:
  // Prepares the home, which no other process may be using, opens the log and loads the modules.
  static Result<std::unique_ptr<Host>> Open(const HostOptions& options);
  ~Host();
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  const Home& GetHome() const { return home; }
  KorLogDispatcher& Log() { return log; }
  TerminalLog& Terminal() { return terminal; }
  // What carries things to the server; it delivers only when it is told to.
  Neighbours& Delivery() { return *neighbours; }

  const std::vector<std::unique_ptr<Module>>& Modules() const { return modules; }

  const Settings& GetSettings() const { return settings; }

  // Reads the agent's settings again and makes the neighbours anew; what they have to deliver stays
  // in their queues. Nobody may be using them. False when the settings cannot be read: nothing is
  // changed then.
  bool ReloadSettings();

  // Gives the modules the command to begin their service.
  void Activate();

  // Ends what the modules are running.
  void CancelRuns();

 private:
  Host(const Home& preparedHome, const TerminalLog::Options& terminalOptions);

  Result<void> OpenLog();
  Result<void> AddNeighbours();
  Result<void> LockHome();
  Result<void> LoadModules(std::vector<KorString> paths, bool skipFailed);

  Home home;
  std::optional<PidLock> lock;
  KorLogDispatcher log;
  TerminalLog terminal;
  Settings settings;
  std::unique_ptr<Identity> identity;
  std::unique_ptr<Neighbours> neighbours;
  std::unique_ptr<RunEvidence> evidence;  // null where it is never kept
  std::vector<std::unique_ptr<Module>> modules;
};

}  // namespace agent
