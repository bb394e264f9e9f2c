#include "agent/console_commands.h"

#include <chrono>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "agent/console_client.h"
#include "agent/container_json.h"
#include "agent/exit_code.h"
#include "agent/host_options.h"
#include "agent/local_invocation.h"
#include "agent/output.h"
#include "agent/service_status.h"
#include "agent/terminal_log.h"

namespace agent {
namespace {

using nlohmann::ordered_json;

constexpr std::chrono::seconds kPatience{30};
// An action may take as long as it likes.
constexpr std::chrono::seconds kWithoutBound{0};

int End(int status, const KorString& reason) {
  Complain(reason);
  return status;
}

Result<ConsoleAnswer> Ask(const CommonOptions& common, const ConsoleRequest& request,
                          std::chrono::seconds patience) {
  const Result<KorString> home = HomePathOf(common);
  if (!home.IsOk()) return Failure{home.Reason()};
  return AskAgent(home.Value(), request, patience);
}

int Print(const std::string& text) {
  const Result<void> written = WriteToStandardOutput(text);
  return written.IsOk() ? kExitOk : End(kExitNotWritten, written.Reason());
}

Result<std::string> ActionsToText(const std::string& json) {
  try {
    std::string text;
    for (const ordered_json& action : ordered_json::parse(json)) {
      text += action.at("signature").get<std::string>() + "\n";
    }
    return text;
  } catch (const ordered_json::exception& error) {
    return Failure{KorString(std::string("the agent's actions cannot be read: ") + error.what())};
  }
}

using Rendering = Result<std::string> (*)(const std::string& json);

int AskAndPrint(const CommonOptions& common, const ConsoleRequest& request, bool asJson,
                Rendering render) {
  const Result<ConsoleAnswer> answer = Ask(common, request, kPatience);
  if (!answer.IsOk()) return End(kExitNotStarted, answer.Reason());
  const ConsoleAnswer& given = answer.Value();
  if (given.code != 0) return End(kExitFailed, KorString(given.error));
  if (asJson) return Print(given.content + "\n");
  const Result<std::string> text = render(given.content);
  return text.IsOk() ? Print(text.Value()) : End(kExitFailed, text.Reason());
}

const char* NameOfCode(uint32_t code) {
  static const std::map<uint32_t, const char*> names = {
      {ACTIONDB_ERROR_FAILURE, "failure"},
      {ACTIONDB_ERROR_ACTIONNOTFOUND, "unknown action"},
      {ACTIONDB_ERROR_BADPARAM, "bad parameter"},
      {44002, "the file was handled"},
      {44003, "the file was handled and may be deleted"},
      {44004, "the file is not meant for the module"},
  };
  const auto name = names.find(code);
  return name == names.end() ? "no known code" : name->second;
}

int PrintAnswer(const InvokeRequest& request, const ConsoleAnswer& answer) {
  if (!answer.content.empty()) {
    const int printed = Print(answer.content + "\n");
    if (printed != kExitOk) return printed;
  }
  if (answer.code == ACTIONDB_ERROR_SUCCESS) return kExitOk;
  if (!answer.error.empty()) return End(kExitFailed, KorString(answer.error));
  KorString reason;
  reason.Printf("the action '%S' gave the code %u (%s)", request.action, answer.code,
                NameOfCode(answer.code));
  return End(kExitFailed, reason);
}

}  // namespace

int RunStatus(const CommonOptions& common, const StatusOptions& options) {
  return AskAndPrint(common, StatusRequest(), options.json, StatusToText);
}

int RunActions(const CommonOptions& common, const ActionsOptions& options) {
  return AskAndPrint(common, ActionsRequest(), options.json, ActionsToText);
}

int RunInvoke(const CommonOptions& common, const InvokeOptions& options) {
  InvokeRequest request{KorString(options.action), {}};
  const Result<KorContainer> parameters =
      ContainerFromJsonText(options.parameters.empty() ? "{}" : options.parameters);
  if (!parameters.IsOk()) {
    return End(kExitUsage, KorString("the parameters cannot be used: ") + parameters.Reason());
  }
  request.parameters = parameters.Value();
  const Result<ConsoleAnswer> answer =
      options.local ? InvokeLocally(common, options, request) : Ask(common, request, kWithoutBound);
  if (!answer.IsOk()) return End(kExitNotStarted, answer.Reason());
  return PrintAnswer(request, answer.Value());
}

}  // namespace agent
