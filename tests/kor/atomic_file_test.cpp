#include "kor/atomic_file.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "kor/file.h"
#include "support/temporary_folder.h"

namespace {

using namespace std::string_literals;

// While it lives, files of this process grow no further than this.
class FileSizeLimit {
 public:
  explicit FileSizeLimit(rlim_t bytes) : handler(std::signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limited{bytes, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limited);
  }
  ~FileSizeLimit() {
    setrlimit(RLIMIT_FSIZE, &before);
    std::signal(SIGXFSZ, handler);
  }
  FileSizeLimit(const FileSizeLimit&) = delete;
  FileSizeLimit& operator=(const FileSizeLimit&) = delete;

 private:
  rlimit before{};
  void (*handler)(int);
};

TEST(AtomicFile, NothingChangesBeforeTheCommit) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("file", "old");
  KorAtomicFile file(path);
  file.Write("new ");
  file.Write("content");
  EXPECT_EQ(folder.Read("file"), "old");
  EXPECT_TRUE(file.Commit());
  EXPECT_EQ(folder.Read("file"), "new content");
  EXPECT_TRUE(file.Error().IsEmpty());
  EXPECT_EQ(folder.CountEntries(), 1u);
}

TEST(AtomicFile, WithoutCommitNothingIsLeft) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("file", "old");
  {
    KorAtomicFile file(path);
    file.Write(std::string(200'000, 'x'));
    EXPECT_EQ(folder.CountEntries(), 2u);
  }
  EXPECT_EQ(folder.Read("file"), "old");
  EXPECT_EQ(folder.CountEntries(), 1u);
}

TEST(AtomicFile, PiecesOfAllSizesKeepTheirOrder) {
  const TemporaryFolder folder;
  KorAtomicFile file(folder.Path("file"));
  std::string expected;
  for (const size_t size : {1u, 65'535u, 1u, 65'536u, 3u, 200'000u, 0u, 65'534u, 2u, 7u}) {
    const std::string piece(size, static_cast<char>('a' + expected.size() % 26));
    file.Write(piece);
    expected += piece;
  }
  EXPECT_TRUE(file.Commit());
  EXPECT_TRUE(folder.Read("file") == expected);
}

TEST(AtomicFile, TemporaryStandsBesideTheTargetAndIsPrivate) {
  const TemporaryFolder folder;
  const KorAtomicFile file(folder.Path("name.xml"));
  const KorString& temporary = file.TemporaryPath();
  EXPECT_TRUE(temporary.StartsWith(folder.Path(".name.xml."), true)) << temporary.Str();
  EXPECT_TRUE(temporary.View().ends_with(".tmp"));
  struct stat status;
  ASSERT_EQ(stat(temporary.CStr(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);
}

TEST(AtomicFile, WhatOthersWroteThroughTheTemporaryPathIsCommitted) {
  const TemporaryFolder folder;
  KorAtomicFile file(folder.Path("file"));
  std::ofstream(file.TemporaryPath().Str()) << "from a database";
  EXPECT_TRUE(file.Commit());
  EXPECT_EQ(folder.Read("file"), "from a database");
}

TEST(AtomicFile, LinkIsReplacedNotFollowed) {
  const TemporaryFolder folder;
  folder.Write("target", "untouched");
  const KorString link = folder.Path("link");
  ASSERT_EQ(symlink("target", link.CStr()), 0);
  EXPECT_TRUE(SaveFileFromString(link, "new"));
  struct stat status;
  ASSERT_EQ(lstat(link.CStr(), &status), 0);
  EXPECT_TRUE(S_ISREG(status.st_mode));
  EXPECT_EQ(folder.Read("target"), "untouched");
  EXPECT_EQ(folder.Read("link"), "new");
}

TEST(AtomicFile, LongestNameWorksAndOneMoreByteFails) {
  const TemporaryFolder folder;
  const std::string longest(255, 'n');
  EXPECT_TRUE(SaveFileFromString(folder.Path(longest), "content"));
  EXPECT_EQ(folder.Read(longest), "content");
  EXPECT_EQ(folder.CountEntries(), 1u);

  KorAtomicFile tooLong(folder.Path(longest + "n"));
  tooLong.Write("content");
  EXPECT_FALSE(tooLong.Commit());
  EXPECT_TRUE(tooLong.Error().View().ends_with(": cannot replace: File name too long"));
  EXPECT_EQ(folder.CountEntries(), 1u);
}

TEST(AtomicFile, PipeIsRefusedAndStays) {
  const TemporaryFolder folder;
  const KorString pipe = folder.Path("pipe");
  ASSERT_EQ(mkfifo(pipe.CStr(), 0600), 0);
  KorAtomicFile file(pipe);
  file.Write("content");
  EXPECT_FALSE(file.Commit());
  EXPECT_EQ(file.Error().Str(), pipe.Str() + ": cannot replace: not a regular file");
  EXPECT_TRUE(std::filesystem::is_fifo(pipe.Str()));
  EXPECT_EQ(folder.CountEntries(), 1u);
}

TEST(AtomicFile, LinkToADeviceIsRefusedAndStays) {
  const TemporaryFolder folder;
  const KorString link = folder.Path("link");
  std::filesystem::create_symlink("/dev/null", link.Str());
  KorAtomicFile file(link);
  file.Write("content");
  EXPECT_FALSE(file.Commit());
  EXPECT_TRUE(std::filesystem::is_symlink(link.Str()));
}

TEST(AtomicFile, FolderInTheWayFailsAndLeavesNothing) {
  const TemporaryFolder folder;
  ASSERT_TRUE(PathCreate(folder.Path("sub")));
  KorAtomicFile file(folder.Path("sub"));
  EXPECT_FALSE(file.Commit());
  EXPECT_EQ(file.Error(), folder.Path("sub") + ": cannot replace: Is a directory");
  EXPECT_EQ(folder.CountEntries(), 1u);
}

TEST(AtomicFile, MissingFolderIsNamedWithTheReason) {
  const TemporaryFolder folder;
  const KorString path = folder.Path("missing/file");
  KorAtomicFile file(path);
  EXPECT_EQ(file.Error(), path + ": cannot create a temporary file: No such file or directory");
  file.Write("x");
  EXPECT_FALSE(file.Commit());
  EXPECT_EQ(file.TemporaryPath(), "");
}

TEST(AtomicFile, PathsWithoutANameAreRefused) {
  const TemporaryFolder folder;
  for (const char* name : {"", ".", ".."}) {
    KorAtomicFile file(folder.Path(name));
    EXPECT_FALSE(file.Commit()) << name;
    EXPECT_FALSE(file.Error().IsEmpty()) << name;
  }
  EXPECT_FALSE(KorAtomicFile("").Commit());
  EXPECT_FALSE(KorAtomicFile(folder.Path("a\0b"s)).Commit());
  EXPECT_EQ(folder.CountEntries(), 0u);
}

TEST(AtomicFile, FullDiskFailsTheCommitAndLeavesTheOldContent) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("file", "old");
  KorAtomicFile file(path);
  {
    const FileSizeLimit limit(1000);
    file.Write(std::string(100'000, 'x'));
    file.Write("more");
    EXPECT_FALSE(file.Commit());
  }
  EXPECT_EQ(file.Error(), path + ": cannot write: File too large");
  EXPECT_EQ(folder.Read("file"), "old");
  EXPECT_EQ(folder.CountEntries(), 1u);
}

TEST(AtomicFile, BufferedBytesThatDoNotFitFailTheCommit) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("file", "old");
  const FileSizeLimit limit(10);
  EXPECT_FALSE(SaveFileFromString(path, KorString(std::string(20, 'x'))));
  EXPECT_EQ(folder.Read("file"), "old");
  EXPECT_EQ(folder.CountEntries(), 1u);
}

TEST(AtomicFile, ReadersSeeOneWritersContentWhole) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("file", std::string(50'000, 'a'));
  std::atomic<bool> areDone = false;
  std::vector<std::thread> writers;
  for (const char letter : {'a', 'b', 'c'}) {
    writers.emplace_back([&path, letter] {
      const KorString content(std::string(50'000, letter));
      for (int i = 0; i < 30; ++i) EXPECT_TRUE(SaveFileFromString(path, content));
    });
  }
  std::thread reader([&] {
    while (!areDone) {
      std::string content;
      KorString error;
      ASSERT_TRUE(FileReadAll(path, content, error));
      ASSERT_EQ(content.size(), 50'000u);
      ASSERT_EQ(content.find_first_not_of(content.front()), std::string::npos);
    }
  });
  for (std::thread& writer : writers) writer.join();
  areDone = true;
  reader.join();
  EXPECT_EQ(folder.CountEntries(), 1u);
}

}  // namespace
