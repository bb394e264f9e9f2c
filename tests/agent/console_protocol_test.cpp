#include "agent/console_protocol.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <variant>

#include "agent/container_json.h"

namespace agent {
namespace {

using nlohmann::ordered_json;

std::string ReasonOf(std::string_view line) {
  const Result<ConsoleRequest> request = ParseConsoleRequest(line);
  return request.IsOk() ? "(it was understood)" : request.Reason().Str();
}

TEST(ConsoleProtocol, EveryRequestComesBackFromItsLine) {
  InvokeRequest invoke{"HardwareQuery", {}};
  invoke.parameters.SetString("Text", "a \"b\"\n\xc3\xa4");
  invoke.parameters.SetBool("Flag", true);
  invoke.parameters.SetInt32("Number", -7);
  const Result<ConsoleRequest> read = ParseConsoleRequest(ConsoleRequestLine(invoke));
  ASSERT_TRUE(read.IsOk());
  const auto& back = std::get<InvokeRequest>(read.Value());
  EXPECT_EQ(invoke.action, back.action);
  EXPECT_EQ(invoke.parameters, back.parameters);
  EXPECT_TRUE(std::holds_alternative<StatusRequest>(
      ParseConsoleRequest(ConsoleRequestLine(StatusRequest())).Value()));
  EXPECT_TRUE(std::holds_alternative<ActionsRequest>(
      ParseConsoleRequest(ConsoleRequestLine(ActionsRequest())).Value()));
}

TEST(ConsoleProtocol, EachRequestIsOneLine) {
  InvokeRequest invoke{"Action", {}};
  invoke.parameters.SetString("Text", "two\nlines");
  const std::string line = ConsoleRequestLine(invoke);
  EXPECT_EQ(line.size() - 1, line.find('\n'));
}

TEST(ConsoleProtocol, ParametersMayBeLeftOut) {
  EXPECT_TRUE(ParseConsoleRequest(R"({"command":"invoke","action":"A"})").IsOk());
}

TEST(ConsoleProtocol, WhatCannotBeUnderstoodGetsOneClearLine) {
  EXPECT_EQ("a request is a JSON object", ReasonOf("[1]"));
  EXPECT_EQ("a request is a JSON object", ReasonOf("7"));
  EXPECT_EQ("a request has a \"command\": status, actions or invoke", ReasonOf("{}"));
  EXPECT_EQ("a request has a \"command\": status, actions or invoke", ReasonOf(R"({"command":5})"));
  EXPECT_EQ("the command 'reboot' is not status, actions or invoke",
            ReasonOf(R"({"command":"reboot"})"));
  EXPECT_EQ("'verbose' is not a part of the request 'status'",
            ReasonOf(R"({"command":"status","verbose":true})"));
  EXPECT_EQ("'action' is not a part of the request 'status'",
            ReasonOf(R"({"command":"status","action":"A"})"));
  EXPECT_EQ("the request 'invoke' has an \"action\", a text", ReasonOf(R"({"command":"invoke"})"));
  EXPECT_EQ("the request 'invoke' has an \"action\", a text",
            ReasonOf(R"({"command":"invoke","action":["A"]})"));
}

TEST(ConsoleProtocol, WrongParametersNameTheirPlace) {
  const std::string reason =
      ReasonOf(R"({"command":"invoke","action":"A","parameters":{"Values":{"Depth":1.5}}})");
  EXPECT_EQ(0U, reason.find("parameters: ")) << reason;
  EXPECT_NE(std::string::npos, reason.find("'Values.Depth'")) << reason;
}

TEST(ConsoleProtocol, GarbageIsNoJson) {
  for (const std::string& garbage :
       {std::string("\0\1\2\xff", 4), std::string("{\"command\":"), std::string("GET / HTTP/1.1\r"),
        std::string("{\"command\":\"\xc3\x28\"}")}) {
    EXPECT_EQ(0U, ReasonOf(garbage).find("it is not JSON: ")) << garbage.substr(0, 20);
  }
  EXPECT_EQ("it is nested too deeply", ReasonOf(std::string(900'000, '[')));
}

class ConsoleInvocation : public testing::Test {
 protected:
  ConsoleInvocation() {
    ActionDbRegisterAction(
        "TestEcho (bool Flag, string Text, int Number, container Values)",
        [](KorContainer*) { return ACTIONDB_ERROR_SUCCESS; }, this);
    ActionDbRegisterAction(
        "TestCode ()", [](KorContainer*) { return 44002U; }, this);
  }
  ~ConsoleInvocation() override { ActionDbDropModule(this); }

  static ordered_json Invoke(const char* action, const char* parameters) {
    const Result<KorContainer> container = ContainerFromJsonText(parameters);
    return ordered_json::parse(InvokeForConsole({action, container.Value()}));
  }
};

TEST_F(ConsoleInvocation, GivesTheActionsCodeAndContainer) {
  const ordered_json answer = Invoke("TestEcho", R"({"Flag":true,"Other":"kept"})");
  EXPECT_EQ(0, answer["code"]);
  EXPECT_EQ("kept", answer["container"]["Other"]);
  EXPECT_EQ(true, answer["container"]["Flag"]);
  EXPECT_EQ(44002, Invoke("TestCode", "{}")["code"]);
}

TEST_F(ConsoleInvocation, DeclaredParametersMustHaveTheirTypes) {
  for (const char* wrong : {R"({"Flag":"true"})", R"({"Flag":1})", R"({"Text":5})",
                            R"({"Number":"5"})", R"({"Values":"x"})", R"({"Flag":[true,false]})"}) {
    const ordered_json answer = Invoke("TestEcho", wrong);
    EXPECT_EQ(13, answer["code"]) << wrong;
    EXPECT_TRUE(answer.contains("error")) << wrong;
    EXPECT_FALSE(answer.contains("container")) << wrong;
  }
}

TEST_F(ConsoleInvocation, ParametersOutsideTheSignatureArePassedOnWhateverTheirType) {
  EXPECT_EQ(0, Invoke("TestEcho", R"({"flag":"lower case is another key","More":[1,2]})")["code"]);
}

TEST_F(ConsoleInvocation, UnknownActionIsAnsweredWithTheNearestName) {
  const ordered_json answer = Invoke("testecko", "{}");
  EXPECT_EQ(2, answer["code"]);
  EXPECT_EQ("no module offers the action 'testecko'; did you mean 'TestEcho'?", answer["error"]);
}

TEST(UnknownAction, WithoutANearNameTheListIsNamed) {
  ActionDescription known;
  known.name = "HardwareGetValues";
  EXPECT_EQ("no module offers the action 'Reboot'; 'kor-agent actions' lists them",
            UnknownActionText("Reboot", {known}));
  EXPECT_EQ("no module offers the action 'HardwareGetValue'; did you mean 'HardwareGetValues'?",
            UnknownActionText("HardwareGetValue", {known}));
}

TEST(UnknownAction, HugeNameCostsNothing) {
  ActionDescription known;
  known.name = "HardwareGetValues";
  EXPECT_GT(UnknownActionText(KorString(std::string(1'000'000, 'x')), {known}).GetLength(),
            1'000'000U);
}

TEST(ConsoleAnswer, ErrorsAndContentsAreToldApart) {
  const Result<ConsoleAnswer> error = ParseConsoleAnswer(ConsoleErrorLine(13, "wrong"), 2);
  ASSERT_TRUE(error.IsOk());
  EXPECT_EQ(13U, error.Value().code);
  EXPECT_EQ("wrong", error.Value().error);
  EXPECT_EQ("", error.Value().content);
  const Result<ConsoleAnswer> content =
      ParseConsoleAnswer(ConsoleContentLine(0, "status", {{"a", 1}}), -1);
  ASSERT_TRUE(content.IsOk());
  EXPECT_EQ("{\"a\":1}", content.Value().content);
  EXPECT_FALSE(ParseConsoleAnswer("nonsense", 2).IsOk());
  EXPECT_FALSE(ParseConsoleAnswer("{}", 2).IsOk());
}

TEST(ConsoleAnswer, CodeIsAWholeNumberOf32Bits) {
  for (const char* code : {"0", "4294967295"}) {
    EXPECT_TRUE(ParseConsoleAnswer(R"({"code":)" + std::string(code) + "}", -1).IsOk()) << code;
  }
  for (const char* code : {"1.5", "518446744073709551615", "-242949672961474836480", "1e300",
                           "4294967296", "-1", "18446744073709551615", "true", "\"1\""}) {
    const Result<ConsoleAnswer> answer =
        ParseConsoleAnswer(R"({"code":)" + std::string(code) + "}", -1);
    ASSERT_FALSE(answer.IsOk()) << code;
    EXPECT_TRUE(answer.Reason().View().starts_with("the agent's answer cannot be read: ")) << code;
  }
}

}  // namespace
}  // namespace agent
