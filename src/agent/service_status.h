// What the service says about itself.

#pragma once

#include <chrono>
#include <cstddef>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "agent/action_pool.h"
#include "agent/home.h"
#include "agent/neighbours.h"
#include "agent/result.h"
#include "agent/run_monitor.h"
#include "agent/watched_machine.h"
#include "kor/string.h"
#include "korcore/module_timer.h"

namespace agent {

struct StatusSources {
  struct LoadedModule {
    KorString path;
    KorString version;
  };

  std::chrono::system_clock::time_point since;
  Home home;
  std::vector<LoadedModule> modules;
  std::optional<RunMonitor::Run> run;
  std::optional<RunMonitor::LastRun> lastRun;
  std::vector<WatchedMachine::Command> commands;
  std::vector<ActionPool::Running> actions;
  size_t waitingActions = 0;
  std::vector<ModuleTimerEntry> timers;
  DeliveryStatus delivery;
};

// Times are UTC, durations are seconds; what there is none of is null.
nlohmann::ordered_json StatusToJson(const StatusSources& sources);

// The same for people, one line for each thing; a failure when it is not such a JSON text.
Result<std::string> StatusToText(const std::string& json);

}  // namespace agent
