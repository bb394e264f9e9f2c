#include "agent/service_status.h"

#include <gtest/gtest.h>

#include <string>

namespace agent {
namespace {

// As the agent gives it, but for the number of actions that wait and the age of the run.
std::string StatusWith(const std::string& waiting, const std::string& seconds) {
  return R"({"agent":{"version":"1","process":7,"since":"noon","home":"/h"},"modules":[],
             "run":{"since":"one","seconds":)" +
         seconds + R"(,"command":null},"lastRun":null,"lastUpload":null,"timers":[],
             "queue":{"files":1,"actions":2,"parked":3,"lastFailure":""},"actions":[],
             "waitingActions":)" +
         waiting + "}";
}

}  // namespace

TEST(ServiceStatusText, NumbersAreShown) {
  const Result<std::string> text = StatusToText(StatusWith("4", "90"));
  ASSERT_TRUE(text.IsOk()) << text.Reason().Str();
  for (const char* line : {"process 7, since noon", "since one (90 s)",
                           "1 files and 2 actions wait, 3 are parked", "4 actions"}) {
    EXPECT_NE(std::string::npos, text.Value().find(line)) << text.Value();
  }
}

TEST(ServiceStatusText, NothingWaitsNothingIsShown) {
  const Result<std::string> text = StatusToText(StatusWith("0", "90"));
  ASSERT_TRUE(text.IsOk()) << text.Reason().Str();
  EXPECT_EQ(std::string::npos, text.Value().find("Waiting")) << text.Value();
}

TEST(ServiceStatusText, WhatIsNoStatusIsRefused) {
  for (const std::string& json :
       {std::string("{}"), std::string("[]"), std::string("nonsense"), StatusWith("1e300", "90"),
        StatusWith("4", "518446744073709551615"), StatusWith("4", "1.5"),
        StatusWith("null", "1")}) {
    const Result<std::string> text = StatusToText(json);
    ASSERT_FALSE(text.IsOk()) << json;
    EXPECT_TRUE(text.Reason().View().starts_with("the agent's status cannot be read: ")) << json;
  }
}

}  // namespace agent
