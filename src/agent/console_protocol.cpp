#include "agent/console_protocol.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <numeric>

#include "agent/container_json.h"

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

// How many letters have to be changed, added or taken away (Levenshtein).
size_t Distance(std::string_view left, std::string_view right) {
  std::vector<size_t> row(right.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t n = 0; n < left.size(); ++n) {
    size_t diagonal = row[0];
    row[0] = n + 1;
    for (size_t m = 0; m < right.size(); ++m) {
      const size_t changed = diagonal + (left[n] == right[m] ? 0 : 1);
      diagonal = row[m + 1];
      row[m + 1] = std::min({changed, row[m] + 1, diagonal + 1});
    }
  }
  return row.back();
}

std::string Lower(const KorString& text) {
  std::string lower = text.Str();
  for (char& byte : lower) {
    if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte - 'A' + 'a');
  }
  return lower;
}

const ActionDescription* Find(const std::vector<ActionDescription>& actions,
                              const KorString& name) {
  const auto found = std::ranges::find(actions, name, &ActionDescription::name);
  return found == actions.end() ? nullptr : &*found;
}

}  // namespace

Result<ConsoleRequest> ParseConsoleRequest(std::string_view line) {
  ordered_json json;
  try {
    json = ordered_json::parse(line);
  } catch (const ordered_json::exception& error) {
    return Complaint(std::string("it is not JSON: ") + error.what());
  }
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
  try {
    const ordered_json json = ordered_json::parse(line);
    ConsoleAnswer answer;
    answer.code = json.at("code").get<uint32_t>();
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
  // A wrong name can be long; a third of it may differ.
  const std::string wanted = Lower(action);
  size_t nearest = wanted.size() / 3 + 1;
  const ActionDescription* best = nullptr;
  for (const ActionDescription& candidate : known) {
    const std::string name = Lower(candidate.name);
    if (wanted.size() > 2 * name.size()) continue;
    const size_t distance = Distance(wanted, name);
    if (distance >= nearest) continue;
    nearest = distance;
    best = &candidate;
  }
  if (best == nullptr) return text + "; 'kor-agent actions' lists them";
  return text + "; did you mean '" + best->name + "'?";
}

}  // namespace agent
