#include "agent/console_protocol.h"

#include <algorithm>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <utility>

#include "agent/container_json.h"
#include "agent/near_miss.h"

namespace agent {
namespace {

using nlohmann::ordered_json;

// What a request may hold beside "command".
const std::map<std::string, std::vector<std::string>>& RequestMembers() {
  static const std::map<std::string, std::vector<std::string>> members = {
      {"status", {}}, {"actions", {}}, {"invoke", {"action", "parameters"}}};
  return members;
}

Failure Complaint(const std::string& text) {
  return Failure{KorString(text)};
}

Result<std::string> ReadCommand(const ordered_json& json) {
  if (!json.is_object()) return Complaint("a request is a JSON object");
  const auto command = json.find("command");
  if (command == json.end() || !command->is_string()) {
    return Complaint("a request has a \"command\": status, actions or invoke");
  }
  const auto name = command->get<std::string>();
  const auto known = RequestMembers().find(name);
  if (known == RequestMembers().end()) {
    return Complaint("the command '" + name + "' is not status, actions or invoke");
  }
  for (const auto& [key, value] : json.items()) {
    const bool expected = key == "command" || std::ranges::count(known->second, key) > 0;
    if (!expected) return Complaint("'" + key + "' is not a part of the request '" + name + "'");
  }
  return name;
}

Result<ConsoleRequest> ReadInvoke(const ordered_json& json) {
  InvokeRequest request;
  const auto action = json.find("action");
  if (action == json.end() || !action->is_string()) {
    return Complaint("the request 'invoke' has an \"action\", a text");
  }
  request.action = KorString(action->get<std::string>());
  const auto parameters = json.find("parameters");
  if (parameters == json.end()) return ConsoleRequest(request);
  Result<KorContainer> container = ContainerFromJson(*parameters);
  if (!container.IsOk()) return Failure{KorString("parameters: ") + container.Reason()};
  request.parameters = std::move(container.Value());
  return ConsoleRequest(request);
}

KorContainer::Type TypeOfSignature(const KorString& name) {
  if (name == "bool") return KorContainer::Type::kBool;
  if (name == "int") return KorContainer::Type::kInt32;
  if (name == "container") return KorContainer::Type::kContainer;
  return KorContainer::Type::kString;
}

Result<void> CheckParameters(const ActionDescription& action, const KorContainer& given) {
  for (const ActionParameter& parameter : action.parameters) {
    KorContainer::Type type = KorContainer::Type::kString;
    if (!given.TypeOf(parameter.name, type)) continue;
    const bool fits =
        type == TypeOfSignature(parameter.type) && given.CountValues(parameter.name) == 1;
    if (fits) continue;
    Failure failure;
    failure.reason.Printf("the parameter '%S' of '%S' is one value of the type %S", parameter.name,
                          action.signature, parameter.type);
    return failure;
  }
  return {};
}

const ActionDescription* Find(const std::vector<ActionDescription>& actions,
                              const KorString& name) {
  const auto found = std::ranges::find(actions, name, &ActionDescription::name);
  return found == actions.end() ? nullptr : &*found;
}

}  // namespace

Result<ConsoleRequest> ParseConsoleRequest(std::string_view line) {
  const Result<ordered_json> parsed = ParseJson(line);
  if (!parsed.IsOk()) return Failure{parsed.Reason()};
  const ordered_json& json = parsed.Value();
  const Result<std::string> command = ReadCommand(json);
  if (!command.IsOk()) return Failure{command.Reason()};
  if (command.Value() == "status") return ConsoleRequest(StatusRequest());
  if (command.Value() == "actions") return ConsoleRequest(ActionsRequest());
  return ReadInvoke(json);
}

std::string ConsoleRequestLine(const ConsoleRequest& request) {
  ordered_json json;
  if (std::holds_alternative<StatusRequest>(request)) {
    json["command"] = "status";
  } else if (const auto* invoke = std::get_if<InvokeRequest>(&request)) {
    json["command"] = "invoke";
    json["action"] = invoke->action.Str();
    json["parameters"] = ContainerToJson(invoke->parameters);
  } else {
    json["command"] = "actions";
  }
  return JsonText(json) + "\n";
}

std::string ConsoleErrorLine(uint32_t code, const KorString& error) {
  ordered_json json;
  json["code"] = code;
  json["error"] = error.Str();
  return JsonText(json) + "\n";
}

std::string ConsoleContentLine(uint32_t code, const char* member, const ordered_json& content) {
  ordered_json json;
  json["code"] = code;
  json[member] = content;
  return JsonText(json) + "\n";
}

Result<ConsoleAnswer> ParseConsoleAnswer(std::string_view line, int indentation) {
  // As many values as the agent has to tell.
  const Result<ordered_json> parsed = ParseJson(line, SIZE_MAX);
  if (!parsed.IsOk()) {
    return Complaint("the agent's answer cannot be read: " + parsed.Reason().Str());
  }
  const ordered_json& json = parsed.Value();
  try {
    ConsoleAnswer answer;
    const int64_t code = JsonInteger(json.at("code"));
    if (!std::in_range<uint32_t>(code)) {
      return Complaint("the agent's answer cannot be read: its code is not one");
    }
    answer.code = static_cast<uint32_t>(code);
    for (const char* member : {"container", "status", "actions"}) {
      if (json.contains(member)) answer.content = JsonText(json[member], indentation);
    }
    if (json.contains("error")) answer.error = json["error"].get<std::string>();
    return answer;
  } catch (const ordered_json::exception& error) {
    return Complaint(std::string("the agent's answer cannot be read: ") + error.what());
  }
}

ordered_json ActionsToJson(const std::vector<ActionDescription>& actions) {
  ordered_json list = ordered_json::array();
  for (const ActionDescription& action : actions) {
    ordered_json parameters = ordered_json::array();
    for (const ActionParameter& parameter : action.parameters) {
      parameters.push_back({{"name", parameter.name.Str()}, {"type", parameter.type.Str()}});
    }
    list.push_back({{"name", action.name.Str()},
                    {"signature", action.signature.Str()},
                    {"parameters", std::move(parameters)}});
  }
  return list;
}

std::string InvokeForConsole(const InvokeRequest& request) {
  const std::vector<ActionDescription> actions = ActionDbActions();
  const ActionDescription* const action = Find(actions, request.action);
  if (action == nullptr) {
    return ConsoleErrorLine(ACTIONDB_ERROR_ACTIONNOTFOUND,
                            UnknownActionText(request.action, actions));
  }
  const Result<void> checked = CheckParameters(*action, request.parameters);
  if (!checked.IsOk()) return ConsoleErrorLine(ACTIONDB_ERROR_BADPARAM, checked.Reason());
  KorContainer container = request.parameters;
  const uint32_t code = ActionDbInvokeContainer("", request.action, container, 0, -1, -1, 0);
  return ConsoleContentLine(code, "container", ContainerToJson(container));
}

KorString UnknownActionText(const KorString& action, const std::vector<ActionDescription>& known) {
  KorString text;
  text.Printf("no module offers the action '%S'", action);
  std::vector<std::string> names;
  names.reserve(known.size());
  for (const ActionDescription& candidate : known) names.push_back(candidate.name.Str());
  const std::string meant = DidYouMean(action.View(), names);
  return text + (meant.empty() ? "; 'kor-agent actions' lists them" : KorString(meant));
}

}  // namespace agent
