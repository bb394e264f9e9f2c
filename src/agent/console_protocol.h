// What is said over the console's socket: one JSON object on a line, each way.
//
//   {"command": "status"}    {"code": 0, "status": {...}}
//   {"command": "actions"}   {"code": 0, "actions": [{"name", "signature", "parameters"}...]}
//   {"command": "invoke", "action": "...", "parameters": {...}}
//                            {"code": 0, "container": {...}}, the code being the action's
//
// A request that is not carried out is answered by {"code": 13, "error": "..."}: 13 for one that
// cannot be understood or has a parameter of the wrong type, 2 for an unknown action.

#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "agent/result.h"
#include "kor/container.h"
#include "korcore/action_db.h"

namespace agent {

struct StatusRequest {};
struct ActionsRequest {};
struct InvokeRequest {
  KorString action;
  KorContainer parameters;
};
using ConsoleRequest = std::variant<StatusRequest, ActionsRequest, InvokeRequest>;

Result<ConsoleRequest> ParseConsoleRequest(std::string_view line);
std::string ConsoleRequestLine(const ConsoleRequest& request);

struct ConsoleAnswer {
  uint32_t code = 0;
  std::string error;    // empty when the request was carried out
  std::string content;  // JSON: the container, the status or the list; empty without one
};

// The member's name tells what the content is.
std::string ConsoleErrorLine(uint32_t code, const KorString& error);
std::string ConsoleContentLine(uint32_t code, const char* member,
                               const nlohmann::ordered_json& content);
// For a client. Any of the contents is taken, written with that indentation.
Result<ConsoleAnswer> ParseConsoleAnswer(std::string_view line, int indentation);

nlohmann::ordered_json ActionsToJson(const std::vector<ActionDescription>& actions);

// Invokes the action on the calling thread and gives its answer. A parameter that the action's
// signature declares must have its type; others are passed on.
std::string InvokeForConsole(const InvokeRequest& request);

// "no module offers the action 'X'; did you mean 'Y'?"
KorString UnknownActionText(const KorString& action, const std::vector<ActionDescription>& known);

}  // namespace agent
