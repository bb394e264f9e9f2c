#include "agent/identity.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>

#include "kor/condition.h"
#include "kor/container.h"
#include "kor/mutex.h"
#include "kor/regex.h"
#include "korcore/action_db.h"
#include "korcore/callback_db.h"
#include "korcore/host_worker.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

TEST(Identity, GuidIsMadeOnceAndKept) {
  const TemporaryFolder folder;
  const KorString file = folder.Path("identity.ini");

  const agent::Result<KorString> first = agent::LoadOrMakeGuid(file);
  const agent::Result<KorString> second = agent::LoadOrMakeGuid(file);

  ASSERT_TRUE(first.IsOk());
  ASSERT_TRUE(second.IsOk());
  EXPECT_EQ(first.Value(), second.Value());
  EXPECT_TRUE(MatchRegex(
      first.Value(), "^[0-9a-f]{8}-[0-9a-f]{4}-4[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}$", true))
      << first.Value().CStr();
}

TEST(Identity, EveryDeviceGetsAnotherGuid) {
  const TemporaryFolder folder;
  EXPECT_NE(agent::LoadOrMakeGuid(folder.Path("a.ini")).Value(),
            agent::LoadOrMakeGuid(folder.Path("b.ini")).Value());
}

TEST(Identity, DamagedFileIsSetAsideWithAWarning) {
  for (const char* content : {"", "[Identity]\nGUID = 1234\n", "nonsense",
                              "[Identity]\nGUID = 00000000-0000-0000-0000-000000000000\n"}) {
    const TemporaryFolder folder;
    const KorString file = folder.Write("identity.ini", content);
    testing::internal::CaptureStderr();

    const agent::Result<KorString> guid = agent::LoadOrMakeGuid(file);

    const std::string messages = testing::internal::GetCapturedStderr();
    EXPECT_NE(std::string::npos, messages.find("is damaged")) << messages;
    ASSERT_TRUE(guid.IsOk());
    EXPECT_EQ(36U, guid.Value().GetLength());
    EXPECT_EQ(content, folder.Read("identity.ini.damaged"));
    EXPECT_EQ(guid.Value(), agent::LoadOrMakeGuid(file).Value());
  }
}

TEST(Identity, GuidThatCannotBeStoredIsAFailure) {
  const TemporaryFolder folder;
  testing::internal::CaptureStderr();
  const agent::Result<KorString> guid = agent::LoadOrMakeGuid(folder.Path("missing/identity.ini"));
  testing::internal::GetCapturedStderr();
  ASSERT_FALSE(guid.IsOk());
  EXPECT_TRUE(guid.Reason().Find("cannot be stored", 0) >= 0) << guid.Reason().CStr();
}

TEST(Identity, FileThatCannotBeLookedAtIsAFailureAndStays) {
  const TemporaryFolder folder;
  const KorString file = folder.Path("identity.ini");
  std::filesystem::create_symlink("identity.ini", file.Str());

  const agent::Result<KorString> guid = agent::LoadOrMakeGuid(file);

  ASSERT_FALSE(guid.IsOk());
  EXPECT_EQ(guid.Reason(), "the device's identity in '" + file +
                               "' cannot be read: Too many levels of symbolic links");
  EXPECT_TRUE(std::filesystem::is_symlink(file.Str()));
}

TEST(Identity, LinkThatLeadsNowhereIsAFailureAndStays) {
  const TemporaryFolder folder;
  const KorString file = folder.Path("identity.ini");
  std::filesystem::create_symlink("unmounted/identity.ini", file.Str());

  const agent::Result<KorString> guid = agent::LoadOrMakeGuid(file);

  ASSERT_FALSE(guid.IsOk());
  EXPECT_EQ(guid.Reason(), "the device's identity in '" + file +
                               "' cannot be read: it is a link that leads nowhere");
  EXPECT_TRUE(std::filesystem::is_symlink(file.Str()));
}

KorString AskGuid(uint32_t& code) {
  KorContainer container;
  KorString guid;
  code = ActionDbInvokeContainer("", "IdentityGetGUID", container, 0, -1, -1, 0);
  container.GetString("GUID", guid);
  return guid;
}

TEST(Identity, ActionsAnswerWhileItLives) {
  const TemporaryFolder folder;
  const KorString file = folder.Path("identity.ini");
  const KorString stored = agent::LoadOrMakeGuid(file).Value();
  KorContainer container;
  KorString topology = "none";
  uint32_t code = 99;
  {
    const agent::Identity identity(file, "_DB_DEVTYPE_CONNECTED_");
    EXPECT_EQ(stored, AskGuid(code));
    EXPECT_EQ(ACTIONDB_ERROR_SUCCESS, code);
    EXPECT_EQ(ACTIONDB_ERROR_SUCCESS,
              ActionDbInvokeContainer("", "IdentityGetDeviceTopology", container, 0, -1, -1, 0));
    EXPECT_TRUE(container.GetString("Topology", topology));
  }
  EXPECT_EQ("_DB_DEVTYPE_CONNECTED_", topology);
  AskGuid(code);
  EXPECT_EQ(ACTIONDB_ERROR_ACTIONNOTFOUND, code);
}

TEST(Identity, GuidThatBecomesAvailableLaterIsTold) {
  const TemporaryFolder folder;
  CapturedLog log(KorFrameworkLog());
  KorMutex mutex;
  KorCondition changed;
  KorString told;
  ActionDbRegisterAction(
      "TakeGuid (string GUID)",
      [&](KorContainer* container) {
        const KorMutexLock lock(mutex);
        container->GetString("GUID", told);
        changed.NotifyAll();
        return ACTIONDB_ERROR_SUCCESS;
      },
      &folder);
  CallbackDbRegisterAction("IdentityCallbackGUIDAvailable", "TakeGuid (string GUID)", "", 0);
  HostWorkerStart();
  agent::Identity identity(folder.Path("later/identity.ini"), "", std::chrono::milliseconds(20));
  uint32_t code = 99;
  EXPECT_EQ("", AskGuid(code));
  EXPECT_EQ(ACTIONDB_ERROR_SUCCESS, code);

  mkdir(folder.Path("later").CStr(), 0700);

  {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
    const KorMutexLock lock(mutex);
    while (told.IsEmpty() && changed.WaitUntil(mutex, end)) {
    }
  }
  HostWorkerStop();
  CallbackDbDeleteAction("IdentityCallbackGUIDAvailable", "TakeGuid (string GUID)", "");
  ActionDbDropModule(&folder);
  EXPECT_EQ(36U, told.GetLength());
  EXPECT_EQ(told, AskGuid(code));
  const std::string once = "Without an identity no inventory is made";
  EXPECT_EQ(log.Text().find(once), log.Text().rfind(once));
  EXPECT_NE(std::string::npos, log.Text().find(once));
}

}  // namespace
