#include "agent/inbox.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "kor/debug.h"
#include "korcore/action_db.h"
#include "korcore/callback_db.h"
#include "korcore/host_worker.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

constexpr const char* kEvent = "FileStoreCallbackReceivedFile";
constexpr const char* kReceiver = "InboxTestReceiveFile (container Values)";
constexpr const char* kItem = R"({"FileType": "Other", "File": "a.xml"})";
constexpr uint64_t kFileLimit = 64 * 1024 * 1024;

// An inbox, and a module that reads the files that come.
class InboxTest : public testing::Test {
 protected:
  InboxTest() {
    ActionDbRegisterAction(
        kReceiver, [this](KorContainer* container) { return Receive(*container); }, this);
    CallbackDbRegisterAction(kEvent, kReceiver, "", 0);
    HostWorkerStart();
    EXPECT_TRUE(inbox.Prepare().IsOk());
  }
  ~InboxTest() override {
    HostWorkerStop();
    CallbackDbDeleteAction(kEvent, kReceiver, "");
    ActionDbDropModule(this);
  }

  // On the worker's thread, while the inbox waits for it.
  uint32_t Receive(const KorContainer& container) {
    if (beforeReading) beforeReading();
    KorString path;
    container.GetString("FilePath", path);
    contents.push_back(folder.Read(path.Str().substr(folder.Path().GetLength() + 1)));
    return 44002;
  }

  size_t CountLines(const std::string& beginning) const {
    const std::vector<CapturedLog::Entry> entries = log.Entries();
    return static_cast<size_t>(std::count_if(
        entries.begin(), entries.end(),
        [&](const CapturedLog::Entry& entry) { return entry.text.starts_with(beginning); }));
  }

  TemporaryFolder folder;
  CapturedLog log{KorFrameworkLog()};
  agent::InboundDispatcher dispatcher;
  const agent::ReceivedFolder received{folder.Path("received")};
  agent::Inbox inbox{folder.Path("inbox"), dispatcher, received, std::chrono::seconds(0)};
  std::function<void()> beforeReading;
  std::vector<std::string> contents;
};

TEST_F(InboxTest, FileThatIsExchangedAfterItsCheckIsNotWhatIsHandedOut) {
  folder.Write("secret", "secret");
  folder.Write("inbox/a.xml", "checked");
  folder.Write("inbox/1.json", kItem);
  mode_t mode = 0;
  beforeReading = [&] {
    std::filesystem::remove(folder.Path("inbox/a.xml").Str());
    std::filesystem::create_symlink(folder.Path("secret").Str(), folder.Path("inbox/a.xml").Str());
    struct stat status = {};
    stat(folder.Path("received").CStr(), &status);
    mode = status.st_mode & 07777;
  };

  EXPECT_FALSE(inbox.Process());

  EXPECT_EQ(std::vector<std::string>{"checked"}, contents);
  EXPECT_EQ(0700U, mode);
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path("received").Str()));
}

TEST_F(InboxTest, WhatAnEarlierProcessHasLeftIsRemoved) {
  mkdir(folder.Path("left").CStr(), 0700);
  folder.Write("left/a.xml", "x");
  const agent::ReceivedFolder again(folder.Path("left"));
  EXPECT_FALSE(std::filesystem::exists(folder.Path("left").Str()));
}

TEST_F(InboxTest, FileThatIsTooLongIsRefused) {
  std::filesystem::resize_file(folder.Write("inbox/a.xml", "x").Str(), kFileLimit + 1);
  folder.Write("inbox/1.json", kItem);

  EXPECT_FALSE(inbox.Process());

  EXPECT_TRUE(contents.empty());
  EXPECT_EQ("its file is larger than 64 MiB\n", folder.Read("inbox/refused/1.reason.txt"));
  EXPECT_TRUE(std::filesystem::exists(folder.Path("inbox/refused/a.xml").Str()));
}

TEST_F(InboxTest, FileThatCannotBeCopiedWaitsUntilItCan) {
  const KorString inTheWay = folder.Write("received", "");
  folder.Write("inbox/a.xml", "x");
  folder.Write("inbox/1.json", kItem);
  EXPECT_TRUE(inbox.Process());
  EXPECT_TRUE(inbox.Process());
  EXPECT_EQ(1U, CountLines("The inbox item '1.json' has to wait: "));
  std::filesystem::remove(inTheWay.Str());

  EXPECT_FALSE(inbox.Process());

  EXPECT_EQ(std::vector<std::string>{"x"}, contents);
}

TEST_F(InboxTest, ItemThatCannotBePutAwayIsRemoved) {
  std::filesystem::create_directories(folder.Path("inbox/done/1.json/full").Str());
  folder.Write("inbox/a.xml", "x");
  folder.Write("inbox/1.json", kItem);

  EXPECT_FALSE(inbox.Process());
  folder.Write("inbox/a.xml", "x");
  EXPECT_FALSE(inbox.Process());

  EXPECT_EQ(1U, contents.size());
  EXPECT_FALSE(std::filesystem::exists(folder.Path("inbox/1.json").Str()));
  EXPECT_EQ(1U, CountLines("The inbox item '1.json' was removed"));
}

TEST_F(InboxTest, ItemThatCannotBeRemovedIsDealtWithOnce) {
  for (const char* path : {"inbox/1.json", "inbox/refused/1.json/full"}) {
    std::filesystem::create_directories(folder.Path(path).Str());
  }
  inbox.Process();
  inbox.Process();
  EXPECT_EQ(1U, CountLines("The inbox item '1.json' was refused: "));
  EXPECT_EQ(1U, CountLines("The inbox item '1.json' cannot be removed ("));
  std::filesystem::remove(folder.Path("inbox/1.json").Str());
  folder.Write("inbox/1.json", R"({"ActionName": "HardwareSetValues"})");

  inbox.Process();

  EXPECT_EQ(2U, CountLines("The inbox item '1.json' was refused: "));
}

}  // namespace
