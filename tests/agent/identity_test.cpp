#include "agent/identity.h"

#include <gtest/gtest.h>

#include "kor/container.h"
#include "kor/regex.h"
#include "korcore/action_db.h"
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

TEST(Identity, ActionsAnswerWhileItLives) {
  KorContainer container;
  KorString guid, topology = "none";
  {
    const agent::Identity identity("1-2-3", "_DB_DEVTYPE_CONNECTED_");
    EXPECT_EQ(ACTIONDB_ERROR_SUCCESS,
              ActionDbInvokeContainer("", "IdentityGetGUID", container, 0, -1, -1, 0));
    EXPECT_TRUE(container.GetString("GUID", guid));
    EXPECT_EQ(ACTIONDB_ERROR_SUCCESS,
              ActionDbInvokeContainer("", "IdentityGetDeviceTopology", container, 0, -1, -1, 0));
    EXPECT_TRUE(container.GetString("Topology", topology));
  }
  EXPECT_EQ("1-2-3", guid);
  EXPECT_EQ("_DB_DEVTYPE_CONNECTED_", topology);
  EXPECT_EQ(ACTIONDB_ERROR_ACTIONNOTFOUND,
            ActionDbInvokeContainer("", "IdentityGetGUID", container, 0, -1, -1, 0));
}

}  // namespace
