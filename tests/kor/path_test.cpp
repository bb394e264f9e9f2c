#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <string>

#include "kor/file.h"
#include "support/temporary_folder.h"

namespace {

using namespace std::string_literals;

struct Parts {
  KorString drive = "not touched";
  KorString directory;
  KorString name;
  KorString extension;
};

Parts Split(const KorString& path) {
  Parts parts;
  SplitPath(path, parts.drive, parts.directory, parts.name, parts.extension);
  return parts;
}

void ExpectParts(const KorString& path, const char* directory, const char* name,
                 const char* extension) {
  const Parts parts = Split(path);
  EXPECT_EQ(parts.directory.Str(), directory) << path.Str();
  EXPECT_EQ(parts.name.Str(), name) << path.Str();
  EXPECT_EQ(parts.extension.Str(), extension) << path.Str();
  EXPECT_TRUE(parts.drive.IsEmpty()) << path.Str();
}

TEST(SplitPath, DirectoryKeepsItsSeparatorAndExtensionItsDot) {
  ExpectParts("/var/lib/file.xml", "/var/lib/", "file", ".xml");
  ExpectParts("../data/HardwareInventory/hwinvcfg.xml", "../data/HardwareInventory/", "hwinvcfg",
              ".xml");
  ExpectParts("/file", "/", "file", "");
}

TEST(SplitPath, NameAloneHasNoDirectory) {
  ExpectParts("file.xml", "", "file", ".xml");
}

TEST(SplitPath, BothSeparatorsCount) {
  ExpectParts("\\share\\file.xml", "\\share\\", "file", ".xml");
  ExpectParts("/a\\b/c.d\\e", "/a\\b/c.d\\", "e", "");
}

TEST(SplitPath, DriveLetterIsPartOfTheDirectory) {
  ExpectParts("C:\\data\\file.xml", "C:\\data\\", "file", ".xml");
}

TEST(SplitPath, OnlyTheLastDotOfTheNameCounts) {
  ExpectParts("/a.b/c", "/a.b/", "c", "");
  ExpectParts("/x.tar.gz", "/", "x.tar", ".gz");
  ExpectParts("x.", "", "x", ".");
}

TEST(SplitPath, NameThatBeginsWithItsOnlyDotHasNoExtension) {
  ExpectParts("/home/.profile", "/home/", ".profile", "");
  ExpectParts(".a.b", "", ".a", ".b");
  ExpectParts("a/..", "a/", "..", "");
  ExpectParts("a/.", "a/", ".", "");
}

TEST(SplitPath, EmptyAndFolderPathsHaveNoName) {
  ExpectParts("", "", "", "");
  ExpectParts("/var/lib/", "/var/lib/", "", "");
}

TEST(SplitPath, OutputMayBeThePathItself) {
  KorString path = "/a/b.c";
  KorString drive;
  KorString name;
  KorString extension;
  SplitPath(path, drive, path, name, extension);
  EXPECT_EQ(path, "/a/");
  EXPECT_EQ(name, "b");
  EXPECT_EQ(extension, ".c");
}

TEST(CompletePath, DotsAreResolvedInTheText) {
  EXPECT_EQ(CompletePath("/a/./b/../c"), "/a/c");
  EXPECT_EQ(CompletePath("/etc/kor/config/../data/x.xml"), "/etc/kor/data/x.xml");
  EXPECT_EQ(CompletePath("/a/.../b"), "/a/.../b");
}

TEST(CompletePath, NothingLiesAboveTheRoot) {
  EXPECT_EQ(CompletePath("/a/../../b"), "/b");
  EXPECT_EQ(CompletePath("/.."), "/");
  EXPECT_EQ(CompletePath("/"), "/");
}

TEST(CompletePath, RepeatedAndTrailingSeparatorsGo) {
  EXPECT_EQ(CompletePath("//a///b//"), "/a/b");
}

TEST(CompletePath, RelativePathsStartAtTheWorkingFolder) {
  const std::string here = std::filesystem::current_path().string();
  EXPECT_EQ(CompletePath("x/y").Str(), CompletePath(KorString(here + "/x/y")).Str());
  EXPECT_EQ(CompletePath("").Str(), here);
  EXPECT_EQ(CompletePath("."), CompletePath(""));
}

TEST(CompletePath, LinksAreNotLookedAt) {
  const TemporaryFolder folder;
  ASSERT_EQ(symlink("/usr/bin", folder.Path("link").CStr()), 0);
  EXPECT_EQ(CompletePath(folder.Path("link/../x")), folder.Path("x"));
}

TEST(PathCreate, CreatesParentsClosedToOthers) {
  const TemporaryFolder folder;
  const KorString path = folder.Path("a/b/c");
  EXPECT_TRUE(PathCreate(path));
  for (const char* part : {"a", "a/b", "a/b/c"}) {
    struct stat status;
    ASSERT_EQ(stat(folder.Path(part).CStr(), &status), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
    EXPECT_EQ(status.st_mode & 07777 & ~0750u, 0u);
    EXPECT_EQ(status.st_mode & 0700, 0700u);
  }
}

TEST(PathCreate, FolderThatIsThereIsSuccess) {
  const TemporaryFolder folder;
  EXPECT_TRUE(PathCreate(folder.Path()));
  EXPECT_TRUE(PathCreate(folder.Path() + "/"));
  EXPECT_TRUE(PathCreate("/"));
}

TEST(PathCreate, FileInTheWayIsFailure) {
  const TemporaryFolder folder;
  const KorString file = folder.Write("file", "");
  EXPECT_FALSE(PathCreate(file));
  EXPECT_FALSE(PathCreate(file + "/sub"));
}

TEST(PathCreate, NulByteAndEmptyPathAreRefused) {
  const TemporaryFolder folder;
  EXPECT_FALSE(PathCreate(folder.Path("a\0b"s)));
  EXPECT_FALSE(PathCreate(""));
  EXPECT_EQ(folder.CountEntries(), 0u);
}

}  // namespace
