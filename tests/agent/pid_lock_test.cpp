#include "agent/pid_lock.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <optional>
#include <string>
#include <utility>

#include "support/temporary_folder.h"

namespace agent {
namespace {

std::string OwnNumber() {
  return std::to_string(getpid());
}

TEST(PidLock, FileHoldsTheNumberOfTheProcessAndIsPrivate) {
  const TemporaryFolder folder;
  const Result<PidLock> lock = PidLock::Take(folder.Path("lock"));
  ASSERT_TRUE(lock.IsOk());
  EXPECT_EQ(OwnNumber() + "\n", folder.Read("lock"));
  struct stat status = {};
  ASSERT_EQ(0, stat(folder.Path("lock").CStr(), &status));
  EXPECT_EQ(0600U, status.st_mode & 0777);
}

TEST(PidLock, SecondIsRefusedInOneLineThatNamesTheHolder) {
  const TemporaryFolder folder;
  const Result<PidLock> first = PidLock::Take(folder.Path("lock"));
  const Result<PidLock> second = PidLock::Take(folder.Path("lock"));
  ASSERT_TRUE(first.IsOk());
  ASSERT_FALSE(second.IsOk());
  const std::string reason = second.Reason().Str();
  EXPECT_NE(std::string::npos, reason.find("process " + OwnNumber())) << reason;
  EXPECT_EQ(std::string::npos, reason.find('\n'));
}

TEST(PidLock, RefusalLeavesTheHoldersLockAndNumberAlone) {
  const TemporaryFolder folder;
  const Result<PidLock> first = PidLock::Take(folder.Path("lock"));
  { const Result<PidLock> second = PidLock::Take(folder.Path("lock")); }
  EXPECT_EQ(OwnNumber() + "\n", folder.Read("lock"));
  EXPECT_FALSE(PidLock::Take(folder.Path("lock")).IsOk());
}

TEST(PidLock, IsFreeAgainWhenItsHolderGoes) {
  const TemporaryFolder folder;
  { const Result<PidLock> first = PidLock::Take(folder.Path("lock")); }
  EXPECT_EQ("", folder.Read("lock"));
  EXPECT_TRUE(PidLock::Take(folder.Path("lock")).IsOk());
}

TEST(PidLock, NumberLeftByAProcessThatDiedIsReplaced) {
  const TemporaryFolder folder;
  folder.Write("lock", "4194303000000\n");
  const Result<PidLock> lock = PidLock::Take(folder.Path("lock"));
  ASSERT_TRUE(lock.IsOk());
  EXPECT_EQ(OwnNumber() + "\n", folder.Read("lock"));
}

TEST(PidLock, DoesNotFollowALink) {
  const TemporaryFolder folder;
  folder.Write("other", "precious");
  std::filesystem::create_symlink(folder.Path("other").Str(), folder.Path("lock").Str());
  EXPECT_FALSE(PidLock::Take(folder.Path("lock")).IsOk());
  EXPECT_EQ("precious", folder.Read("other"));
}

}  // namespace
}  // namespace agent
