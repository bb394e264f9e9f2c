#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "kor/download_time.h"
#include "kor/file.h"
#include "kor/thread.h"
#include "support/captured_log.h"
#include "support/http_server.h"
#include "support/temporary_folder.h"

namespace {

using namespace std::string_literals;

constexpr size_t kLimit = 64 * 1024 * 1024;

// A folder to fetch into, a server to fetch from, and what the framework says meanwhile.
class Download : public testing::Test {
 protected:
  static void SetUpTestSuite() { setenv("no_proxy", "127.0.0.1", 1); }

  int Fetch(const std::string& url) { return FileCopyNet(KorString(url), folder.Path("out"), 0); }

  // The fetch fails, leaves nothing, and says this (at its end) and nothing else.
  void ExpectFailure(const std::string& url, const std::string& reason) {
    EXPECT_NE(Fetch(url), 0) << url;
    EXPECT_FALSE(FileExists(folder.Path("out"))) << url;
    EXPECT_EQ(folder.CountEntries(), entriesBefore) << url;
    EXPECT_EQ(log.Text(), "warning: Cannot fetch '" + url + "': " + reason + "\n");
  }

  const TemporaryFolder folder;
  const CapturedLog log{KorFrameworkLog()};
  HttpServer server;
  size_t entriesBefore = 0;
};

TEST_F(Download, StoresTheBody) {
  const std::string body = "<HWINVCONFIG/>\0\r\n"s;
  server.SetBody("/x.xml", body);
  server.Start();
  EXPECT_EQ(Fetch(server.Url("/x.xml")), 0);
  EXPECT_EQ(folder.Read("out"), body);
  EXPECT_EQ(folder.CountEntries(), 1u);
  EXPECT_EQ(log.Text(), "");
}

TEST_F(Download, EmptyBodyIsAnEmptyFile) {
  server.SetBody("/x.xml", "");
  server.Start();
  EXPECT_EQ(Fetch(server.Url("/x.xml")), 0);
  EXPECT_EQ(FileGetSize(folder.Path("out")), 0);
}

TEST_F(Download, ReplacesWhatIsThere) {
  folder.Write("out", "a long old content");
  server.SetBody("/x.xml", "new");
  server.Start();
  EXPECT_EQ(Fetch(server.Url("/x.xml")), 0);
  EXPECT_EQ(folder.Read("out"), "new");
}

TEST_F(Download, ErrorStatusIsAFailure) {
  server.Start();
  ExpectFailure(server.Url("/missing"), "The requested URL returned error: 404");
}

TEST_F(Download, FollowsUpToFiveRedirects) {
  for (int i = 1; i <= 6; ++i) {
    server.SetRedirect("/" + std::to_string(i), server.Url("/" + std::to_string(i - 1)));
  }
  server.SetBody("/0", "reached");
  server.Start();
  EXPECT_EQ(Fetch(server.Url("/5")), 0);
  EXPECT_EQ(folder.Read("out"), "reached");
  ASSERT_TRUE(FileDelete(folder.Path("out"), 0));
  ExpectFailure(server.Url("/6"), "Maximum (5) redirects followed");
}

TEST_F(Download, NetworkDoesNotLeadToLocalFiles) {
  const KorString secret = folder.Write("secret", "secret");
  entriesBefore = 1;
  server.SetRedirect("/x.xml", "file://" + secret.Str());
  server.Start();
  ExpectFailure(server.Url("/x.xml"), "Protocol \"file\" not supported or disabled in libcurl");
}

TEST_F(Download, NetworkDoesNotLeadToFtp) {
  server.SetRedirect("/x.xml", "ftp://127.0.0.1/x.xml");
  server.Start();
  ExpectFailure(server.Url("/x.xml"), "Protocol \"ftp\" not supported or disabled in libcurl");
}

TEST_F(Download, CutConnectionIsAFailure) {
  server.Set("/x.xml", "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\npart");
  server.Start();
  ExpectFailure(server.Url("/x.xml"), "transfer closed with 996 bytes remaining to read");
}

TEST_F(Download, FailureLeavesTheOldFile) {
  folder.Write("out", "old");
  server.Set("/x.xml", "HTTP/1.1 200 OK\r\nContent-Length: 1000\r\n\r\npart");
  server.Start();
  EXPECT_NE(Fetch(server.Url("/x.xml")), 0);
  EXPECT_EQ(folder.Read("out"), "old");
  EXPECT_EQ(folder.CountEntries(), 1u);
}

TEST_F(Download, BodyUpToTheLimitIsStored) {
  server.SetBody("/x.xml", std::string(kLimit, 'x'));
  server.Start();
  EXPECT_EQ(Fetch(server.Url("/x.xml")), 0);
  EXPECT_EQ(FileGetSize(folder.Path("out")), static_cast<int64_t>(kLimit));
}

TEST_F(Download, BodyOverTheLimitIsAFailure) {
  server.Set("/x.xml",
             "HTTP/1.1 200 OK\r\nConnection: close\r\n\r\n" + std::string(kLimit + 1, 'x'));
  server.Start();
  ExpectFailure(server.Url("/x.xml"), "it is larger than 64 MiB");
}

TEST_F(Download, TransferThatTakesTooLongIsAFailure) {
  server.Set("/silent", "");
  server.Start();
  const uint32_t usual = SetDownloadTime(100);
  EXPECT_NE(Fetch(server.Url("/silent")), 0);
  SetDownloadTime(usual);
  EXPECT_EQ(folder.CountEntries(), 0u);
  EXPECT_NE(log.Text().find("timed out after 1"), std::string::npos) << log.Text();
}

TEST_F(Download, RefusedConnectionIsAFailure) {
  std::string url;
  {
    const HttpServer gone;
    url = gone.Url("/x.xml");
  }
  EXPECT_NE(Fetch(url), 0);
  EXPECT_NE(log.Text().find("Failed to connect to 127.0.0.1"), std::string::npos) << log.Text();
  EXPECT_EQ(folder.CountEntries(), 0u);
}

TEST_F(Download, UnwritableTargetIsAFailureWithoutARequest) {
  const KorString target = folder.Path("missing/out");
  EXPECT_NE(FileCopyNet(KorString(server.Url("/x.xml")), target, 0), 0);
  EXPECT_EQ(log.Text(), "warning: Cannot fetch '" + server.Url("/x.xml") + "': " + target.Str() +
                            ": cannot create a temporary file: No such file or directory\n");
}

TEST_F(Download, CopiesLocalFiles) {
  const std::string content(200'000, 'y');
  folder.Write("a file%.xml", content);
  EXPECT_EQ(Fetch("file://" + folder.Path().Str() + "/a%20file%25.xml"), 0);
  EXPECT_TRUE(folder.Read("out") == content);
}

TEST_F(Download, LocalFileThatIsMissingIsAFailure) {
  ExpectFailure("file://" + folder.Path("missing").Str(), "No such file or directory");
}

TEST_F(Download, LocalFolderIsAFailure) {
  ExpectFailure("file://" + folder.Path().Str(), "it is not a file");
}

TEST_F(Download, LocalDeviceIsAFailure) {
  ExpectFailure("file:///dev/zero", "it is not a file");
}

TEST_F(Download, LocalPipeIsAFailureAndDoesNotBlock) {
  ASSERT_EQ(mkfifo(folder.Path("pipe").CStr(), 0600), 0);
  entriesBefore = 1;
  ExpectFailure("file://" + folder.Path("pipe").Str(), "it is not a file");
}

TEST_F(Download, LocalFileOverTheLimitIsAFailure) {
  folder.Write("large", std::string(kLimit + 1, 'x'));
  entriesBefore = 1;
  ExpectFailure("file://" + folder.Path("large").Str(), "it is larger than 64 MiB");
}

TEST_F(Download, OtherSchemesAreRefused) {
  ExpectFailure("dict://127.0.0.1/x", "Protocol \"dict\" not supported or disabled in libcurl");
}

TEST_F(Download, WhatIsNoUrlIsRefused) {
  for (const std::string& url : {""s, "/etc/passwd"s, "://"s, "file:///etc/passwd\0.xml"s}) {
    EXPECT_NE(Fetch(url), 0) << url;
  }
  EXPECT_EQ(folder.CountEntries(), 0u);
}

TEST_F(Download, SeveralThreadsFetchAtOnce) {
  server.SetBody("/x.xml", "content");
  server.Start();
  std::vector<std::thread> threads;
  for (int i = 0; i < 4; ++i) {
    threads.emplace_back([this, i] {
      const KorString target = folder.Path("out" + std::to_string(i));
      EXPECT_EQ(FileCopyNet(KorString(server.Url("/x.xml")), target, 0), 0);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(folder.CountEntries(), 4u);
}

struct FetchOrder {
  KorString url;
  KorString path;
  bool hasReturned = false;
};

void RunFetch(void* argument) {
  auto& order = *static_cast<FetchOrder*>(argument);
  FileCopyNet(order.url, order.path, 0);
  order.hasReturned = true;
}

TEST_F(Download, ForcedCancelEndsAStalledTransfer) {
  server.Set("/silent", "");
  server.Start();
  FetchOrder order{KorString(server.Url("/silent")), folder.Path("out")};
  KorThread thread;
  ASSERT_TRUE(thread.Start(RunFetch, &order));
  while (folder.CountEntries() == 0) std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_TRUE(thread.Cancel(1500, true));
  EXPECT_FALSE(order.hasReturned);
  EXPECT_EQ(folder.CountEntries(), 0u);
}

}  // namespace
