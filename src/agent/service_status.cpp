#include "agent/service_status.h"

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <ctime>
#include <nlohmann/json.hpp>

#include "agent/container_json.h"
#include "agent/display_text.h"
#include "agent/time_text.h"
#include "kor/ini_file.h"

namespace agent {
namespace {

using nlohmann::ordered_json;

int64_t Seconds(std::chrono::steady_clock::duration duration) {
  return std::chrono::duration_cast<std::chrono::seconds>(duration).count();
}

ordered_json CommandOf(const StatusSources& sources, std::thread::id thread) {
  const auto found = std::ranges::find(sources.commands, thread, &WatchedMachine::Command::thread);
  if (found == sources.commands.end()) return nullptr;
  return {{"line", found->line.Str()},
          {"since", TimeText(found->since)},
          {"seconds", Seconds(found->elapsed)}};
}

ordered_json RunToJson(const StatusSources& sources) {
  if (!sources.run) return nullptr;
  return {{"since", TimeText(sources.run->since)},
          {"seconds", Seconds(std::chrono::steady_clock::now() - sources.run->start)},
          {"command", CommandOf(sources, sources.run->thread)}};
}

ordered_json LastRunToJson(const std::optional<RunMonitor::LastRun>& run) {
  if (!run) return nullptr;
  ordered_json json = {{"ended", TimeText(run->ended)}, {"endedWell", nullptr}};
  if (run->endedWell) json["endedWell"] = *run->endedWell;
  return json;
}

// The module keeps the time in its settings, so it is known of earlier lives of the agent, too.
ordered_json LastUploadToJson(const Home& home) {
  const IniFile settings(home.ConfigDir() + "HardwareInventory.ini");
  KorString text;
  settings.GetEntryValue("HardwareInventory", "LastInventorySent", text, KorString());
  const uint64_t seconds = std::strtoull(text.CStr(), nullptr, 10);
  if (seconds == 0) return nullptr;
  return TimeText(std::chrono::system_clock::from_time_t(static_cast<std::time_t>(seconds)));
}

ordered_json ActionsInProgress(const StatusSources& sources) {
  ordered_json list = ordered_json::array();
  for (const ActionPool::Running& action : sources.actions) {
    list.push_back({{"name", action.name.Str()},
                    {"since", TimeText(action.since)},
                    {"seconds", Seconds(action.elapsed)},
                    {"command", CommandOf(sources, action.thread)}});
  }
  return list;
}

ordered_json TimersToJson(const std::vector<ModuleTimerEntry>& timers) {
  ordered_json list = ordered_json::array();
  for (const ModuleTimerEntry& timer : timers) {
    ordered_json next = nullptr;
    if (timer.seconds > 0) {
      next = std::chrono::ceil<std::chrono::seconds>(timer.untilNextTick).count();
    }
    list.push_back({{"name", timer.name.Str()},
                    {"action", timer.action.Str()},
                    {"period", timer.seconds},
                    {"next", std::move(next)}});
  }
  return list;
}

// One "Name   text" line.
class Lines {
 public:
  void Add(const std::string& name, const std::string& line) {
    constexpr size_t kWidth = 13;
    text += name + std::string(kWidth - std::min(name.size(), kWidth - 1), ' ');
    text += DisplayText(line) + "\n";
  }
  const std::string& Text() const { return text; }

 private:
  std::string text;
};

std::string NumberText(const ordered_json& json) {
  return std::to_string(JsonInteger(json));
}

std::string SecondsText(const ordered_json& json) {
  return NumberText(json) + " s";
}

std::string CommandText(const ordered_json& command) {
  if (command.is_null()) return "";
  return ", for " + SecondsText(command.at("seconds")) + " in the command '" +
         command.at("line").get<std::string>() + "'";
}

std::string InProgressText(const ordered_json& entry) {
  return "since " + entry.at("since").get<std::string>() + " (" + SecondsText(entry.at("seconds")) +
         ")" + CommandText(entry.at("command"));
}

std::string LastRunText(const ordered_json& run) {
  if (run.is_null()) return "none since the agent started";
  const ordered_json& endedWell = run.at("endedWell");
  std::string text = run.at("ended").get<std::string>();
  if (endedWell.is_boolean()) text += endedWell.get<bool>() ? ", ended well" : ", failed";
  return text;
}

std::string TimerText(const ordered_json& timer) {
  const std::string name = timer.at("name").get<std::string>();
  if (timer.at("next").is_null()) return name + ", off";
  return name + ", every " + SecondsText(timer.at("period")) + ", next in " +
         SecondsText(timer.at("next"));
}

std::string QueueText(const ordered_json& queue) {
  std::string text = NumberText(queue.at("files")) + " files and " +
                     NumberText(queue.at("actions")) + " actions wait, " +
                     NumberText(queue.at("parked")) + " are parked";
  const auto failure = queue.at("lastFailure").get<std::string>();
  if (!failure.empty()) text += "; " + failure;
  return text;
}

std::string Render(const ordered_json& status) {
  Lines lines;
  const ordered_json& agent = status.at("agent");
  lines.Add("Agent", agent.at("version").get<std::string>() + ", process " +
                         NumberText(agent.at("process")) + ", since " +
                         agent.at("since").get<std::string>());
  lines.Add("Home", agent.at("home").get<std::string>());
  for (const ordered_json& module : status.at("modules")) {
    lines.Add("Module", module.at("file").get<std::string>() + ", version " +
                            module.at("version").get<std::string>());
  }
  const ordered_json& run = status.at("run");
  lines.Add("Run", run.is_null() ? "none in progress" : InProgressText(run));
  lines.Add("Last run", LastRunText(status.at("lastRun")));
  const ordered_json& upload = status.at("lastUpload");
  lines.Add("Last upload", upload.is_null() ? "none" : upload.get<std::string>());
  for (const ordered_json& timer : status.at("timers")) lines.Add("Timer", TimerText(timer));
  lines.Add("Queue", QueueText(status.at("queue")));
  for (const ordered_json& action : status.at("actions")) {
    lines.Add("Action", action.at("name").get<std::string>() + " " + InProgressText(action));
  }
  if (const int64_t waiting = JsonInteger(status.at("waitingActions")); waiting > 0) {
    lines.Add("Waiting", std::to_string(waiting) + " actions");
  }
  return lines.Text();
}

}  // namespace

ordered_json StatusToJson(const StatusSources& sources) {
  ordered_json modules = ordered_json::array();
  for (const StatusSources::LoadedModule& module : sources.modules) {
    modules.push_back({{"file", module.path.Str()}, {"version", module.version.Str()}});
  }
  ordered_json json;
  json["agent"] = {{"version", KOR_AGENT_VERSION},
                   {"process", getpid()},
                   {"since", TimeText(sources.since)},
                   {"home", sources.home.path.Str()}};
  json["modules"] = std::move(modules);
  json["run"] = RunToJson(sources);
  json["lastRun"] = LastRunToJson(sources.lastRun);
  json["lastUpload"] = LastUploadToJson(sources.home);
  json["timers"] = TimersToJson(sources.timers);
  json["queue"] = {{"files", sources.delivery.files},
                   {"actions", sources.delivery.actions},
                   {"parked", sources.delivery.parked},
                   {"lastFailure", sources.delivery.lastFailure.Str()}};
  json["actions"] = ActionsInProgress(sources);
  json["waitingActions"] = sources.waitingActions;
  return json;
}

Result<std::string> StatusToText(const std::string& json) {
  try {
    return Render(ordered_json::parse(json));
  } catch (const ordered_json::exception& error) {
    return Failure{KorString(std::string("the agent's status cannot be read: ") + error.what())};
  }
}

}  // namespace agent
