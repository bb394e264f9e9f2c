// The console's requests and answers, containers as JSON and the items that a server sends.

#include "agent/console_protocol.h"
#include "agent/container_json.h"
#include "agent/inbound_item.h"
#include "agent/json_object_writer.h"
#include "support.h"

#include <nlohmann/json.hpp>

namespace {

using nlohmann::ordered_json;

void CheckLine(const std::string& line) {
  fuzz::Require(line.find('\n') == line.size() - 1, "a message is one line");
}

void CheckRequest(std::string_view input) {
  const auto request = agent::ParseConsoleRequest(input);
  if (!request.IsOk()) {
    fuzz::Require(!request.Reason().IsEmpty(), "a refusal has a reason");
    const std::string line = agent::ConsoleErrorLine(13, request.Reason());
    CheckLine(line);
    const auto answer = agent::ParseConsoleAnswer(line, -1);
    fuzz::Require(answer.IsOk() && answer.Value().code == 13, "a refusal can be read");
    return;
  }
  const std::string line = agent::ConsoleRequestLine(request.Value());
  CheckLine(line);
  const auto again = agent::ParseConsoleRequest(line);
  fuzz::Require(again.IsOk(), "a written request can be read");
  fuzz::Require(again.Value().index() == request.Value().index(), "it is the same request");
  const auto* invoke = std::get_if<agent::InvokeRequest>(&request.Value());
  if (invoke == nullptr) return;
  const auto& invokeAgain = std::get<agent::InvokeRequest>(again.Value());
  fuzz::Require(invoke->action == invokeAgain.action, "it is the same request");
  fuzz::Require(invoke->parameters == invokeAgain.parameters, "it is the same request");
  const std::string answer = agent::InvokeForConsole(*invoke);
  CheckLine(answer);
  fuzz::Require(agent::ParseConsoleAnswer(answer, 2).IsOk(), "an answer can be read");
}

void CheckContainer(std::string_view input) {
  const auto container = agent::ContainerFromJsonText(input);
  if (!container.IsOk()) {
    fuzz::Require(!container.Reason().IsEmpty(), "a refusal has a reason");
    return;
  }
  for (const int indentation : {-1, 2}) {
    const std::string text = agent::ContainerToJsonText(container.Value(), indentation);
    const auto again = agent::ContainerFromJsonText(text);
    fuzz::Require(again.IsOk() && again.Value() == container.Value(), "FromJson(ToJson(c)) = c");
  }
}

void CheckAnswer(std::string_view input) {
  const auto answer = agent::ParseConsoleAnswer(input, 2);
  if (!answer.IsOk() || answer.Value().content.empty()) return;
  fuzz::Require(ordered_json::accept(answer.Value().content), "the content of an answer is JSON");
}

void CheckQuoting(std::string_view input) {
  const std::string quoted = agent::QuotedJson(KorString(input));
  fuzz::Require(ordered_json::accept(quoted), "a quoted text is JSON");
  // Reading and quoting once more changes nothing: what was lost was lost the first time.
  const auto text = ordered_json::parse(quoted).get<std::string>();
  fuzz::Require(agent::QuotedJson(KorString(text)) == quoted, "a quoted text is stable");
}

void CheckInboundItem(std::string_view input) {
  const auto item = agent::ParseInboundItem(input);
  if (!item.IsOk()) return;
  const std::string_view file = item.Value().file.View();
  fuzz::Require(file.find('/') == std::string_view::npos && file != "..", "a file's name is bare");
}

uint32_t Nothing(KorContainer* parameters) {
  parameters->SetBool("Done", true);
  return ACTIONDB_ERROR_SUCCESS;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::QuietLog log;
  static const uint32_t registered = ActionDbRegisterAction(
      "Test (string First, bool Second, int Third, container Fourth)", Nothing, &log);
  fuzz::Require(registered == ACTIONDB_ERROR_SUCCESS, "an action can be registered");
  fuzz::UseLog(log);

  const std::string_view input = fuzz::View(data, size);
  CheckRequest(input);
  CheckContainer(input);
  CheckAnswer(input);
  CheckQuoting(input);
  CheckInboundItem(input);
  return 0;
}
