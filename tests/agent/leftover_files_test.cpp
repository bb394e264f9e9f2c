#include "agent/leftover_files.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/temporary_folder.h"

namespace {

namespace fs = std::filesystem;

class LeftoverFiles : public testing::Test {
 protected:
  LeftoverFiles() {
    for (const char* name : {"config", "data/HardwareInventory", "data/queue/files"}) {
      fs::create_directories(folder.Path(name).Str());
    }
  }

  bool Stays(const std::string& name) const {
    const KorString path = folder.Write(name, "x");
    agent::RemoveLeftoverFiles(agent::Home{folder.Path()});
    return fs::exists(path.Str());
  }

  const TemporaryFolder folder;
};

TEST_F(LeftoverFiles, TemporaryFilesOfTheWriterAreRemoved) {
  EXPECT_FALSE(Stays("config/.HardwareInventory.ini.0123456789abcdef.tmp"));
  EXPECT_FALSE(Stays("data/.identity.ini.fedcba9876543210.tmp"));
  EXPECT_FALSE(Stays("data/.0123456789abcdef.tmp"));
  EXPECT_FALSE(Stays("data/HardwareInventory/.a.0123456789abcdef.tmp"));
  EXPECT_FALSE(Stays("data/HardwareInventory/.a.0123456789abcdef.tmp-journal"));
}

TEST_F(LeftoverFiles, EverythingElseStays) {
  EXPECT_TRUE(Stays("data/HardwareInventory/HardwareInventoryLast.xml"));
  EXPECT_TRUE(Stays("data/a.0123456789abcdef.tmp"));
  EXPECT_TRUE(Stays("data/.a.0123456789abcdeg.tmp"));
  EXPECT_TRUE(Stays("data/.a.0123456789abcde.tmp"));
  EXPECT_TRUE(Stays("data/.a.tmp"));
  EXPECT_TRUE(Stays("data/.a.0123456789abcdef.tmp.xml"));
}

TEST_F(LeftoverFiles, QueueLooksAfterItsOwn) {
  EXPECT_TRUE(Stays("data/queue/files/.a.0123456789abcdef.tmp"));
}

TEST_F(LeftoverFiles, LinksAreNotFollowed) {
  const TemporaryFolder elsewhere;
  const KorString file = elsewhere.Write(".a.0123456789abcdef.tmp", "x");
  fs::create_directory_symlink(elsewhere.Path().Str(), folder.Path("data/upstream").Str());
  agent::RemoveLeftoverFiles(agent::Home{folder.Path()});
  EXPECT_TRUE(fs::exists(file.Str()));
}

TEST_F(LeftoverFiles, HomeWithoutItsFoldersIsNoTrouble) {
  agent::RemoveLeftoverFiles(agent::Home{folder.Path("missing")});
  EXPECT_FALSE(fs::exists(folder.Path("missing").Str()));
}

}  // namespace
