#include "kor/file.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

using namespace std::string_literals;

TEST(FileExists, FollowsLinks) {
  const TemporaryFolder folder;
  const KorString file = folder.Write("file", "");
  ASSERT_EQ(symlink(file.CStr(), folder.Path("good").CStr()), 0);
  ASSERT_EQ(symlink("nowhere", folder.Path("dangling").CStr()), 0);
  EXPECT_TRUE(FileExists(file));
  EXPECT_TRUE(FileExists(folder.Path("good")));
  EXPECT_FALSE(FileExists(folder.Path("dangling")));
  EXPECT_FALSE(FileExists(folder.Path("missing")));
  EXPECT_FALSE(FileExists(""));
}

TEST(FileExists, SaysWhatCannotBeLookedAt) {
  const TemporaryFolder folder;
  const KorString loop = folder.Path("loop");
  ASSERT_EQ(symlink("loop", loop.CStr()), 0);
  const CapturedLog log(KorFrameworkLog());
  EXPECT_FALSE(FileExists(loop));
  EXPECT_EQ(errno, ELOOP);
  EXPECT_FALSE(FileExists(folder.Path("missing")));
  EXPECT_EQ(log.Text(),
            "warning: " + loop.Str() + ": cannot look at it: Too many levels of symbolic links\n");
}

TEST(FilePaths, NulByteNamesNoFile) {
  const TemporaryFolder folder;
  const KorString file = folder.Write("file", "content");
  const KorString path = folder.Path("file\0.xml"s);
  std::string content = "untouched";
  KorString error;

  EXPECT_FALSE(FileExists(path));
  EXPECT_EQ(FileGetSize(path), -1);
  EXPECT_EQ(FileCreate(path, 0), -1);
  EXPECT_FALSE(FileRename(path, folder.Path("other")));
  EXPECT_FALSE(FileRename(file, folder.Path("other\0"s)));
  EXPECT_FALSE(FileReadAll(path, content, error));
  EXPECT_EQ(error, "No such file or directory");
  EXPECT_FALSE(SaveFileFromString(path, "new"));
  EXPECT_EQ(FileMd5(path), "");
  EXPECT_TRUE(FileDelete(path, 0));
  EXPECT_EQ(content, "untouched");
  EXPECT_EQ(folder.Read("file"), "content");
  EXPECT_EQ(folder.CountEntries(), 1u);
}

TEST(FileDelete, MissingFileIsSuccess) {
  const TemporaryFolder folder;
  const KorString file = folder.Write("file", "");
  EXPECT_TRUE(FileDelete(file, 1));
  EXPECT_FALSE(FileExists(file));
  EXPECT_TRUE(FileDelete(file, 1));
  const KorString other = folder.Write("other", "");
  EXPECT_TRUE(FileDelete(other + "/below", 1));
  EXPECT_TRUE(FileExists(other));
}

TEST(FileDelete, FolderStays) {
  const TemporaryFolder folder;
  EXPECT_FALSE(FileDelete(folder.Path(), 1));
  EXPECT_TRUE(FileExists(folder.Path()));
}

TEST(FileDelete, LinkGoesAndItsTargetStays) {
  const TemporaryFolder folder;
  const KorString file = folder.Write("file", "x");
  ASSERT_EQ(symlink(file.CStr(), folder.Path("link").CStr()), 0);
  EXPECT_TRUE(FileDelete(folder.Path("link"), 1));
  EXPECT_EQ(folder.Read("file"), "x");
  EXPECT_EQ(folder.CountEntries(), 1u);
}

TEST(FolderDelete, RemovesWhatIsInItAndFollowsNoLink) {
  const TemporaryFolder folder;
  const TemporaryFolder elsewhere;
  const KorString kept = elsewhere.Write("kept", "x");
  std::filesystem::create_directories(folder.Path("a/b/c").Str());
  folder.Write("a/b/file", "x");
  std::filesystem::create_directory_symlink(elsewhere.Path().Str(), folder.Path("a/link").Str());

  EXPECT_TRUE(FolderDelete(folder.Path("a")));

  EXPECT_FALSE(FileExists(folder.Path("a")));
  EXPECT_TRUE(FileExists(kept));
  EXPECT_TRUE(FolderDelete(folder.Path("a")));
}

TEST(FileRename, ReplacesTheTarget) {
  const TemporaryFolder folder;
  const KorString from = folder.Write("from", "new");
  const KorString to = folder.Write("to", "old");
  EXPECT_TRUE(FileRename(from, to));
  EXPECT_EQ(folder.Read("to"), "new");
  EXPECT_FALSE(FileExists(from));
}

TEST(FileRename, MissingSourceFails) {
  const TemporaryFolder folder;
  const KorString to = folder.Write("to", "old");
  EXPECT_FALSE(FileRename(folder.Path("from"), to));
  EXPECT_EQ(folder.Read("to"), "old");
}

TEST(FileGetSize, IsMinusOneForWhatIsNoFile) {
  const TemporaryFolder folder;
  EXPECT_EQ(FileGetSize(folder.Write("empty", "")), 0);
  EXPECT_EQ(FileGetSize(folder.Write("five", "a\0bcd"s)), 5);
  EXPECT_EQ(FileGetSize(folder.Path("missing")), -1);
  EXPECT_EQ(FileGetSize(folder.Path()), -1);
}

TEST(FileCreate, CreatesPrivateAndEmpties) {
  const TemporaryFolder folder;
  const KorString path = folder.Path("file");
  const int created = FileCreate(path, 0);
  ASSERT_NE(created, -1);
  EXPECT_TRUE(FileWrite(created, "a\0b", 3));
  EXPECT_TRUE(FileClose(created));
  EXPECT_EQ(folder.Read("file"), "a\0b"s);
  struct stat status;
  ASSERT_EQ(stat(path.CStr(), &status), 0);
  EXPECT_EQ(status.st_mode & 0777, 0600u);

  const int again = FileCreate(path, 0);
  ASSERT_NE(again, -1);
  EXPECT_TRUE(FileClose(again));
  EXPECT_EQ(folder.Read("file"), "");
}

TEST(FileCreate, FailsBelowAFile) {
  const TemporaryFolder folder;
  EXPECT_EQ(FileCreate(folder.Write("file", "") + "/below", 0), -1);
}

TEST(FileWrite, FailsOnABadDescriptor) {
  EXPECT_FALSE(FileWrite(-1, "x", 1));
  EXPECT_FALSE(FileClose(-1));
}

TEST(FileWrite, FailsWhereThereIsNoSpace) {
  const int full = FileCreate("/dev/full", 0);
  ASSERT_NE(full, -1);
  EXPECT_FALSE(FileWrite(full, "x", 1));
  FileClose(full);
}

TEST(FileReadAll, GivesEveryByte) {
  const TemporaryFolder folder;
  std::string bytes;
  for (int i = 0; i < 300'000; ++i) bytes += static_cast<char>(i % 251);
  std::string content;
  KorString error;
  EXPECT_TRUE(FileReadAll(folder.Write("file", bytes), content, error));
  EXPECT_EQ(content, bytes);
  EXPECT_TRUE(error.IsEmpty());
}

TEST(FileReadAll, SaysWhyItCannotRead) {
  const TemporaryFolder folder;
  std::string content = "untouched";
  KorString error;
  EXPECT_FALSE(FileReadAll(folder.Path("missing"), content, error));
  EXPECT_EQ(error, "No such file or directory");
  EXPECT_FALSE(FileReadAll(folder.Path(), content, error));
  EXPECT_EQ(error, "Is a directory");
  EXPECT_EQ(content, "untouched");
}

TEST(FileReadAll, TellsWhatIsMissingFromWhatCannotBeRead) {
  const TemporaryFolder folder;
  const KorString file = folder.Write("file", "content");
  std::filesystem::create_symlink("loop", folder.Path("loop").Str());
  std::string content;
  KorString error;

  EXPECT_FALSE(FileReadAll(file + "/below", content, error));
  EXPECT_TRUE(MeansMissing(errno)) << errno;
  EXPECT_FALSE(FileReadAll(folder.Path("missing"), content, error));
  EXPECT_TRUE(MeansMissing(errno)) << errno;

  EXPECT_FALSE(FileReadAll(file, content, error, 3));
  EXPECT_FALSE(MeansMissing(errno)) << errno;
  EXPECT_FALSE(FileReadAll(folder.Path("loop"), content, error));
  EXPECT_FALSE(MeansMissing(errno)) << errno;
}

TEST(FileIsSpecial, IsTrueOfWhatHasNoContentOfItsOwn) {
  const TemporaryFolder folder;
  ASSERT_EQ(mkfifo(folder.Path("pipe").CStr(), 0600), 0);
  std::filesystem::create_symlink("pipe", folder.Path("link to pipe").Str());
  folder.Write("file", "");
  std::filesystem::create_symlink("file", folder.Path("link to file").Str());

  EXPECT_TRUE(FileIsSpecial("/dev/null"));
  EXPECT_TRUE(FileIsSpecial(folder.Path("pipe")));
  EXPECT_TRUE(FileIsSpecial(folder.Path("link to pipe")));
  EXPECT_FALSE(FileIsSpecial(folder.Path("file")));
  EXPECT_FALSE(FileIsSpecial(folder.Path("link to file")));
  EXPECT_FALSE(FileIsSpecial(folder.Path()));
  EXPECT_FALSE(FileIsSpecial(folder.Path("missing")));
}

TEST(FileReadChunks, EndsWhenTheTakerHasEnough) {
  const TemporaryFolder folder;
  const KorString file = folder.Write("file", std::string(1'000'000, 'x'));
  int calls = 0;
  KorString error;
  const auto takeOne = [&calls](std::string_view) {
    ++calls;
    return false;
  };
  EXPECT_TRUE(FileReadChunks(file, takeOne, error));
  EXPECT_EQ(calls, 1);
}

TEST(SaveFileFromString, ReplacesTheWholeFile) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("file", "a long old content");
  EXPECT_TRUE(SaveFileFromString(path, KorString("n\0w", 3)));
  EXPECT_EQ(folder.Read("file"), "n\0w"s);
  EXPECT_EQ(folder.CountEntries(), 1u);
}

TEST(SaveFileFromString, FailureIsLoggedWithItsReason) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("file", "old") + "/below";
  const CapturedLog log(KorFrameworkLog());
  EXPECT_FALSE(SaveFileFromString(path, "new"));
  EXPECT_EQ(log.Text(),
            "warning: " + path.Str() + ": cannot create a temporary file: Not a directory\n");
}

}  // namespace
