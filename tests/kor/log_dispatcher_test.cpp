#include "kor/log_dispatcher.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "support/temporary_folder.h"

namespace {

constexpr size_t kPlenty = 1000000;

mode_t ModeOf(const KorString& path) {
  struct stat status {};
  return stat(path.CStr(), &status) == 0 ? status.st_mode & 07777U : 0;
}

// The lines of a log without their times.
std::vector<std::string> LinesWithoutTime(const std::string& content) {
  std::vector<std::string> lines;
  size_t at = 0;
  for (size_t end = 0; (end = content.find('\n', at)) != std::string::npos; at = end + 1) {
    const std::string line = content.substr(at, end - at);
    lines.push_back(line.substr(line.find(' ') + 1));
  }
  if (at < content.size()) lines.push_back("incomplete: " + content.substr(at));
  return lines;
}

class LogDispatcherFile : public testing::Test {
 protected:
  LogDispatcherFile() { log.SetContext(&dispatcher); }

  TemporaryFolder folder;
  KorLogDispatcher dispatcher;
  KorDebug log{"Test", ""};
  KorString error;
};

TEST_F(LogDispatcherFile, TakesItsLevelAndAboveAtOnce) {
  ASSERT_TRUE(dispatcher.AddFile(folder.Path("a.log"), KorLogLevel::kPrint, kPlenty, 1, error));
  log.DetailWithNL("too low");
  log.PrintWithNL("50%% {} of\nit");
  log.ErrorWithNL("bad");
  EXPECT_EQ(LinesWithoutTime(folder.Read("a.log")),
            (std::vector<std::string>{"print Test: 50% {} of\\nit", "error Test: bad"}));
}

TEST_F(LogDispatcherFile, AppendsToWhatIsThere) {
  const KorString path = folder.Write("a.log", "time before\n");
  ASSERT_TRUE(dispatcher.AddFile(path, KorLogLevel::kTrace, kPlenty, 1, error));
  log.TraceWithNL("after");
  EXPECT_EQ(LinesWithoutTime(folder.Read("a.log")),
            (std::vector<std::string>{"before", "trace Test: after"}));
}

TEST_F(LogDispatcherFile, IsForItsOwnerOnlyWhateverTheMask) {
  const KorString older = folder.Write("b.log", "");
  chmod(older.CStr(), 0644);
  const mode_t mask = umask(0);
  ASSERT_TRUE(dispatcher.AddFile(folder.Path("a.log"), KorLogLevel::kTrace, kPlenty, 1, error));
  ASSERT_TRUE(dispatcher.AddFile(older, KorLogLevel::kTrace, kPlenty, 1, error));
  umask(mask);
  EXPECT_EQ(ModeOf(folder.Path("a.log")), 0600U);
  EXPECT_EQ(ModeOf(older), 0600U);
}

TEST_F(LogDispatcherFile, RotatesAndKeepsSoManyOldOnes) {
  const mode_t mask = umask(0);
  ASSERT_TRUE(dispatcher.AddFile(folder.Path("a.log"), KorLogLevel::kTrace, 200, 2, error));
  for (int index = 0; index < 40; ++index) log.PrintWithNL("line %d", index);
  umask(mask);
  EXPECT_EQ(folder.CountEntries(), 3U);
  EXPECT_EQ(LinesWithoutTime(folder.Read("a.log")).back(), "print Test: line 39");
  for (const char* const name : {"a.log", "a.1.log", "a.2.log"}) {
    EXPECT_LE(folder.Read(name).size(), 200U) << name;
    EXPECT_EQ(ModeOf(folder.Path(name)), 0600U) << name;
  }
}

TEST_F(LogDispatcherFile, CannotBeOpenedWithoutItsFolder) {
  const KorString path = folder.Path("none/a.log");
  EXPECT_FALSE(dispatcher.AddFile(path, KorLogLevel::kTrace, kPlenty, 1, error));
  EXPECT_EQ(error, path + ": No such file or directory");
  EXPECT_EQ(folder.CountEntries(), 0U);
  EXPECT_FALSE(dispatcher.Wants(KorLogLevel::kError));
}

TEST_F(LogDispatcherFile, DoesNotFollowALink) {
  const KorString target = folder.Write("target", "untouched");
  std::filesystem::create_symlink(target.Str(), folder.Path("a.log").Str());
  EXPECT_FALSE(dispatcher.AddFile(folder.Path("a.log"), KorLogLevel::kTrace, kPlenty, 1, error));
  EXPECT_FALSE(error.IsEmpty());
  EXPECT_EQ(folder.Read("target"), "untouched");
}

TEST_F(LogDispatcherFile, IsNoFolderAndNoPipe) {
  const KorString pipe = folder.Path("pipe");
  ASSERT_EQ(mkfifo(pipe.CStr(), 0600), 0);
  EXPECT_FALSE(dispatcher.AddFile(pipe, KorLogLevel::kTrace, kPlenty, 1, error));
  EXPECT_FALSE(dispatcher.AddFile(folder.Path(), KorLogLevel::kTrace, kPlenty, 1, error));
  EXPECT_FALSE(dispatcher.AddFile(folder.Path("a"), KorLogLevel::kTrace, 0, 1, error));
}

TEST_F(LogDispatcherFile, IsNotInheritedByPrograms) {
  const int first = dup(STDERR_FILENO);
  close(first);
  ASSERT_TRUE(dispatcher.AddFile(folder.Path("a.log"), KorLogLevel::kTrace, kPlenty, 1, error));
  EXPECT_EQ(fcntl(first, F_GETFD), FD_CLOEXEC);
}

// Collects standard error through a pipe, which has room when the disk has none.
class ErrorPipe {
 public:
  ErrorPipe() : saved(dup(STDERR_FILENO)) {
    if (pipe2(ends, O_NONBLOCK) == 0) dup2(ends[1], STDERR_FILENO);
  }
  ~ErrorPipe() {
    dup2(saved, STDERR_FILENO);
    for (const int descriptor : {ends[0], ends[1], saved}) close(descriptor);
  }
  std::string Take() const {
    char buffer[4096];
    const ssize_t count = read(ends[0], buffer, sizeof(buffer));
    return count > 0 ? std::string(buffer, static_cast<size_t>(count)) : std::string();
  }

 private:
  int saved;
  int ends[2] = {-1, -1};
};

// Files cannot grow while it lives.
class FullDisk {
 public:
  FullDisk() : handler(signal(SIGXFSZ, SIG_IGN)) {
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit none{0, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &none);
  }
  ~FullDisk() {
    setrlimit(RLIMIT_FSIZE, &before);
    signal(SIGXFSZ, handler);
  }

 private:
  void (*handler)(int);
  rlimit before{};
};

TEST_F(LogDispatcherFile, AFullDiskIsToldOnceAndLoggingGoesOn) {
  ASSERT_TRUE(dispatcher.AddFile(folder.Path("a.log"), KorLogLevel::kTrace, kPlenty, 1, error));
  std::vector<std::string> heard;
  dispatcher.AddListener(KorLogLevel::kTrace,
                         [&heard](const KorLogRecord& record) { heard.emplace_back(record.text); });
  std::string told;
  {
    const ErrorPipe errors;
    const FullDisk disk;
    log.PrintWithNL("one");
    log.PrintWithNL("two");
    told = errors.Take();
  }
  log.PrintWithNL("three");
  EXPECT_EQ(heard, (std::vector<std::string>{"one", "two", "three"}));
  ASSERT_EQ(LinesWithoutTime(told).size(), 1U) << told;
  EXPECT_NE(told.find("error Kor: The log cannot be written: "), std::string::npos) << told;
  EXPECT_NE(told.find("File too large"), std::string::npos) << told;
  EXPECT_EQ(LinesWithoutTime(folder.Read("a.log")), std::vector<std::string>{"print Test: three"});
}

TEST(LogDispatcher, WantsNothingUntilSomebodyListens) {
  KorLogDispatcher dispatcher;
  EXPECT_FALSE(dispatcher.Wants(KorLogLevel::kError));
  dispatcher.AddStandardError(KorLogLevel::kWarning);
  EXPECT_FALSE(dispatcher.Wants(KorLogLevel::kPrint));
  EXPECT_TRUE(dispatcher.Wants(KorLogLevel::kWarning));
  const int number = dispatcher.AddListener(KorLogLevel::kDetail, [](const KorLogRecord&) {});
  EXPECT_TRUE(dispatcher.Wants(KorLogLevel::kDetail));
  EXPECT_FALSE(dispatcher.Wants(KorLogLevel::kTrace));
  dispatcher.RemoveListener(number);
  EXPECT_FALSE(dispatcher.Wants(KorLogLevel::kDetail));
}

TEST(LogDispatcher, StandardErrorHasItsOwnLevel) {
  KorLogDispatcher dispatcher;
  KorDebug log("Test", "");
  log.SetContext(&dispatcher);
  testing::internal::CaptureStderr();
  dispatcher.AddStandardError(KorLogLevel::kWarning);
  dispatcher.AddListener(KorLogLevel::kTrace, [](const KorLogRecord&) {});
  log.PrintWithNL("quiet");
  log.WarningWithNL("loud");
  EXPECT_EQ(LinesWithoutTime(testing::internal::GetCapturedStderr()),
            std::vector<std::string>{"warning Test: loud"});
}

TEST(LogDispatcher, ListenersHearTheirLevelsRaw) {
  KorLogDispatcher dispatcher;
  KorDebug log("Test", "");
  log.SetContext(&dispatcher);
  std::vector<std::string> low;
  std::vector<std::string> high;
  dispatcher.AddListener(KorLogLevel::kTrace,
                         [&low](const KorLogRecord& record) { low.emplace_back(record.text); });
  const int number = dispatcher.AddListener(
      KorLogLevel::kError, [&high](const KorLogRecord& record) { high.emplace_back(record.text); });
  log.TraceWithNL("a\nb");
  log.ErrorWithNL("c");
  dispatcher.RemoveListener(number);
  log.ErrorWithNL("d");
  EXPECT_EQ(low, (std::vector<std::string>{"a\nb", "c", "d"}));
  EXPECT_EQ(high, std::vector<std::string>{"c"});
}

TEST(LogDispatcher, ARemovedListenerIsNotUnderWay) {
  KorLogDispatcher dispatcher;
  KorDebug log("Test", "");
  log.SetContext(&dispatcher);
  std::atomic<bool> stop = false;
  std::thread writer([&] {
    while (!stop) log.PrintWithNL("text");
  });
  for (int round = 0; round < 50; ++round) {
    auto count = std::make_unique<int>(0);
    const int number = dispatcher.AddListener(
        KorLogLevel::kTrace, [where = count.get()](const KorLogRecord&) { ++*where; });
    std::this_thread::yield();
    dispatcher.RemoveListener(number);
    count.reset();
  }
  stop = true;
  writer.join();
}

TEST_F(LogDispatcherFile, LinesOfSeveralThreadsDoNotMix) {
  ASSERT_TRUE(dispatcher.AddFile(folder.Path("a.log"), KorLogLevel::kTrace, kPlenty, 1, error));
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([this, thread] {
      for (int index = 0; index < 200; ++index) log.PrintWithNL("thread %d", thread);
    });
  }
  for (std::thread& thread : threads) thread.join();
  const std::vector<std::string> lines = LinesWithoutTime(folder.Read("a.log"));
  EXPECT_EQ(lines.size(), 800U);
  for (int thread = 0; thread < 4; ++thread) {
    EXPECT_EQ(
        std::count(lines.begin(), lines.end(), "print Test: thread " + std::to_string(thread)),
        200);
  }
}

}  // namespace
