#include "kor/zip_archive.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>
#include <zip.h>

#include <string>
#include <vector>

#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

using namespace std::string_literals;

constexpr size_t kLimit = 64 * 1024 * 1024;

struct Content {
  std::string name;
  std::string bytes;
  bool isEncrypted = false;
  bool isLink = false;
};

// Adds one entry; the bytes must live until the archive is closed.
void AddEntry(zip_t* archive, const Content& content) {
  zip_source_t* source = zip_source_buffer(archive, content.bytes.data(), content.bytes.size(), 0);
  const zip_int64_t added = zip_file_add(archive, content.name.c_str(), source, 0);
  ASSERT_GE(added, 0);
  const auto index = static_cast<zip_uint64_t>(added);
  if (content.isEncrypted) {
    ASSERT_EQ(zip_file_set_encryption(archive, index, ZIP_EM_AES_256, "password"), 0);
  }
  if (content.isLink) {
    ASSERT_EQ(zip_file_set_external_attributes(archive, index, 0, ZIP_OPSYS_UNIX,
                                               zip_uint32_t{S_IFLNK | 0777} << 16),
              0);
  }
}

KorString MakeArchive(const TemporaryFolder& folder, const std::vector<Content>& contents) {
  const KorString path = folder.Path("x.zip");
  zip_t* archive = zip_open(path.CStr(), ZIP_CREATE | ZIP_TRUNCATE, nullptr);
  for (const Content& content : contents) {
    if (content.name.ends_with('/')) {
      EXPECT_GE(zip_dir_add(archive, content.name.c_str(), 0), 0);
    } else {
      AddEntry(archive, content);
    }
  }
  EXPECT_EQ(zip_close(archive), 0);
  return path;
}

TEST(ZipArchive, ExtractsEntriesCountedFromOne) {
  const TemporaryFolder folder;
  const std::string text(100'000, 'x');
  ZipArchive archive(MakeArchive(folder, {{"a", text}, {"b", "\0second"s}}), 1);
  EXPECT_EQ(archive.GetLastError(), 0);
  EXPECT_EQ(archive.GetCount(), 2u);
  EXPECT_TRUE(archive.Extract(1, folder.Path("first")));
  EXPECT_TRUE(archive.Extract(2, folder.Path("second")));
  EXPECT_EQ(folder.Read("first"), text);
  EXPECT_EQ(folder.Read("second"), "\0second"s);
  EXPECT_EQ(archive.GetLastError(), 0);
}

TEST(ZipArchive, EntriesThatAreNotThereFail) {
  const TemporaryFolder folder;
  const CapturedLog log(KorFrameworkLog());
  const KorString path = MakeArchive(folder, {{"a", "x"}});
  ZipArchive archive(path, 1);
  EXPECT_FALSE(archive.Extract(0, folder.Path("out")));
  EXPECT_FALSE(archive.Extract(2, folder.Path("out")));
  EXPECT_NE(archive.GetLastError(), 0);
  EXPECT_EQ(folder.CountEntries(), 1u);
  EXPECT_EQ(log.Text(), "warning: Cannot extract entry 0 of '" + path.Str() +
                            "': there is no such entry\n" + "warning: Cannot extract entry 2 of '" +
                            path.Str() + "': there is no such entry\n");
}

TEST(ZipArchive, WhatIsNoArchiveReportsAnErrorAndNoEntries) {
  const TemporaryFolder folder;
  for (const KorString& path :
       {folder.Path("missing"), folder.Write("empty", ""), folder.Write("text", "<HWINVCONFIG/>"),
        folder.Path(), folder.Path("a\0b"s), KorString()}) {
    ZipArchive archive(path, 1);
    EXPECT_NE(archive.GetLastError(), 0) << path.Str();
    EXPECT_EQ(archive.GetCount(), 0u) << path.Str();
    EXPECT_FALSE(archive.Extract(1, folder.Path("out"))) << path.Str();
  }
  EXPECT_EQ(folder.CountEntries(), 2u);
}

TEST(ZipArchive, FoldersAndEncryptedEntriesFailAndLeaveNothing) {
  const TemporaryFolder folder;
  const CapturedLog log(KorFrameworkLog());
  const Content secret{"secret", "text", true};
  ZipArchive archive(MakeArchive(folder, {{"folder/", ""}, secret}), 1);
  ASSERT_EQ(archive.GetCount(), 2u);
  EXPECT_FALSE(archive.Extract(1, folder.Path("out")));
  EXPECT_FALSE(archive.Extract(2, folder.Path("out")));
  EXPECT_EQ(folder.CountEntries(), 1u);
  const std::string archivePath = folder.Path("x.zip").Str();
  EXPECT_EQ(log.Text(), "warning: Cannot extract entry 1 of '" + archivePath +
                            "': it is a folder\n" + "warning: Cannot extract entry 2 of '" +
                            archivePath + "': it is encrypted\n");
}

TEST(ZipArchive, LinksAreWrittenAsOrdinaryFiles) {
  const TemporaryFolder folder;
  const Content link{"link", "/etc/passwd", false, true};
  ZipArchive archive(MakeArchive(folder, {link}), 1);
  EXPECT_TRUE(archive.Extract(1, folder.Path("out")));
  struct stat status;
  ASSERT_EQ(lstat(folder.Path("out").CStr(), &status), 0);
  EXPECT_TRUE(S_ISREG(status.st_mode));
  EXPECT_EQ(folder.Read("out"), "/etc/passwd");
}

TEST(ZipArchive, NamesInTheArchiveChooseNoPath) {
  const TemporaryFolder folder;
  ZipArchive archive(MakeArchive(folder, {{"../../escaped", "x"}}), 1);
  EXPECT_TRUE(archive.Extract(1, folder.Path("out")));
  EXPECT_EQ(folder.Read("out"), "x");
  EXPECT_EQ(folder.CountEntries(), 2u);
}

TEST(ZipArchive, LinkAtTheTargetIsReplacedNotFollowed) {
  const TemporaryFolder folder;
  folder.Write("target", "untouched");
  ASSERT_EQ(symlink("target", folder.Path("out").CStr()), 0);
  ZipArchive archive(MakeArchive(folder, {{"a", "new"}}), 1);
  EXPECT_TRUE(archive.Extract(1, folder.Path("out")));
  EXPECT_EQ(folder.Read("target"), "untouched");
  EXPECT_EQ(folder.Read("out"), "new");
}

TEST(ZipArchive, DamagedDataFailsAndLeavesTheTargetAsItWas) {
  const TemporaryFolder folder;
  const CapturedLog log(KorFrameworkLog());
  // Too short and irregular to be compressed: the bytes stand in the archive as they are.
  const std::string text = "q8Zt!xM2#vLp0";
  const KorString path = MakeArchive(folder, {{"a", text}});
  std::string bytes = folder.Read("x.zip");
  ASSERT_NE(bytes.find(text), std::string::npos);
  bytes[bytes.find(text) + 3] ^= 1;
  folder.Write("x.zip", bytes);
  folder.Write("out", "before");

  ZipArchive archive(path, 1);
  ASSERT_EQ(archive.GetCount(), 1u);
  EXPECT_FALSE(archive.Extract(1, folder.Path("out")));
  EXPECT_EQ(folder.Read("out"), "before");
  EXPECT_EQ(folder.CountEntries(), 2u);
  EXPECT_TRUE(log.Text().ends_with("': CRC error\n")) << log.Text();
}

TEST(ZipArchive, ContentUpToTheLimitIsExtracted) {
  const TemporaryFolder folder;
  ZipArchive archive(MakeArchive(folder, {{"a", std::string(kLimit, '\0')}}), 1);
  EXPECT_TRUE(archive.Extract(1, folder.Path("out")));
  struct stat status;
  ASSERT_EQ(stat(folder.Path("out").CStr(), &status), 0);
  EXPECT_EQ(static_cast<size_t>(status.st_size), kLimit);
}

TEST(ZipArchive, ContentOverTheLimitFailsAndLeavesNothing) {
  const TemporaryFolder folder;
  const CapturedLog log(KorFrameworkLog());
  ZipArchive archive(MakeArchive(folder, {{"a", std::string(kLimit + 1, '\0')}}), 1);
  EXPECT_FALSE(archive.Extract(1, folder.Path("out")));
  EXPECT_EQ(folder.CountEntries(), 1u);
  EXPECT_TRUE(log.Text().ends_with("': it is larger than 64 MiB\n")) << log.Text();
}

TEST(ZipArchive, SizeThatTheArchiveStatesIsNotBelieved) {
  const TemporaryFolder folder;
  const CapturedLog log(KorFrameworkLog());
  const KorString path = MakeArchive(folder, {{"a", std::string(kLimit + 1, '\0')}});
  std::string bytes = folder.Read("x.zip");
  const std::string stated = "\x01\x00\x00\x04"s;  // kLimit + 1, little-endian
  size_t replaced = 0;
  for (size_t at = bytes.find(stated); at != std::string::npos; at = bytes.find(stated, at + 4)) {
    bytes.replace(at, stated.size(), "\x05\x00\x00\x00"s);
    ++replaced;
  }
  ASSERT_GE(replaced, 1u);
  folder.Write("x.zip", bytes);

  ZipArchive archive(path, 1);
  EXPECT_FALSE(archive.Extract(1, folder.Path("out")));
  EXPECT_EQ(folder.CountEntries(), 1u);
}

TEST(ZipArchive, UnwritableTargetFailsWithTheReason) {
  const TemporaryFolder folder;
  const CapturedLog log(KorFrameworkLog());
  ZipArchive archive(MakeArchive(folder, {{"a", "x"}}), 1);
  EXPECT_FALSE(archive.Extract(1, folder.Path("missing/out")));
  EXPECT_NE(archive.GetLastError(), 0);
  EXPECT_TRUE(log.Text().ends_with("No such file or directory\n")) << log.Text();
}

TEST(ZipArchive, AfterCloseThereIsNoArchive) {
  const TemporaryFolder folder;
  ZipArchive archive(MakeArchive(folder, {{"a", "x"}}), 1);
  archive.Close();
  EXPECT_NE(archive.GetLastError(), 0);
  EXPECT_EQ(archive.GetCount(), 0u);
  EXPECT_FALSE(archive.Extract(1, folder.Path("out")));
  archive.Close();
  EXPECT_EQ(folder.CountEntries(), 1u);
}

}  // namespace
