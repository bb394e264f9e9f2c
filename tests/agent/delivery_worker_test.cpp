#include "agent/delivery_worker.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "agent/folder_upstream.h"
#include "agent/queue_folder.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

using agent::DeliveryQueue;
using agent::DeliveryResult;
using agent::DeliveryWorker;
using agent::QueuedItem;
using agent::TransferWindows;
using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;
using Verdict = DeliveryResult::Verdict;

constexpr uint64_t kRoom = 1024 * 1024;
constexpr agent::RetryLimits kFast{milliseconds(5), milliseconds(20)};

// Answers what a function says, and keeps the ids that were delivered.
class ScriptedUpstream : public agent::Upstream {
 public:
  using Answer = std::function<DeliveryResult(const QueuedItem&)>;
  ScriptedUpstream(Answer scriptedAnswer, std::vector<std::string>& deliveredIds)
      : answer(std::move(scriptedAnswer)), delivered(deliveredIds) {}

  DeliveryResult Deliver(const QueuedItem& item) override {
    DeliveryResult result = answer(item);
    if (result.verdict == Verdict::kDelivered) delivered.push_back(item.id);
    return result;
  }
  agent::Result<std::vector<agent::InboxEntry>> ListInbox() override {
    return std::vector<agent::InboxEntry>();
  }
  agent::Result<void> FetchInboxFile(const agent::InboxEntry&, const KorString&) override {
    return {};
  }
  agent::Result<void> Acknowledge(const std::string&, const KorString&) override { return {}; }
  void Abort() override {}

 private:
  Answer answer;
  std::vector<std::string>& delivered;
};

DeliveryResult Take(const QueuedItem&) {
  return {};
}

KorContainer Meaning(bool bypass = false) {
  KorContainer meaning;
  meaning.SetBool("Bypass", bypass);
  return meaning;
}

// A window that is closed now and for an hour.
TransferWindows Closed() {
  const time_t later = std::time(nullptr) + 3600;
  const time_t end = later + 3600;
  tm from = {};
  tm to = {};
  localtime_r(&later, &from);
  localtime_r(&end, &to);
  char text[32] = "";
  std::snprintf(text, sizeof(text), "%02d:%02d-%02d:%02d", from.tm_hour % 24, from.tm_min % 60,
                to.tm_hour % 24, to.tm_min % 60);
  return TransferWindows::Parse(text).Value();
}

TEST(DeliveryWorker, WaitsForItsWindowUnlessTheItemPassesIt) {
  const TemporaryFolder folder;
  CapturedLog log(KorFrameworkLog());
  std::vector<std::string> delivered;
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  queue.AddMessage(Meaning()).Value();
  const std::string urgent = queue.AddMessage(Meaning(true)).Value();
  DeliveryWorker worker(queue, std::make_unique<ScriptedUpstream>(Take, delivered), Closed(),
                        kFast);
  worker.Start();
  EXPECT_EQ(1U, worker.DrainFor(seconds(5)));
  const std::string second = queue.AddMessage(Meaning(true)).Value();
  worker.Wake();
  EXPECT_EQ(1U, worker.DrainFor(seconds(5)));
  worker.Stop();
  EXPECT_EQ((std::vector<std::string>{urgent, second}), delivered);
}

TEST(DeliveryWorker, RetriesKeepTheOrderAndAreLoggedOnce) {
  const TemporaryFolder folder;
  CapturedLog log(KorFrameworkLog());
  std::vector<std::string> delivered;
  std::vector<std::string> ids;
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  for (int number = 0; number < 3; ++number) ids.push_back(queue.AddMessage(Meaning()).Value());
  int attempts = 0;
  const auto sometimes = [&attempts](const QueuedItem&) {
    return ++attempts % 4 == 0 ? DeliveryResult() : DeliveryResult{Verdict::kRetry, "not now"};
  };
  DeliveryWorker worker(queue, std::make_unique<ScriptedUpstream>(sometimes, delivered), {}, kFast);
  worker.Start();
  EXPECT_EQ(0U, worker.DrainFor(seconds(60)));
  worker.Stop();
  EXPECT_EQ(ids, delivered);
  EXPECT_EQ(12, attempts);
  size_t details = 0;
  for (const CapturedLog::Entry& entry : log.Entries()) {
    if (entry.level == KorLogLevel::kDetail &&
        entry.text.find("has to wait") != std::string::npos) {
      ++details;
    }
  }
  EXPECT_EQ(3U, details);
}

TEST(DeliveryWorker, NoticesWhatOtherProcessesPutIntoTheQueue) {
  const TemporaryFolder folder;
  CapturedLog log(KorFrameworkLog());
  std::vector<std::string> delivered;
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  DeliveryQueue elsewhere(folder.Path("queue"), kRoom);
  DeliveryWorker worker(queue, std::make_unique<ScriptedUpstream>(Take, delivered), {}, kFast);
  worker.Start();
  worker.DrainFor(seconds(5));
  const std::string id = elsewhere.AddMessage(Meaning()).Value();
  const auto end = steady_clock::now() + seconds(60);
  while (!std::filesystem::is_empty(folder.Path("queue/parked").Str()) ||
         std::filesystem::exists(folder.Path("queue/" + id + ".json").Str())) {
    ASSERT_LT(steady_clock::now(), end);
    std::this_thread::sleep_for(milliseconds(5));
  }
  worker.Stop();
  EXPECT_EQ(std::vector<std::string>{id}, delivered);
}

TEST(DeliveryWorker, OneObjectDeliversAndTheOthersOnlyAdd) {
  const TemporaryFolder folder;
  CapturedLog log(KorFrameworkLog());
  std::vector<std::string> delivered;
  std::vector<std::string> none;
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  DeliveryQueue elsewhere(folder.Path("queue"), kRoom);
  ASSERT_TRUE(elsewhere.BecomeDeliverer().Value());
  queue.AddMessage(Meaning()).Value();
  DeliveryWorker worker(queue, std::make_unique<ScriptedUpstream>(Take, none), {}, kFast);
  worker.Start();
  EXPECT_EQ(1U, worker.DrainFor(seconds(5)));
  worker.Stop();
  EXPECT_TRUE(none.empty());
}

TEST(DeliveryWorker, QueueThatCannotBeUsedIsToldAndTriedAgain) {
  const TemporaryFolder folder;
  CapturedLog log(KorFrameworkLog());
  std::vector<std::string> delivered;
  const KorString inTheWay = folder.Write("queue", "");
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  DeliveryWorker worker(queue, std::make_unique<ScriptedUpstream>(Take, delivered), {}, kFast);
  worker.Start();
  const auto end = steady_clock::now() + seconds(60);
  while (worker.LastFailure().IsEmpty()) {
    ASSERT_LT(steady_clock::now(), end);
    std::this_thread::sleep_for(milliseconds(5));
  }
  EXPECT_EQ("'" + folder.Path("queue").Str() + "' cannot be created: File exists",
            worker.LastFailure().Str());
  std::filesystem::remove(inTheWay.Str());
  const std::string id = queue.AddMessage(Meaning()).Value();
  EXPECT_EQ(0U, worker.DrainFor(seconds(60)));
  worker.Stop();
  EXPECT_EQ(std::vector<std::string>{id}, delivered);
  EXPECT_EQ("", worker.LastFailure().Str());
  const std::string text = log.Text();
  const std::string told =
      "error: Nothing can be delivered from '" + folder.Path("queue").Str() + "'";
  EXPECT_NE(std::string::npos, text.find(told)) << text;
  EXPECT_EQ(text.rfind(told), text.find(told)) << text;
}

int64_t MicrosecondsUsed() {
  rusage usage = {};
  getrusage(RUSAGE_SELF, &usage);
  const auto micros = [](const timeval& time) {
    return int64_t{time.tv_sec} * 1'000'000 + int64_t{time.tv_usec};
  };
  return micros(usage.ru_utime) + micros(usage.ru_stime);
}

TEST(DeliveryWorker, WaitingUsesNoProcessorTime) {
  const TemporaryFolder folder;
  CapturedLog log(KorFrameworkLog());
  std::vector<std::string> delivered;
  DeliveryQueue idleQueue(folder.Path("idle"), kRoom);
  DeliveryQueue closedQueue(folder.Path("closed"), kRoom);
  DeliveryQueue failingQueue(folder.Path("failing"), kRoom);
  closedQueue.AddMessage(Meaning()).Value();
  failingQueue.AddMessage(Meaning()).Value();
  const auto never = [](const QueuedItem&) { return DeliveryResult{Verdict::kRetry, "not now"}; };
  DeliveryWorker idle(idleQueue, std::make_unique<ScriptedUpstream>(Take, delivered), {}, kFast);
  DeliveryWorker closed(closedQueue, std::make_unique<ScriptedUpstream>(Take, delivered), Closed(),
                        kFast);
  DeliveryWorker failing(failingQueue, std::make_unique<ScriptedUpstream>(never, delivered), {},
                         {seconds(60), seconds(60)});
  for (DeliveryWorker* worker : {&idle, &closed, &failing}) {
    worker->Start();
    worker->DrainFor(milliseconds(100));
  }
  const int64_t before = MicrosecondsUsed();
  std::this_thread::sleep_for(seconds(1));
  EXPECT_LT(MicrosecondsUsed() - before, 3000);
}

TEST(FolderUpstream, RepeatsAreHarmless) {
  const TemporaryFolder folder;
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  const std::string id = queue.AddFile(folder.Write("source", "abc"), Meaning()).Value();
  const QueuedItem item = *queue.Peek(false);
  agent::FolderUpstream upstream(folder.Path("out"), kRoom);
  for (int repeat = 0; repeat < 2; ++repeat) {
    EXPECT_EQ(Verdict::kDelivered, upstream.Deliver(item).verdict);
    EXPECT_EQ("abc", folder.Read("out/" + id + ".data"));
    EXPECT_EQ(item.meaning.Str(), folder.Read("out/" + id + ".json"));
  }
  EXPECT_EQ(2, std::distance(std::filesystem::directory_iterator(folder.Path("out").Str()), {}));
}

TEST(FolderUpstream, FolderThatCannotBeUsedIsTriedAgain) {
  const TemporaryFolder folder;
  CapturedLog log(KorFrameworkLog());
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  queue.AddMessage(Meaning()).Value();
  folder.Write("out", "a file");
  agent::FolderUpstream upstream(folder.Path("out"), kRoom);
  EXPECT_EQ(Verdict::kRetry, upstream.Deliver(*queue.Peek(false)).verdict);
}

TEST(QueueFolder, ThatCannotBeListedIsNotTakenForEmpty) {
  const TemporaryFolder folder;
  const auto listing = agent::ListQueueFolder(folder.Path("none"));
  ASSERT_FALSE(listing.IsOk());
  EXPECT_EQ(
      "the folder '" + folder.Path("none").Str() + "' cannot be read: No such file or directory",
      listing.Reason().Str());
}

TEST(Backoff, GrowsToItsLimitWithJitterAndObeysTheServer) {
  agent::Backoff backoff({milliseconds(100), milliseconds(1000)});
  for (const int whole : {100, 200, 400, 800, 1000, 1000}) {
    const milliseconds wait = backoff.Next();
    EXPECT_GE(wait.count(), whole / 2);
    EXPECT_LE(wait.count(), whole);
  }
  EXPECT_EQ(milliseconds(1000), backoff.Next(seconds(30)));
  backoff.Reset();
  EXPECT_LE(backoff.Next().count(), 100);
  EXPECT_EQ(milliseconds(900), backoff.Next(milliseconds(900)));
}

TEST(Backoff, IntervalsDifferByATenth) {
  bool isLess = false;
  bool isMore = false;
  for (int n = 0; n < 1000; ++n) {
    const milliseconds interval = agent::Jittered(seconds(3600));
    ASSERT_GE(interval, seconds(3240));
    ASSERT_LE(interval, seconds(3960));
    isLess = isLess || interval < seconds(3500);
    isMore = isMore || interval > seconds(3700);
  }
  EXPECT_TRUE(isLess && isMore);
}

}  // namespace
