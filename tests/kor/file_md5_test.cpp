#include <gtest/gtest.h>

#include <string>

#include "kor/file.h"
#include "support/temporary_folder.h"

namespace {

using namespace std::string_literals;

TEST(FileMd5, IsLowerCaseHexOfTheContent) {
  const TemporaryFolder folder;
  EXPECT_EQ(FileMd5(folder.Write("empty", "")), "d41d8cd98f00b204e9800998ecf8427e");
  EXPECT_EQ(FileMd5(folder.Write("abc", "abc")), "900150983cd24fb0d6963f7d28e17f72");
}

TEST(FileMd5, ReadsFilesOfManyPieces) {
  const TemporaryFolder folder;
  EXPECT_EQ(FileMd5(folder.Write("million", std::string(1'000'000, 'a'))),
            "7707d6ae4e027c70eea2a935c2296f21");
}

TEST(FileMd5, NulBytesCount) {
  const TemporaryFolder folder;
  EXPECT_EQ(FileMd5(folder.Write("nul", "\0"s)), "93b885adfe0da089cdf634904fd59f71");
}

TEST(FileMd5, IsEmptyForWhatCannotBeRead) {
  const TemporaryFolder folder;
  EXPECT_EQ(FileMd5(folder.Path("missing")), "");
  EXPECT_EQ(FileMd5(folder.Path()), "");
}

// The last block with the length has room for 55 bytes; 56 need one more.
TEST(FileMd5, TextsAroundTheEndOfABlock) {
  EXPECT_EQ(TextMd5(KorString(std::string(55, 'a'))), "ef1772b6dff9a122358552954ad0df65");
  EXPECT_EQ(TextMd5(KorString(std::string(56, 'a'))), "3b0c8ac703f828b04c6c197006d17218");
  EXPECT_EQ(TextMd5(KorString(std::string(63, 'a'))), "b06521f39153d618550606be297466d5");
  EXPECT_EQ(TextMd5(KorString(std::string(64, 'a'))), "014842d480b571495a4a0363793f7367");
  EXPECT_EQ(TextMd5(KorString(std::string(65, 'a'))), "c743a45e0d2e6a95cb859adae0248435");
}

}  // namespace
