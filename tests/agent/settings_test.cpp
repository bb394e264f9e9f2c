#include "agent/settings.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

agent::Settings Read(const TemporaryFolder& folder, const std::string& content) {
  mkdir(folder.Path("config").CStr(), 0750);
  if (!content.empty()) folder.Write("config/kor-agent.ini", "[Agent]\n" + content);
  return agent::ReadSettings(agent::Home{folder.Path()}).Value();
}

TEST(Settings, DefaultsWithoutAFile) {
  const TemporaryFolder folder;
  CapturedLog log(KorFrameworkLog());
  const agent::Settings settings = Read(folder, "");
  EXPECT_TRUE(settings.transferWindows.IsOpen(0));
  EXPECT_EQ(folder.Path("data/upstream"), settings.upstreamFolder);
  EXPECT_EQ("", settings.upstreamUrl);
  EXPECT_EQ(3600U, settings.pollSeconds);
  EXPECT_EQ(0U, settings.commandTimeoutSeconds);
  EXPECT_EQ(1073741824U, settings.queueLimitBytes);
  EXPECT_TRUE(settings.keepEvidence);
  EXPECT_EQ("", settings.topology);
  EXPECT_EQ("", log.Text());
}

TEST(Settings, EverythingCanBeSet) {
  const TemporaryFolder folder;
  CapturedLog log(KorFrameworkLog());
  const agent::Settings settings =
      Read(folder,
           "TransferWindows = 22:00-06:00\nUpstreamFolder = ../out\n"
           "UpstreamUrl = https://inventory.example/agents/\nUpstreamToken = secret\n"
           "UpstreamCertificate = client.pem\nUpstreamKey = /etc/keys/client.key\n"
           "UpstreamCaFile = ca.pem\nPollInterval = 0\nCommandTimeout = 60\n"
           "QueueLimit = 2000000\nKeepEvidence = no\nTopology = _DB_DEVTYPE_UNCONNECTED_\n");
  EXPECT_EQ(folder.Path("out"), settings.upstreamFolder);
  EXPECT_EQ("https://inventory.example/agents", settings.upstreamUrl);
  EXPECT_EQ("secret", settings.upstreamToken);
  EXPECT_EQ(folder.Path("config/client.pem"), settings.upstreamCertificate);
  EXPECT_EQ("/etc/keys/client.key", settings.upstreamKey);
  EXPECT_EQ(folder.Path("config/ca.pem"), settings.upstreamCaFile);
  EXPECT_EQ(0U, settings.pollSeconds);
  EXPECT_EQ(60U, settings.commandTimeoutSeconds);
  EXPECT_EQ(2000000U, settings.queueLimitBytes);
  EXPECT_FALSE(settings.keepEvidence);
  EXPECT_EQ("_DB_DEVTYPE_UNCONNECTED_", settings.topology);
  EXPECT_EQ("", log.Text());
}

TEST(Settings, WhatCannotBeUsedIsSaidInOneLineAndHasItsDefault) {
  const struct {
    const char* line;
    const char* message;
  } cases[] = {
      {"PollInterval = soon",
       "[Agent] PollInterval = 'soon' cannot be used: set a whole number "
       "from 0 to 2592000; 3600 is used"},
      {"QueueLimit = 1",
       "[Agent] QueueLimit = '1' cannot be used: set a whole number from 1048576 "
       "to 1125899906842624; 1073741824 is used"},
      {"TransferWindows = night",
       "[Agent] TransferWindows = 'night' cannot be used: 'night' is not a window such as "
       "22:00-06:00; write hh:mm-hh:mm, several with commas; sending is allowed at all times"},
      {"UpstreamUrl = http://inventory.example",
       "[Agent] UpstreamUrl = 'http://inventory.example' cannot be used: http would show the "
       "inventory to others on its way; use https; UpstreamFolder is used"},
  };
  for (const auto& test : cases) {
    const TemporaryFolder folder;
    CapturedLog log(KorFrameworkLog());
    const agent::Settings settings = Read(folder, std::string(test.line) + "\n");
    EXPECT_EQ("warning: " + folder.Path("config/kor-agent.ini").Str() + ": " + test.message + "\n",
              log.Text());
    EXPECT_EQ(3600U, settings.pollSeconds);
    EXPECT_EQ(1073741824U, settings.queueLimitBytes);
    EXPECT_EQ("", settings.upstreamUrl);
    EXPECT_TRUE(settings.transferWindows.IsOpen(0));
  }
}

// With the defaults, inventories would go to another place than the one that was configured.
TEST(Settings, FileThatCannotBeReadIsAFailure) {
  const TemporaryFolder folder;
  mkdir(folder.Path("config").CStr(), 0750);
  mkdir(folder.Path("config/kor-agent.ini").CStr(), 0750);
  const auto settings = agent::ReadSettings(agent::Home{folder.Path()});
  ASSERT_FALSE(settings.IsOk());
  EXPECT_EQ(KorString("the settings '") + folder.Path("config/kor-agent.ini") +
                "' cannot be read: Is a directory",
            settings.Reason());
}

}  // namespace
