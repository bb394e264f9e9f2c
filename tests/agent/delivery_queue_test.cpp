#include "agent/delivery_queue.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "agent/container_json.h"
#include "agent/queue_folder.h"
#include "kor/file.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

using agent::DeliveryQueue;
using agent::QueuedItem;

constexpr uint64_t kRoom = 64 * 1024 * 1024;

KorContainer Meaning(const KorString& type, bool bypass = false) {
  KorContainer meaning;
  meaning.SetString("FileType", type);
  meaning.SetBool("Bypass", bypass);
  return meaning;
}

std::string Content(const KorString& path) {
  std::string content;
  KorString error;
  return FileReadAll(path, content, error) ? content : "unreadable: " + error.Str();
}

size_t CountFiles(const KorString& folder) {
  size_t count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(folder.Str())) {
    if (entry.is_regular_file()) ++count;
  }
  return count;
}

TEST(DeliveryQueue, ItemsComeBackInOrderAfterAReopening) {
  const TemporaryFolder folder;
  std::vector<std::string> ids;
  {
    DeliveryQueue queue(folder.Path("queue"), kRoom);
    for (int number = 0; number < 20; ++number) {
      const KorString source = folder.Write("source", "content " + std::to_string(number));
      ids.push_back(queue.AddFile(source, Meaning("Type")).Value());
    }
  }
  EXPECT_TRUE(std::is_sorted(ids.begin(), ids.end()));
  EXPECT_EQ(ids.size(), std::set<std::string>(ids.begin(), ids.end()).size());
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  for (size_t number = 0; number < ids.size(); ++number) {
    const std::optional<QueuedItem> item = queue.Peek(false);
    ASSERT_TRUE(item.has_value());
    EXPECT_EQ(ids[number], item->id);
    EXPECT_EQ("content " + std::to_string(number), Content(item->payload));
    EXPECT_TRUE(queue.Done(item->id).IsOk());
  }
  EXPECT_FALSE(queue.Peek(false).has_value());
  EXPECT_EQ(0U, CountFiles(folder.Path("queue")));
}

TEST(DeliveryQueue, MeaningTellsIdTimeSizeAndChecksum) {
  const TemporaryFolder folder;
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  const std::string id = queue.AddFile(folder.Write("source", "abc"), Meaning("Type")).Value();
  const KorContainer meaning =
      agent::ContainerFromJsonText(queue.Peek(false)->meaning.View()).Value();
  KorString text;
  int32_t size = 0;
  EXPECT_TRUE(meaning.GetString("Id", text));
  EXPECT_EQ(id, text.Str());
  EXPECT_TRUE(meaning.GetString("FileType", text));
  EXPECT_EQ("Type", text);
  EXPECT_TRUE(meaning.GetInt32("Size", size));
  EXPECT_EQ(3, size);
  EXPECT_TRUE(meaning.GetString("MD5", text));
  EXPECT_EQ("900150983cd24fb0d6963f7d28e17f72", text);
  EXPECT_TRUE(meaning.GetString("Accepted", text));
  EXPECT_EQ(20U, text.GetLength());
}

TEST(DeliveryQueue, ItemsThatPassWindowsCanBeAskedForAlone) {
  const TemporaryFolder folder;
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  queue.AddMessage(Meaning("First")).Value();
  const std::string second = queue.AddMessage(Meaning("Second", true)).Value();
  EXPECT_EQ(second, queue.Peek(true)->id);
  EXPECT_NE(second, queue.Peek(false)->id);
  DeliveryQueue reopened(folder.Path("queue"), kRoom);
  EXPECT_EQ(second, reopened.Peek(true)->id);
  EXPECT_TRUE(queue.Peek(true)->payload.IsEmpty());
}

TEST(DeliveryQueue, LinksAndFoldersAreNoFiles) {
  const TemporaryFolder folder;
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  const KorString target = folder.Write("target", "secret");
  ASSERT_EQ(0, symlink(target.CStr(), folder.Path("link").CStr()));
  ASSERT_EQ(0, mkfifo(folder.Path("pipe").CStr(), 0600));
  for (const char* name : {"link", "pipe", "queue", "missing"}) {
    EXPECT_FALSE(queue.AddFile(folder.Path(name), Meaning("Type")).IsOk()) << name;
  }
  EXPECT_EQ(0U, queue.Count());
}

TEST(DeliveryQueue, FolderThatIsALinkIsRefused) {
  const TemporaryFolder folder;
  mkdir(folder.Path("elsewhere").CStr(), 0700);
  ASSERT_EQ(0, symlink(folder.Path("elsewhere").CStr(), folder.Path("queue").CStr()));
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  EXPECT_FALSE(queue.AddMessage(Meaning("Type")).IsOk());
}

TEST(DeliveryQueue, FolderThatWasTakenAwayIsMadeAnew) {
  const TemporaryFolder folder;
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  ASSERT_TRUE(queue.AddMessage(Meaning("Type")).IsOk());
  std::filesystem::remove_all(folder.Path("queue").Str());

  const std::string second = queue.AddMessage(Meaning("Type")).Value();

  EXPECT_EQ(second, queue.Peek(false)->id);
  std::filesystem::rename(folder.Path("queue").Str(), folder.Path("old").Str());
  EXPECT_TRUE(queue.Refresh().IsOk());
  EXPECT_EQ(0U, queue.Count());
  EXPECT_EQ(0U, queue.CountParked().Value());
}

TEST(DeliveryQueue, WhoDeliversIsAskedAnewWhenTheFolderWasExchanged) {
  const TemporaryFolder folder;
  DeliveryQueue first(folder.Path("queue"), kRoom);
  DeliveryQueue second(folder.Path("queue"), kRoom);
  ASSERT_TRUE(first.BecomeDeliverer().Value());
  std::filesystem::rename(folder.Path("queue").Str(), folder.Path("old").Str());

  EXPECT_TRUE(second.BecomeDeliverer().Value());
  EXPECT_FALSE(first.BecomeDeliverer().Value());
}

TEST(DeliveryQueue, LimitRefusesAndDoneMakesRoom) {
  const TemporaryFolder folder;
  DeliveryQueue queue(folder.Path("queue"), 3000);
  const KorString source = folder.Write("source", std::string(2000, 'x'));
  const std::string first = queue.AddFile(source, Meaning("Type")).Value();
  const agent::Result<std::string> second = queue.AddFile(source, Meaning("Type"));
  ASSERT_FALSE(second.IsOk());
  EXPECT_EQ("the queue is full (QueueLimit)", second.Reason());
  EXPECT_EQ(2U, CountFiles(folder.Path("queue")));
  EXPECT_TRUE(queue.Done(first).IsOk());
  EXPECT_TRUE(queue.AddFile(source, Meaning("Type")).IsOk());
}

TEST(DeliveryQueue, NumberOfItemsIsLimitedTheParkedOnesIncluded) {
  const TemporaryFolder folder;
  DeliveryQueue queue(folder.Path("queue"), kRoom, 2);
  const std::string first = queue.AddMessage({}).Value();
  ASSERT_TRUE(queue.AddMessage({}).IsOk());
  ASSERT_TRUE(queue.Park(first, "refused").IsOk());
  EXPECT_EQ("the queue is full (2 items)", queue.AddMessage({}).Reason());
  ASSERT_TRUE(queue.Done(queue.Peek(false)->id).IsOk());
  EXPECT_TRUE(queue.AddMessage({}).IsOk());
}

TEST(DeliveryQueue, ParkedItemsAreKeptWithTheirReasonAndCanComeBack) {
  const TemporaryFolder folder;
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  const std::string id = queue.AddFile(folder.Write("source", "abc"), Meaning("Type")).Value();
  ASSERT_TRUE(queue.Park(id, "the server answered 403").IsOk());
  EXPECT_EQ(0U, queue.Count());
  EXPECT_EQ(1U, queue.CountParked().Value());
  EXPECT_EQ("abc", folder.Read("queue/parked/" + id + ".payload"));
  EXPECT_EQ("the server answered 403\n", folder.Read("queue/parked/" + id + ".reason.txt"));

  for (const char* suffix : {".payload", ".json"}) {
    std::filesystem::rename(folder.Path("queue/parked/" + id + suffix).Str(),
                            folder.Path("queue/" + id + suffix).Str());
  }
  ASSERT_TRUE(queue.Refresh().IsOk());
  EXPECT_EQ(id, queue.Peek(false)->id);
}

TEST(DeliveryQueue, DamagedItemIsParkedAndTheNextOneIsGiven) {
  const TemporaryFolder folder;
  CapturedLog log(KorFrameworkLog());
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  const KorString source = folder.Write("source", "abc");
  const std::string torn = queue.AddFile(source, Meaning("Type")).Value();
  const std::string garbled = queue.AddMessage(Meaning("Type")).Value();
  const std::string good = queue.AddFile(source, Meaning("Type")).Value();
  folder.Write("queue/" + torn + ".payload", "ab");
  folder.Write("queue/" + garbled + ".json", "{");
  DeliveryQueue reopened(folder.Path("queue"), kRoom);
  EXPECT_EQ(good, reopened.Peek(false)->id);
  EXPECT_EQ(2U, reopened.CountParked().Value());
  EXPECT_EQ("its content is damaged\n", folder.Read("queue/parked/" + torn + ".reason.txt"));
}

TEST(DeliveryQueue, EveryHalfDoneStepIsPutRight) {
  const std::string id = agent::MakeItemId(7);
  const std::string other = agent::MakeItemId(8);
  const std::string json = "{\"Size\":3}";
  const TemporaryFolder folder;
  mkdir(folder.Path("queue").CStr(), 0700);
  mkdir(folder.Path("queue/parked").CStr(), 0700);
  folder.Write("queue/notes.txt", "a person's");
  // Accepting it: in the middle of the content, of the description, and between them.
  folder.Write("queue/." + id + ".payload.0123456789abcdef.tmp", "a");
  folder.Write("queue/" + id + ".payload", "abc");
  folder.Write("queue/." + id + ".json.0123456789abcdef.tmp", "{");
  // Parking another: its description is there already, its content not yet.
  folder.Write("queue/" + other + ".payload", "xyz");
  folder.Write("queue/parked/" + other + ".json", json);

  DeliveryQueue queue(folder.Path("queue"), kRoom);
  ASSERT_TRUE(queue.Refresh().IsOk());

  EXPECT_EQ(0U, queue.Count());
  EXPECT_EQ(1U, CountFiles(folder.Path("queue")));  // the notes
  EXPECT_EQ("xyz", folder.Read("queue/parked/" + other + ".payload"));
}

// Files that grow beyond a limit cannot be written while it lives, as on a disk that is full.
class FullDisk {
 public:
  explicit FullDisk(rlim_t size) {
    signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limit{size, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
  }
  ~FullDisk() {
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, SIG_DFL);
  }

 private:
  rlimit before = {};
};

TEST(DeliveryQueue, FullDiskLeavesNothingHalfWritten) {
  const TemporaryFolder folder;
  CapturedLog log(KorFrameworkLog());
  const KorString source = folder.Write("source", std::string(100, 'x'));
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  size_t accepted = 0;
  for (rlim_t size = 0; size < 400; size += 20) {
    bool isOk = false;
    {
      const FullDisk disk(size);
      isOk = queue.AddFile(source, Meaning("Type")).IsOk();
    }
    accepted += isOk ? 1 : 0;
    EXPECT_TRUE(isOk || size < 350) << size;
    EXPECT_FALSE(isOk && size < 100) << size;
    EXPECT_EQ(2 * accepted, CountFiles(folder.Path("queue"))) << size;
    EXPECT_EQ(accepted, queue.Count());
  }
  EXPECT_GT(accepted, 0U);
  EXPECT_LT(accepted, 20U);
}

TEST(DeliveryQueue, SeveralThreadsAndObjectsAddToOneQueue) {
  const TemporaryFolder folder;
  DeliveryQueue first(folder.Path("queue"), kRoom);
  DeliveryQueue second(folder.Path("queue"), kRoom);
  const KorString source = folder.Write("source", "abc");
  std::vector<std::thread> threads;
  for (DeliveryQueue* queue : {&first, &second, &first, &second}) {
    threads.emplace_back([queue, source] {
      for (int number = 0; number < 25; ++number) {
        EXPECT_TRUE(queue->AddFile(source, Meaning("Type")).IsOk());
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  ASSERT_TRUE(first.Refresh().IsOk());
  EXPECT_EQ(100U, first.Count());
  EXPECT_EQ(200U, CountFiles(folder.Path("queue")));
  EXPECT_TRUE(first.BecomeDeliverer().Value());
  EXPECT_FALSE(second.BecomeDeliverer().Value());
}

// Accepts, delivers and parks items until it is killed, and tells of each by its id.
[[noreturn]] void Work(const KorString& queueFolder, const KorString& source, int told) {
  DeliveryQueue queue(queueFolder, kRoom);
  for (int step = 0;; ++step) {
    const agent::Result<std::string> id = queue.AddFile(source, Meaning("Type"));
    if (!id.IsOk()) _exit(1);
    const std::string accepted = "+" + id.Value();
    if (write(told, accepted.data(), accepted.size()) < 0) _exit(2);
    if (step % 3 == 0) continue;
    const std::optional<QueuedItem> item = queue.Peek(false);
    if (!item) continue;
    // Told first: from here on it may be gone.
    const std::string gone = "-" + item->id;
    if (write(told, gone.data(), gone.size()) < 0) _exit(2);
    const auto done = step % 3 == 1 ? queue.Done(item->id) : queue.Park(item->id, "a reason");
    if (!done.IsOk()) _exit(3);
  }
}

std::string ReadAllOf(int descriptor) {
  std::string text;
  char chunk[4096];
  ssize_t count = 0;
  while ((count = read(descriptor, chunk, sizeof(chunk))) > 0) {
    text.append(chunk, static_cast<size_t>(count));
  }
  return text;
}

TEST(DeliveryQueue, KillAtAnyInstantLosesNothingThatWasAccepted) {
  const TemporaryFolder folder;
  const KorString source = folder.Write("source", std::string(20'000, 'x'));
  const KorString path = folder.Path("queue");
  std::mt19937 random(20261121);
  std::uniform_int_distribution<int> micros(0, 120'000);
  std::set<std::string> accepted;
  std::set<std::string> mayBeGone;
  for (int round = 0; round < 50; ++round) {
    int pipes[2];
    ASSERT_EQ(0, pipe(pipes));
    const pid_t child = fork();
    if (child == 0) {
      close(pipes[0]);
      Work(path, source, pipes[1]);
    }
    close(pipes[1]);
    // Every other round is killed after something was accepted, however slow the machine is.
    pollfd firstAccepted{pipes[0], POLLIN, 0};
    if (round % 2 == 1) {
      ASSERT_EQ(1, poll(&firstAccepted, 1, 60'000));
    }
    std::this_thread::sleep_for(std::chrono::microseconds(micros(random)));
    kill(child, SIGKILL);
    const std::string told = ReadAllOf(pipes[0]);
    close(pipes[0]);
    int status = 0;
    waitpid(child, &status, 0);
    ASSERT_TRUE(WIFSIGNALED(status)) << "the worker ended with " << WEXITSTATUS(status);
    constexpr size_t kLength = 1 + 20 + 1 + 36;
    for (size_t at = 0; at + kLength <= told.size(); at += kLength) {
      (told[at] == '+' ? accepted : mayBeGone).insert(told.substr(at + 1, kLength - 1));
    }
  }
  DeliveryQueue queue(path, kRoom);
  ASSERT_TRUE(queue.Refresh().IsOk());
  std::set<std::string> waiting;
  while (const std::optional<QueuedItem> item = queue.Peek(false)) {
    EXPECT_EQ(20'000U, Content(item->payload).size());
    waiting.insert(item->id);
    ASSERT_TRUE(queue.Done(item->id).IsOk());
  }
  EXPECT_GE(accepted.size(), 10U);
  for (const std::string& id : accepted) {
    EXPECT_TRUE(waiting.contains(id) || mayBeGone.contains(id)) << id;
  }
  EXPECT_EQ(0U, CountFiles(path));
  // Parked items have both parts, too.
  const agent::QueueListing parked = agent::ListQueueFolder(path + "/parked").Value();
  EXPECT_GT(parked.items.size(), 0U);
  for (const auto& [id, parts] : parked.items) EXPECT_TRUE(parts.hasPayload && parts.hasMeaning);
}

// As long as it lives, the process can open so many descriptors more and no others.
class FewDescriptors {
 public:
  explicit FewDescriptors(rlim_t count) {
    // Those that are free below the limit are not many once these are taken.
    int next = dup(STDERR_FILENO);
    for (int last = -1; next != last + 1; next = dup(STDERR_FILENO)) {
      taken.push_back(next);
      last = next;
    }
    close(next);
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit limit{static_cast<rlim_t>(next) + count, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  ~FewDescriptors() {
    setrlimit(RLIMIT_NOFILE, &before);
    for (const int descriptor : taken) close(descriptor);
  }
  FewDescriptors(const FewDescriptors&) = delete;
  FewDescriptors& operator=(const FewDescriptors&) = delete;

 private:
  std::vector<int> taken;
  rlimit before = {};
};

TEST(DeliveryQueue, FolderThatCannotBeListedIsNotTakenForEmpty) {
  const TemporaryFolder folder;
  const std::string id = agent::MakeItemId(7);
  mkdir(folder.Path("queue").CStr(), 0700);
  folder.Write("queue/" + id + ".payload", "abc");
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  {
    // Enough to hold the two folders, but not to list one.
    const FewDescriptors few(2);
    const std::string reason =
        "the folder '" + folder.Path("queue").Str() + "' cannot be read: Too many open files";
    EXPECT_EQ(reason, queue.Refresh().Reason().Str());
    EXPECT_EQ(reason, queue.AddMessage(Meaning("Type")).Reason().Str());
    EXPECT_FALSE(queue.BecomeDeliverer().IsOk());
  }
  {
    const FewDescriptors none(0);
    EXPECT_FALSE(queue.CountParked().IsOk());
  }
  EXPECT_EQ("abc", folder.Read("queue/" + id + ".payload"));
  EXPECT_TRUE(queue.Refresh().IsOk());
  EXPECT_EQ(0U, CountFiles(folder.Path("queue")));
}

// That nothing can be opened at all is not the item's fault.
TEST(DeliveryQueue, ItemStaysWhenTheProcessHasNoDescriptorsLeft) {
  const TemporaryFolder folder;
  DeliveryQueue queue(folder.Path("queue"), kRoom);
  const std::string id = queue.AddFile(folder.Write("source", "content"), Meaning("Type")).Value();
  rlimit before{};
  ASSERT_EQ(0, getrlimit(RLIMIT_NOFILE, &before));
  const rlimit none{0, before.rlim_max};
  ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &none));
  EXPECT_THROW(queue.Peek(false), std::runtime_error);
  ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &before));
  ASSERT_TRUE(queue.Peek(false).has_value());
  EXPECT_EQ(id, queue.Peek(false)->id);
  EXPECT_EQ(0U, queue.CountParked().Value());
}

}  // namespace
