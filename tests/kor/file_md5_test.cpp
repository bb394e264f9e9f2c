#include <gtest/gtest.h>
#include <openssl/evp.h>

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

TEST(FileMd5, WorksWhereTheProcessAllowsOnlyFipsAlgorithms) {
  const TemporaryFolder folder;
  const KorString file = folder.Write("abc", "abc");
  ASSERT_EQ(EVP_default_properties_enable_fips(nullptr, 1), 1);
  const KorString sum = FileMd5(file);
  EVP_default_properties_enable_fips(nullptr, 0);
  EXPECT_EQ(sum, "900150983cd24fb0d6963f7d28e17f72");
}

}  // namespace
