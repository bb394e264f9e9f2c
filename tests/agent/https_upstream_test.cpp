#include "agent/https_upstream.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "agent/delivery_worker.h"
#include "agent/folder_upstream.h"
#include "agent/tls_server/running_server.h"
#include "kor/file.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

using agent::DeliveryQueue;
using agent::DeliveryResult;
using agent::DeliveryWorker;
using agent::HttpSettings;
using agent::HttpsUpstream;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using Verdict = DeliveryResult::Verdict;

constexpr uint64_t kRoom = 64 * 1024 * 1024;
constexpr agent::RetryLimits kFast{milliseconds(10), milliseconds(100)};

// Going down into it by recursion would end the process.
std::string DeepItem() {
  return R"({"Items": [{"Id": "n1", "Item": )" + std::string(200'000, '[') +
         std::string(200'000, ']') + "}]}";
}

class HttpsUpstreamTest : public testing::Test {
 protected:
  HttpsUpstreamTest() { MakeCertificates(folder); }

  HttpSettings Settings() const {
    HttpSettings settings;
    settings.caFile = folder.Path("ca.pem");
    settings.token = "secret";
    return settings;
  }

  std::unique_ptr<HttpsUpstream> Upstream(const RunningServer& server) const {
    return std::make_unique<HttpsUpstream>(KorString(server.Url()), Settings());
  }

  // Gives up a server that is silent for so long; not for tests that need an answer.
  std::unique_ptr<HttpsUpstream> ImpatientUpstream(int port) const {
    HttpSettings impatient = Settings();
    impatient.stallLimit = milliseconds(500);
    return std::make_unique<HttpsUpstream>(KorString("https://127.0.0.1:" + std::to_string(port)),
                                           impatient);
  }

  static KorContainer Meaning() {
    KorContainer meaning;
    meaning.SetString("Kind", "File");
    meaning.SetString("FileLabel", "a & b/\xc3\xa9");
    meaning.SetBool("Bypass", false);
    return meaning;
  }

  std::string AddFile(const std::string& content) {
    return queue.AddFile(folder.Write("source", content), Meaning()).Value();
  }

  TemporaryFolder folder;
  CapturedLog log{KorFrameworkLog()};
  DeliveryQueue queue{folder.Path("queue"), kRoom};
};

TEST_F(HttpsUpstreamTest, FileGoesWithItsMeaningInTheQuery) {
  const RunningServer server(folder);
  const std::string id = AddFile(std::string("binary\0content", 14));

  const DeliveryResult result = Upstream(server)->Deliver(*queue.Peek(false));

  EXPECT_EQ(Verdict::kDelivered, result.verdict) << result.reason.CStr();
  EXPECT_EQ(std::string("binary\0content", 14), folder.Read("store/" + id));
  const std::string request = Lines(folder, "requests.log").at(0);
  EXPECT_EQ(0U, request.find("PUT /agents/files/" + id + "?Id=" + id + "&Accepted=")) << request;
  EXPECT_NE(std::string::npos,
            request.find("&Kind=File&FileLabel=a%20%26%20b%2F%C3%A9&Bypass=false&Size=14&MD5="));
  EXPECT_NE(std::string::npos, request.find("[Bearer secret]")) << request;
}

TEST_F(HttpsUpstreamTest, ActionGoesAsJson) {
  const RunningServer server(folder);
  KorContainer meaning;
  meaning.SetString("ActionName", "K42DbHardwareGiveStatus");
  const std::string id = queue.AddMessage(meaning).Value();
  const agent::QueuedItem item = *queue.Peek(false);

  EXPECT_EQ(Verdict::kDelivered, Upstream(server)->Deliver(item).verdict);

  EXPECT_EQ(0U, Lines(folder, "requests.log").at(0).find("POST /agents/actions/" + id + " "));
  EXPECT_EQ(item.meaning.Str(), folder.Read("store/" + id));
}

TEST_F(HttpsUpstreamTest, AnswersAreJudged) {
  const struct {
    const char* fault;
    Verdict verdict;
  } cases[] = {{"500", Verdict::kRetry},   {"503", Verdict::kRetry},   {"408", Verdict::kRetry},
               {"429", Verdict::kRetry},   {"302", Verdict::kRetry},   {"400", Verdict::kRefused},
               {"403", Verdict::kRefused}, {"413", Verdict::kRefused}, {"cut", Verdict::kRetry},
               {"lost", Verdict::kRetry}};
  AddFile("content");
  std::vector<std::string> faults;
  for (const auto& test : cases) faults.emplace_back(test.fault);
  const RunningServer server(folder, faults);
  const std::unique_ptr<HttpsUpstream> upstream = Upstream(server);
  for (const auto& test : cases) {
    const DeliveryResult result = upstream->Deliver(*queue.Peek(false));
    EXPECT_EQ(test.verdict, result.verdict) << test.fault;
    EXPECT_FALSE(result.reason.IsEmpty()) << test.fault;
    const bool isBusy = test.fault == std::string("503");
    const bool isLimited = test.fault == std::string("429");
    EXPECT_EQ(isBusy ? seconds(24 * 3600) : seconds(isLimited ? 1 : 0), result.retryAfter);
    if (std::string(test.fault) == "403") {
      EXPECT_EQ("the server answered 403: as it was told", result.reason);
    }
  }
}

TEST_F(HttpsUpstreamTest, ServerThatSaysNothingMoreIsTriedAgain) {
  AddFile("content");
  const RunningServer server(folder, {"stall"});

  const DeliveryResult result = ImpatientUpstream(server.Port())->Deliver(*queue.Peek(false));

  EXPECT_EQ(Verdict::kRetry, result.verdict);
  EXPECT_EQ("Timeout was reached", result.reason);
}

TEST_F(HttpsUpstreamTest, ServerOfAnUnknownAuthorityIsNotTrusted) {
  const RunningServer server(folder);
  AddFile("content");
  HttpSettings settings = Settings();
  settings.caFile = folder.Path("other.pem");
  HttpsUpstream upstream(KorString(server.Url()), settings);
  const DeliveryResult result = upstream.Deliver(*queue.Peek(false));
  EXPECT_EQ(Verdict::kRetry, result.verdict);
  EXPECT_NE(-1, result.reason.Find("certificate", 0)) << result.reason.CStr();
  EXPECT_TRUE(Lines(folder, "requests.log").empty());
}

TEST_F(HttpsUpstreamTest, ServerOfAnotherNameIsNotTrusted) {
  const RunningServer server(folder);
  AddFile("content");
  // The certificate is for 127.0.0.1 only.
  HttpsUpstream upstream(KorString("https://localhost:" + std::to_string(server.Port())),
                         Settings());
  const DeliveryResult result = upstream.Deliver(*queue.Peek(false));
  EXPECT_EQ(Verdict::kRetry, result.verdict);
  EXPECT_NE(-1, result.reason.Find("subject name", 0)) << result.reason.CStr();
  EXPECT_TRUE(Lines(folder, "requests.log").empty());
}

TEST_F(HttpsUpstreamTest, ClientCertificateIsShown) {
  folder.Write("clients.pem", folder.Read("ca.pem"));
  const RunningServer server(folder);
  AddFile("content");
  HttpSettings settings = Settings();
  settings.token.Clear();
  HttpsUpstream without(KorString(server.Url()), settings);
  EXPECT_EQ(Verdict::kRetry, without.Deliver(*queue.Peek(false)).verdict);
  settings.certificate = folder.Path("client.pem");
  settings.key = folder.Path("client.key");
  HttpsUpstream with(KorString(server.Url()), settings);
  EXPECT_EQ(Verdict::kDelivered, with.Deliver(*queue.Peek(false)).verdict);
}

TEST_F(HttpsUpstreamTest, EverythingArrivesOnceAndInOrderWhateverTheServerDoes) {
  std::vector<std::string> ids;
  for (int number = 0; number < 6; ++number) {
    ids.push_back(AddFile(std::string(30'000, static_cast<char>('a' + number))));
  }
  // A server that is not there at first, then one that goes away, then one that comes back.
  int port = 0;
  {
    RunningServer unused(folder);
    port = unused.Port();
  }
  DeliveryWorker worker(queue, ImpatientUpstream(port), {}, kFast);
  worker.Start();
  EXPECT_EQ(6U, worker.DrainFor(milliseconds(100)));
  EXPECT_FALSE(worker.LastFailure().IsEmpty());
  {
    const RunningServer faulty(folder, {"500", "ok", "lost", "cut", "500"}, port);
    const auto end = steady_clock::now() + seconds(60);
    while (Lines(folder, "arrived").size() < 3 && steady_clock::now() < end) {
      std::this_thread::sleep_for(milliseconds(5));
    }
  }
  const RunningServer server(folder, {"stall", "429", "cut", "lost"}, port);
  EXPECT_EQ(0U, worker.DrainFor(seconds(60)));
  worker.Stop();

  EXPECT_EQ(ids, Lines(folder, "arrived"));
  for (size_t number = 0; number < ids.size(); ++number) {
    EXPECT_EQ(std::string(30'000, static_cast<char>('a' + number)),
              folder.Read("store/" + ids[number]));
  }
  EXPECT_EQ(0U, queue.CountParked().Value());
}

TEST_F(HttpsUpstreamTest, RefusedItemIsParkedAndTheNextOneGoes) {
  const std::string refused = AddFile("first");
  const std::string taken = AddFile("second");
  const RunningServer server(folder, {"404"});
  DeliveryWorker worker(queue, Upstream(server), {}, kFast);
  worker.Start();
  EXPECT_EQ(0U, worker.DrainFor(seconds(60)));
  EXPECT_EQ(std::vector<std::string>{taken}, Lines(folder, "arrived"));
  EXPECT_EQ("the server answered 404: as it was told\n",
            folder.Read("queue/parked/" + refused + ".reason.txt"));
  EXPECT_NE(std::string::npos,
            log.Text().find("warning: The delivery " + refused + " was refused"));
}

TEST_F(HttpsUpstreamTest, StopEndsATransferInProgressAtOnce) {
  AddFile("content");
  const RunningServer server(folder, {"stall"});
  const HttpSettings patient = Settings();
  DeliveryWorker worker(queue, std::make_unique<HttpsUpstream>(KorString(server.Url()), patient),
                        {}, kFast);
  worker.Start();
  const auto end = steady_clock::now() + seconds(60);
  while (Lines(folder, "requests.log").empty() && steady_clock::now() < end) {
    std::this_thread::sleep_for(milliseconds(5));
  }
  const auto start = steady_clock::now();
  worker.Stop();
  EXPECT_LT(steady_clock::now() - start, patient.stallLimit / 2);
  EXPECT_EQ(1U, queue.Count());
}

TEST_F(HttpsUpstreamTest, ExchangeThatTakesTooLongIsGivenUp) {
  AddFile("content");
  const RunningServer server(folder, {"stall"});
  HttpSettings hasty = Settings();
  hasty.stallLimit = std::chrono::hours(1);
  hasty.totalLimit = milliseconds(100);
  HttpsUpstream upstream(KorString(server.Url()), hasty);

  const DeliveryResult result = upstream.Deliver(*queue.Peek(false));

  EXPECT_EQ(Verdict::kRetry, result.verdict);
  EXPECT_EQ("Timeout was reached", result.reason);
}

TEST_F(HttpsUpstreamTest, AnswerThatIsTooLongIsRefused) {
  mkdir(folder.Path("www").CStr(), 0700);
  folder.Write("www/inbox", R"({"Items": [], "Rest": ")" + std::string(1024 * 1024, 'x') + "\"}");
  const RunningServer server(folder);
  EXPECT_EQ("the answer is too large", Upstream(server)->ListInbox().Reason());
}

TEST_F(HttpsUpstreamTest, InboxFileThatIsTooLongIsRefused) {
  mkdir(folder.Path("www").CStr(), 0700);
  std::filesystem::resize_file(folder.Write("www/n1", "x").Str(), 64 * 1024 * 1024 + 1);
  const RunningServer server(folder);
  agent::InboxEntry entry;
  entry.id = "n1";
  EXPECT_EQ("the answer is too large",
            Upstream(server)->FetchInboxFile(entry, folder.Path("got")).Reason());
  EXPECT_FALSE(FileExists(folder.Path("got")));
}

TEST_F(HttpsUpstreamTest, InboxIsListedFetchedAndAcknowledged) {
  mkdir(folder.Path("www").CStr(), 0700);
  folder.Write("www/inbox",
               R"({"Items": [{"Id": "n1", "Item": {"FileType": "Assignment", "File": "a.xml"},)"
               R"( "Size": 3, "MD5": "900150983CD24FB0D6963F7D28E17F72"}]})");
  folder.Write("www/n1", "abc");
  const RunningServer server(folder);
  const std::unique_ptr<HttpsUpstream> upstream = Upstream(server);

  const auto entries = upstream->ListInbox();
  ASSERT_TRUE(entries.IsOk()) << entries.Reason().CStr();
  ASSERT_EQ(1U, entries.Value().size());
  agent::InboxEntry entry = entries.Value()[0];
  EXPECT_EQ(R"({"FileType":"Assignment","File":"a.xml"})", entry.item);
  EXPECT_TRUE(upstream->FetchInboxFile(entry, folder.Path("got")).IsOk());
  EXPECT_EQ("abc", folder.Read("got"));
  EXPECT_TRUE(upstream->Acknowledge("n1", "no module & more").IsOk());
  EXPECT_EQ(0U,
            Lines(folder, "requests.log")
                .back()
                .find("DELETE /agents/inbox/n1?Result=refused&Reason=no%20module%20%26%20more "));

  entry.size = 4;
  EXPECT_FALSE(upstream->FetchInboxFile(entry, folder.Path("bad")).IsOk());
  EXPECT_FALSE(FileExists(folder.Path("bad")));
}

TEST_F(HttpsUpstreamTest, ListThatCannotBeUsedIsRefused) {
  mkdir(folder.Path("www").CStr(), 0700);
  const RunningServer server(folder);
  const std::unique_ptr<HttpsUpstream> upstream = Upstream(server);
  EXPECT_FALSE(upstream->ListInbox().IsOk());
  const std::vector<std::string> lists = {"",
                                          "[]",
                                          "{}",
                                          R"({"Items": [{"Id": "../x"}]})",
                                          R"({"Items": [{"Id": ""}]})",
                                          R"({"Items": [1]})",
                                          DeepItem()};
  for (const std::string& list : lists) {
    folder.Write("www/inbox", list);
    EXPECT_FALSE(upstream->ListInbox().IsOk()) << list;
  }
}

TEST(ServerUrl, PlainHttpStaysOnThisMachine) {
  for (const char* good : {"https://a.example/x/", "http://localhost:8080", "http://127.0.0.1",
                           "http://127.1.2.3/", "http://[::1]:80/a"}) {
    EXPECT_TRUE(agent::CheckServerUrl(good).IsOk()) << good;
  }
  for (const char* bad : {"http://a.example", "http://127.0.0.1.example", "http://10.0.0.1",
                          "ftp://a.example", "file:///etc", "a.example", "",
                          "https://u:p@a.example", "https://a.example?x", "https://a.example#x"}) {
    EXPECT_FALSE(agent::CheckServerUrl(bad).IsOk()) << bad;
  }
  EXPECT_EQ("https://a.example/x", agent::CheckServerUrl("https://a.example/x//").Value());
}

}  // namespace
