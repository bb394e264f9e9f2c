#include "kor/os_release.h"

#include <gtest/gtest.h>

namespace {

TEST(OsRelease, PrettyNameGoesBeforeName) {
  EXPECT_EQ(DistributionNameFromOsRelease("NAME=\"Debian GNU/Linux\"\nID=debian\n"
                                          "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n"),
            "Debian GNU/Linux 12 (bookworm)");
}

TEST(OsRelease, NameServesWithoutAPrettyName) {
  EXPECT_EQ(DistributionNameFromOsRelease("PRETTY_NAME=\"\"\nNAME=Alpine"), "Alpine");
  EXPECT_EQ(DistributionNameFromOsRelease("VERSION_NAME=x\n#NAME=y\n"), "");
  EXPECT_EQ(DistributionNameFromOsRelease(""), "");
}

TEST(OsRelease, QuotesAndBackslashesAreThoseOfTheShell) {
  EXPECT_EQ(DistributionNameFromOsRelease("NAME='a\"b\\n'\r\n"), "a\"b\\n");
  EXPECT_EQ(DistributionNameFromOsRelease("NAME=\"a\\\"b\\$c\\nd\"\n"), "a\"b$c\\nd");
  EXPECT_EQ(DistributionNameFromOsRelease("NAME=a\\ b"), "a b");
}

TEST(OsRelease, TheLastAssignmentCounts) {
  EXPECT_EQ(DistributionNameFromOsRelease("NAME=a\nNAME=b\n"), "b");
}

}  // namespace
