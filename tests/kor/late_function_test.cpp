#include "kor/late_function.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "kor/late_curl.h"

namespace {

TEST(LateFunction, IsCalledLikeTheFunctionItself) {
  ASSERT_TRUE(KorTransferLibrariesAreThere());
  EXPECT_STREQ(late_curl::curl_easy_strerror(CURLE_OK), "No error");
}

TEST(LateFunction, OneThatIsNotThereThrows) {
  const KorLateFunction<void (*)()> absent{"no_such_function"};
  EXPECT_THROW(absent(), std::runtime_error);
}

}  // namespace
