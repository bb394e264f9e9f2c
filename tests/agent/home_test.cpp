#include "agent/home.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>

#include "support/temporary_folder.h"

namespace {

mode_t ModeOf(const KorString& path) {
  struct stat status = {};
  EXPECT_EQ(0, stat(path.CStr(), &status)) << path.CStr();
  return status.st_mode & 07777U;
}

// Sets a variable of the environment, or removes it (null), for the length of a test.
class Variable {
 public:
  Variable(const char* variableName, const char* value) : name(variableName) {
    if (const char* present = getenv(name)) before = present;
    Set(value);
  }
  ~Variable() { Set(before ? before->c_str() : nullptr); }
  Variable(const Variable&) = delete;
  Variable& operator=(const Variable&) = delete;

 private:
  void Set(const char* value) const {
    if (value == nullptr) {
      unsetenv(name);
    } else {
      setenv(name, value, 1);
    }
  }

  const char* name;
  std::optional<std::string> before;
};

TEST(Home, IsCreatedWithSettingsAndDataBesideEachOther) {
  const TemporaryFolder folder;
  const agent::Result<agent::Home> home = agent::PrepareHome(folder.Path("deep/home/"));
  ASSERT_TRUE(home.IsOk()) << home.Reason().CStr();
  EXPECT_EQ(folder.Path("deep/home/config/"), home.Value().ConfigDir());
  EXPECT_EQ(folder.Path("deep/home/data/"), home.Value().DataDir());
  EXPECT_EQ(0750U, ModeOf(home.Value().ConfigDir()));
  EXPECT_EQ(0750U, ModeOf(home.Value().DataDir()));
  EXPECT_EQ(0750U, ModeOf(home.Value().path));
}

TEST(Home, IsTakenAsItIsTheNextTime) {
  const TemporaryFolder folder;
  ASSERT_TRUE(agent::PrepareHome(folder.Path("home")).IsOk());
  EXPECT_TRUE(agent::PrepareHome(folder.Path("home")).IsOk());
}

TEST(Home, DataThatOthersCanWriteIsRefused) {
  const TemporaryFolder folder;
  ASSERT_TRUE(agent::PrepareHome(folder.Path("home")).IsOk());
  for (const mode_t mode : {0770U, 0752U}) {
    ASSERT_EQ(0, chmod(folder.Path("home/data").CStr(), mode));
    const agent::Result<agent::Home> home = agent::PrepareHome(folder.Path("home"));
    ASSERT_FALSE(home.IsOk());
    KorString expected;
    expected.Printf(
        "the folder '%S' is refused: other users can write into it; take that right away "
        "(chmod go-w) or name another --home",
        folder.Path("home/data"));
    EXPECT_EQ(expected, home.Reason());
  }
}

TEST(Home, SettingsThatOthersCanWriteAreRefused) {
  const TemporaryFolder folder;
  ASSERT_TRUE(agent::PrepareHome(folder.Path("home")).IsOk());
  ASSERT_EQ(0, chmod(folder.Path("home/config").CStr(), 0777));
  EXPECT_FALSE(agent::PrepareHome(folder.Path("home")).IsOk());
}

TEST(Home, FolderThatOthersCanWriteIsNoHome) {
  const TemporaryFolder folder;
  ASSERT_EQ(0, chmod(folder.Path().CStr(), 01777));
  EXPECT_FALSE(agent::PrepareHome(folder.Path()).IsOk());
}

TEST(Home, DataOfAnotherUserIsRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can give files away";
  const TemporaryFolder folder;
  ASSERT_TRUE(agent::PrepareHome(folder.Path("home")).IsOk());
  ASSERT_EQ(0, chown(folder.Path("home/data").CStr(), 65534, 65534));
  const agent::Result<agent::Home> home = agent::PrepareHome(folder.Path("home"));
  ASSERT_FALSE(home.IsOk());
  EXPECT_TRUE(home.Reason().Find("it belongs to user 65534", 0) >= 0) << home.Reason().CStr();
}

TEST(Home, FolderAboveThatIsEverybodysIsRefusedUnlessItIsLikeTmp) {
  const TemporaryFolder folder;
  const KorString above = folder.Path("above");
  ASSERT_EQ(0, mkdir(above.CStr(), 0700));
  ASSERT_EQ(0, chmod(above.CStr(), 01777));
  EXPECT_TRUE(agent::PrepareHome(above + "/home").IsOk());
  ASSERT_EQ(0, chmod(above.CStr(), 0777));
  EXPECT_EQ("the folder '" + above + "' is refused: everybody can exchange the home in it; take " +
                "that right away (chmod o-w) or name another --home",
            agent::PrepareHome(above + "/home").Reason());

  ASSERT_EQ(0, symlink((above + "/home").CStr(), folder.Path("link").CStr()));
  EXPECT_FALSE(agent::PrepareHome(folder.Path("link")).IsOk());
}

TEST(Home, FileInItsPlaceIsRefused) {
  const TemporaryFolder folder;
  folder.Write("home", "");
  const agent::Result<agent::Home> home = agent::PrepareHome(folder.Path("home"));
  ASSERT_FALSE(home.IsOk());
  EXPECT_TRUE(home.Reason().Find("it is not a folder", 0) >= 0) << home.Reason().CStr();
}

TEST(Home, HomeBelowAFileSaysWhyItCannotBeCreated) {
  const TemporaryFolder folder;
  folder.Write("file", "");
  const agent::Result<agent::Home> home = agent::PrepareHome(folder.Path("file/home"));
  ASSERT_FALSE(home.IsOk());
  EXPECT_TRUE(home.Reason().Find("Not a directory", 0) >= 0) << home.Reason().CStr();
}

TEST(Home, EnvironmentNamesTheDefault) {
  const Variable home("KOR_AGENT_HOME", "/srv/agent");
  EXPECT_EQ("/srv/agent", agent::DefaultHomePath().Value());
}

TEST(Home, DefaultIsTheSystemsForRootAndTheStateFolderForOthers) {
  const Variable given("KOR_AGENT_HOME", nullptr);
  const Variable home("HOME", "/home/somebody");
  if (geteuid() == 0) {
    EXPECT_EQ("/var/lib/kor-agent", agent::DefaultHomePath().Value());
    return;
  }
  {
    const Variable state("XDG_STATE_HOME", "/state");
    EXPECT_EQ("/state/kor-agent", agent::DefaultHomePath().Value());
  }
  const Variable state("XDG_STATE_HOME", nullptr);
  EXPECT_EQ("/home/somebody/.local/state/kor-agent", agent::DefaultHomePath().Value());
}

TEST(Home, TemporaryHomeIsRemovedWithAllThatIsInIt) {
  KorString path;
  {
    const agent::Result<agent::TemporaryHome> home = agent::TemporaryHome::Create();
    ASSERT_TRUE(home.IsOk());
    path = home.Value().Path();
    ASSERT_TRUE(agent::PrepareHome(path).IsOk());
    EXPECT_EQ(0700U, ModeOf(path));
  }
  EXPECT_FALSE(std::filesystem::exists(path.Str()));
}

}  // namespace
