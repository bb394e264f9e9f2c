#include "agent/container_json.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace {

TEST(ContainerJson, EveryTypeComesBackInOrder) {
  KorContainer options;
  options.SetString("Mode", "fast");
  KorContainer container;
  container.SetString("Zeta", "text \"quoted\"");
  container.SetBool("Alpha", true);
  container.SetInt32("Least", -2147483647 - 1);
  container.SetContainer("Options", options);
  container.SetString("Several", "a");
  container.SetString("Several", "b", 1);

  const std::string text = agent::ContainerToJsonText(container);
  const agent::Result<KorContainer> back = agent::ContainerFromJsonText(text);

  EXPECT_EQ(R"({"Zeta":"text \"quoted\"","Alpha":true,"Least":-2147483648,)"
            R"("Options":{"Mode":"fast"},"Several":["a","b"]})",
            text);
  ASSERT_TRUE(back.IsOk()) << back.Reason().CStr();
  EXPECT_EQ(container, back.Value());
}

TEST(ContainerJson, BytesThatAreNotUtf8AreReplaced) {
  KorContainer container;
  container.SetString("Name", "caf\xe9");
  EXPECT_EQ("{\"Name\":\"caf\xef\xbf\xbd\"}", agent::ContainerToJsonText(container));
}

TEST(ContainerJson, ComplaintsNameTheKey) {
  const auto reason = [](std::string_view text) {
    const agent::Result<KorContainer> result = agent::ContainerFromJsonText(text);
    return result.IsOk() ? std::string("none") : result.Reason().Str();
  };
  EXPECT_EQ("'A.B': numbers are whole numbers from -2147483648 to 2147483647",
            reason(R"({"A":{"B":2147483648}})"));
  EXPECT_EQ("'A': numbers are whole numbers from -2147483648 to 2147483647",
            reason(R"({"A":18446744073709551615})"));
  EXPECT_EQ("'A': numbers are whole numbers from -2147483648 to 2147483647",
            reason(R"({"A":1.5})"));
  EXPECT_EQ("'A': the values of a list must be of one type", reason(R"({"A":["x",true]})"));
  EXPECT_EQ("'A': an empty list has no type; leave the key out", reason(R"({"A":[]})"));
  EXPECT_EQ("'A': lists cannot be nested", reason(R"({"A":[["x"]]})"));
  EXPECT_EQ("'A': null is no value", reason(R"({"A":null})"));
  EXPECT_EQ("the text: an object is expected", reason("[]"));
  EXPECT_EQ(0U, reason("{").find("it is not JSON: "));
}

TEST(ContainerJson, DeepNestingIsRefused) {
  std::string text;
  for (int depth = 0; depth < 100; ++depth) text += R"({"A":)";
  text += "1" + std::string(100, '}');
  EXPECT_FALSE(agent::ContainerFromJsonText(text).IsOk());
}

TEST(ContainerJson, LevelsWithoutNumberAreRefusedBeforeTheyTakeMemory) {
  const agent::Result<KorContainer> result =
      agent::ContainerFromJsonText(R"({"A":)" + std::string(1'000'000, '['));
  ASSERT_FALSE(result.IsOk());
  EXPECT_EQ(KorString("it is nested too deeply"), result.Reason());
}

TEST(ContainerJson, ObjectsOfManyMembersAreRefused) {
  const auto text = [](size_t members) {
    std::string all = R"({"Inner": [{"Small": 1}, {)";
    for (size_t member = 0; member < members; ++member) {
      all += (member == 0 ? "\"" : ",\"") + std::to_string(member) + "\":1";
    }
    return all + "}]}";
  };
  EXPECT_TRUE(agent::ContainerFromJsonText(text(1024)).IsOk());
  const agent::Result<KorContainer> result = agent::ContainerFromJsonText(text(1025));
  ASSERT_FALSE(result.IsOk());
  EXPECT_EQ(KorString("an object has more than 1024 members"), result.Reason());
}

// A value, repeated in a list.
std::string ListOf(const std::string& value, size_t count) {
  std::string list = "[";
  for (size_t n = 0; n < count; ++n) list += (n == 0 ? "" : ",") + value;
  return list + "]";
}

TEST(ContainerJson, ValuesBeyondTheirNumberAreRefused) {
  // The object and the list count, too.
  const size_t most = agent::kMostJsonValues - 2;
  EXPECT_TRUE(agent::ContainerFromJsonText("{\"A\":" + ListOf("1", most) + "}").IsOk());
  const agent::Result<KorContainer> result =
      agent::ContainerFromJsonText("{\"A\":" + ListOf("1", most + 1) + "}");
  ASSERT_FALSE(result.IsOk());
  EXPECT_EQ(KorString("it has more than 65536 values"), result.Reason());
}

// No object costs the work of all before it, which would be minutes for this text.
TEST(ContainerJson, ListOfManyObjectsIsReadInItsLength) {
  const auto json = agent::ParseJson(ListOf("{}", 60'000));
  ASSERT_TRUE(json.IsOk()) << json.Reason().CStr();
  EXPECT_EQ(60'000U, json.Value().size());
}

// Each member's place is as long as the names around it, and is spelled out only when asked for.
TEST(ContainerJson, LongNamesAroundManyMembersAreReadOnce) {
  std::string members;
  for (int n = 0; n < 1000; ++n) members += ",\"" + std::to_string(n) + "\":1";
  const std::string name(300'000, 'n');
  std::string text = "{\"" + name + "\":" + ListOf("{" + members.substr(1) + "}", 30);
  EXPECT_TRUE(agent::ContainerFromJsonText(text + "}").IsOk());
  const agent::Result<KorContainer> result =
      agent::ContainerFromJsonText("{\"A\":{\"B\":[{\"C\":null}]}}");
  ASSERT_FALSE(result.IsOk());
  EXPECT_EQ(KorString("'A.B.C': null is no value"), result.Reason());
}

}  // namespace
