#include "agent/neighbours.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "agent/container_json.h"
#include "agent/identity.h"
#include "agent/tls_server/running_server.h"
#include "kor/condition.h"
#include "kor/mutex.h"
#include "korcore/action_db.h"
#include "korcore/callback_db.h"
#include "korcore/host_worker.h"
#include "support/captured_log.h"
#include "support/temporary_folder.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;
using std::chrono::steady_clock;

constexpr agent::RetryLimits kFast{milliseconds(10), milliseconds(100)};
constexpr const char* kEvent = "FileStoreCallbackReceivedFile";
constexpr const char* kReceiver = "HardwareReceiveFile (container Values)";

uint32_t Invoke(const char* action, KorContainer container) {
  return ActionDbInvokeContainer("", action, container, 0, -1, -1, 0);
}

template <typename Condition>
bool Eventually(Condition condition) {
  const auto end = steady_clock::now() + seconds(60);
  while (steady_clock::now() < end) {
    if (condition()) return true;
    std::this_thread::sleep_for(milliseconds(5));
  }
  return false;
}

std::vector<std::string> Names(const KorString& folder) {
  std::vector<std::string> names;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder.Str(), error)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

// A home with the neighbours, and a module that takes received files.
class NeighboursTest : public testing::Test {
 protected:
  NeighboursTest() {
    mkdir(folder.Path("config").CStr(), 0750);
    mkdir(folder.Path("data").CStr(), 0750);
    settings = agent::ReadSettings(home).Value();
    ActionDbRegisterAction(
        kReceiver, [this](KorContainer* container) { return Receive(*container); }, this);
    CallbackDbRegisterAction(kEvent, kReceiver, "", 0);
    HostWorkerStart();
  }
  ~NeighboursTest() override {
    HostWorkerStop();
    CallbackDbDeleteAction(kEvent, kReceiver, "");
    ActionDbDropModule(this);
  }

  uint32_t Receive(const KorContainer& container) {
    KorString path;
    std::string content = "no file";
    if (container.GetString("FilePath", path) && !path.IsEmpty()) {
      content = folder.Read(path.Str().substr(folder.Path().GetLength() + 1));
    }
    const KorMutexLock lock(mutex);
    received.push_back(container);
    contents.push_back(content);
    return answer;
  }
  size_t CountReceived() {
    const KorMutexLock lock(mutex);
    return received.size();
  }

  KorContainer FileParameters() {
    KorContainer file;
    file.SetString("FileName", "");
    file.SetBool("Upstream", true);
    file.SetBool("Bypass", false);
    file.SetString("FileType", "HardwareInventory2");
    file.SetString("FileLabel", "HardwareInventory2");
    file.SetString("CopyPath", folder.Write("Upld.xml", "<inventory/>"));
    return file;
  }

  TemporaryFolder folder;
  CapturedLog log{KorFrameworkLog()};
  agent::Home home{folder.Path()};
  agent::Settings settings;
  const agent::ReceivedFolder receivedFolder{folder.Path("data/received")};
  KorMutex mutex;
  std::vector<KorContainer> received;
  std::vector<std::string> contents;
  uint32_t answer = 44002;
};

TEST_F(NeighboursTest, FileReachesTheUpstreamFolderWithItsMeaning) {
  const agent::Identity identity(home.DataDir() + "identity.ini", "");
  agent::Neighbours neighbours(home, settings, kFast);
  KorContainer file = FileParameters();
  file.SetBool("Unconnected", true);
  EXPECT_EQ(ACTIONDB_ERROR_SUCCESS, Invoke("FileStoreReceiveFile", file));
  EXPECT_EQ(1U, neighbours.Status().files);
  folder.Write("Upld.xml", "changed since");

  const agent::DeliveryStatus status = neighbours.DeliverFor(seconds(5));

  EXPECT_EQ(0U, status.files);
  const std::vector<std::string> names = Names(folder.Path("data/upstream"));
  ASSERT_EQ(2U, names.size());
  EXPECT_EQ("<inventory/>", folder.Read("data/upstream/" + names[0]));
  const KorContainer meaning =
      agent::ContainerFromJsonText(folder.Read("data/upstream/" + names[1])).Value();
  KorString text;
  bool flag = false;
  EXPECT_TRUE(meaning.GetString("FileType", text));
  EXPECT_EQ("HardwareInventory2", text);
  EXPECT_TRUE(meaning.GetString("FileName", text));
  EXPECT_EQ("Upld.xml", text);
  EXPECT_TRUE(meaning.GetString("DeviceGUID", text));
  EXPECT_EQ(36U, text.GetLength());
  EXPECT_TRUE(meaning.GetBool("Unconnected", flag));
  EXPECT_TRUE(flag);
}

TEST_F(NeighboursTest, FileStoreRefusesWhatItCannotAccept) {
  const agent::Neighbours neighbours(home, settings, kFast);
  KorContainer missing;
  missing.SetString("FileType", "Type");
  EXPECT_EQ(ACTIONDB_ERROR_BADPARAM, Invoke("FileStoreReceiveFile", missing));
  KorContainer wrongType = FileParameters();
  wrongType.SetString("Bypass", "yes");
  EXPECT_EQ(ACTIONDB_ERROR_BADPARAM, Invoke("FileStoreReceiveFile", wrongType));
  KorContainer absent = FileParameters();
  absent.SetString("CopyPath", folder.Path("absent"));
  EXPECT_EQ(ACTIONDB_ERROR_FAILURE, Invoke("FileStoreReceiveFile", absent));
  EXPECT_NE(std::string::npos, log.Text().find("error: The file '" + folder.Path("absent").Str() +
                                               "' is not accepted for delivery: "));
  KorContainer downstream = FileParameters();
  downstream.SetBool("Upstream", false);
  EXPECT_EQ(ACTIONDB_ERROR_FAILURE, Invoke("FileStoreReceiveFile", downstream));
}

TEST_F(NeighboursTest, QueueThatCannotBeCreatedYetIsUsedWhenItCan) {
  const KorString inTheWay = folder.Write("data/queue", "");
  const agent::Neighbours neighbours(home, settings, kFast);
  EXPECT_EQ(ACTIONDB_ERROR_FAILURE, Invoke("FileStoreReceiveFile", FileParameters()));
  std::filesystem::remove(inTheWay.Str());
  EXPECT_EQ(ACTIONDB_ERROR_SUCCESS, Invoke("FileStoreReceiveFile", FileParameters()));
}

TEST_F(NeighboursTest, CalledActionReachesTheUpstreamFolder) {
  agent::Neighbours neighbours(home, settings, kFast);
  KorContainer parameters;
  parameters.SetString("Status", "_STATUS_ASSIGNOK_");
  KorContainer call;
  call.SetContainer("ParametersAsContainer", parameters);
  call.SetString("ActionName", "K42DbHardwareGiveStatus");
  call.SetString("LogInfo", "a status");
  call.SetInt32("Priority", 1);
  call.SetString("TargetsAsString", ":/MASTER///");
  EXPECT_EQ(ACTIONDB_ERROR_SUCCESS, Invoke("AsynchronousActionsCall", call));
  call.SetString("Priority", "high");
  EXPECT_EQ(ACTIONDB_ERROR_BADPARAM, Invoke("AsynchronousActionsCall", call));
  EXPECT_EQ(ACTIONDB_ERROR_BADPARAM, Invoke("AsynchronousActionsCall", KorContainer()));

  EXPECT_EQ(0U, neighbours.DeliverFor(seconds(5)).actions);

  const std::vector<std::string> names = Names(folder.Path("data/upstream"));
  ASSERT_EQ(1U, names.size());
  const KorContainer meaning =
      agent::ContainerFromJsonText(folder.Read("data/upstream/" + names[0])).Value();
  KorContainer back;
  int32_t priority = 0;
  EXPECT_TRUE(meaning.GetContainer("ParametersAsContainer", back));
  EXPECT_EQ(parameters, back);
  EXPECT_TRUE(meaning.GetInt32("Priority", priority));
  EXPECT_EQ(1, priority);
}

TEST_F(NeighboursTest, WhatIsPutIntoTheInboxIsHandedOutAndPutAway) {
  agent::Neighbours neighbours(home, settings, kFast);
  neighbours.StartService();
  ASSERT_TRUE(Eventually([&] { return Names(folder.Path("data/inbox")).size() == 2; }));
  folder.Write("data/inbox/new.xml", "<HWINVCONFIG/>");
  folder.Write("data/inbox/assign.json",
               R"({"FileType": "Assignment", "File": "new.xml", "Parameters": )"
               R"({"AssignmentName": "10_rules", "AssignmentModule": "HardwareInventory"}})");

  EXPECT_TRUE(Eventually([&] { return Names(folder.Path("data/inbox/done")).size() == 2; }));

  neighbours.Stop();
  const KorMutexLock lock(mutex);
  ASSERT_EQ(1U, received.size());
  EXPECT_EQ("<HWINVCONFIG/>", contents[0]);
  KorString text;
  EXPECT_TRUE(received[0].GetString("FileType", text));
  EXPECT_EQ("Assignment", text);
  EXPECT_TRUE(received[0].GetString("AssignmentName", text));
  EXPECT_EQ("10_rules", text);
}

// It would not be noticed in a folder that is moved or removed, nor in the new one.
TEST_F(NeighboursTest, InboxThatIsMovedOrRemovedIsMadeAnewAndWatched) {
  agent::Neighbours neighbours(home, settings, kFast);
  neighbours.StartService();
  const std::string inbox = folder.Path("data/inbox").Str();
  const auto isMade = [&] { return Names(KorString(inbox)).size() == 2; };
  ASSERT_TRUE(Eventually(isMade));
  for (const bool isMoved : {true, false}) {
    if (isMoved) {
      std::filesystem::rename(inbox, inbox + ".old");
    } else {
      std::filesystem::remove_all(inbox);
    }
    ASSERT_TRUE(Eventually(isMade)) << isMoved;
    folder.Write(
        "data/inbox/1.json",
        R"({"FileType": "Assignment", "Parameters": {"AssignmentOperation": "withdraw"}})");
    ASSERT_TRUE(Eventually([&] { return Names(folder.Path("data/inbox/done")).size() == 1; }))
        << isMoved;
  }
  EXPECT_EQ(2U, CountReceived());
}

TEST_F(NeighboursTest, WhatNobodyTakesOrNobodyMayAskForIsRefusedWithTheReason) {
  agent::InboundDispatcher dispatcher;
  agent::Inbox inbox(folder.Path("data/inbox"), dispatcher, receivedFolder, seconds(0));
  ASSERT_TRUE(inbox.Prepare().IsOk());
  answer = 44004;
  folder.Write("data/inbox/a.xml", "x");
  folder.Write("data/inbox/1.json", R"({"FileType": "Other", "File": "a.xml"})");
  folder.Write("data/inbox/2.json", R"({"ActionName": "HardwareSetValues"})");
  folder.Write("data/inbox/3.json", R"({"FileType": "Other", "File": "../../config/x.ini"})");
  folder.Write("data/inbox/4.json", "{");
  folder.Write("data/inbox/5.json", R"({"FileType": "Other", "File": "absent.xml"})");
  EXPECT_FALSE(inbox.Process());
  EXPECT_EQ((std::vector<std::string>{"done", "refused"}), Names(folder.Path("data/inbox")));
  EXPECT_EQ(11U, Names(folder.Path("data/inbox/refused")).size());
  EXPECT_EQ("no module took the file; the log may say why\n",
            folder.Read("data/inbox/refused/1.reason.txt"));
  EXPECT_EQ("the action 'HardwareSetValues' is none of those that may be asked for\n",
            folder.Read("data/inbox/refused/2.reason.txt"));
  EXPECT_EQ("File must be the bare name of a file beside it\n",
            folder.Read("data/inbox/refused/3.reason.txt"));
}

TEST_F(NeighboursTest, LinkInThePlaceOfAFolderOfTheInboxLeadsNowhere) {
  agent::InboundDispatcher dispatcher;
  agent::Inbox inbox(folder.Path("data/inbox"), dispatcher, receivedFolder, seconds(0));
  ASSERT_TRUE(inbox.Prepare().IsOk());
  mkdir(folder.Path("elsewhere").CStr(), 0700);
  folder.Write("elsewhere/precious", "x");
  for (const char* name : {"done", "refused"}) {
    const KorString place = folder.Path("data/inbox") + "/" + name;
    rmdir(place.CStr());
    ASSERT_EQ(0, symlink(folder.Path("elsewhere").CStr(), place.CStr()));
  }
  folder.Write("data/inbox/1.json", "{");

  EXPECT_TRUE(inbox.Process());
  EXPECT_TRUE(inbox.Process());

  EXPECT_EQ(std::vector<std::string>{"precious"}, Names(folder.Path("elsewhere")));
  EXPECT_EQ((std::vector<std::string>{"1.json", "done", "refused"}),
            Names(folder.Path("data/inbox")));
  EXPECT_EQ(log.Text(), "warning: The inbox is left alone: the folder '" +
                            folder.Path("data/inbox/done").Str() +
                            "' cannot be used: Not a directory\n");
}

TEST_F(NeighboursTest, InboxItemThatIsTooLongIsRefused) {
  agent::InboundDispatcher dispatcher;
  agent::Inbox inbox(folder.Path("data/inbox"), dispatcher, receivedFolder, seconds(0));
  ASSERT_TRUE(inbox.Prepare().IsOk());
  const KorString item = folder.Write("data/inbox/1.json", "{}");
  std::filesystem::resize_file(item.Str(), 16 * 1024 * 1024 + 1);

  inbox.Process();

  EXPECT_EQ("'" + item.Str() + "' cannot be read: it is too long\n",
            folder.Read("data/inbox/refused/1.reason.txt"));
}

TEST_F(NeighboursTest, InboxKeepsTheLatestOfWhatIsDone) {
  agent::InboundDispatcher dispatcher;
  agent::Inbox inbox(folder.Path("data/inbox"), dispatcher, receivedFolder, seconds(0));
  ASSERT_TRUE(inbox.Prepare().IsOk());
  mkdir(folder.Path("data/inbox/refused/kept").CStr(), 0700);
  for (size_t n = 0; n < agent::Inbox::kFilesKept; ++n) {
    folder.Write("data/inbox/refused/old" + std::to_string(n), "x");
  }
  folder.WaitForLaterFileTime();
  folder.Write("data/inbox/1.json", "{");

  inbox.Process();

  const std::vector<std::string> names = Names(folder.Path("data/inbox/refused"));
  EXPECT_EQ(agent::Inbox::kFilesKept + 1, names.size());
  EXPECT_EQ("1.json", names[0]);
  EXPECT_EQ("1.reason.txt", names[1]);
  EXPECT_EQ("kept", names[2]);
}

TEST_F(NeighboursTest, InboxKeepsNoMoreThanItsBytes) {
  agent::InboundDispatcher dispatcher;
  agent::Inbox inbox(folder.Path("data/inbox"), dispatcher, receivedFolder, seconds(0));
  ASSERT_TRUE(inbox.Prepare().IsOk());
  const KorString large = folder.Write("data/inbox/refused/large", "x");
  std::filesystem::resize_file(large.Str(), agent::Inbox::kBytesKept);
  folder.WaitForLaterFileTime();
  folder.Write("data/inbox/1.json", "{");

  inbox.Process();

  EXPECT_EQ((std::vector<std::string>{"1.json", "1.reason.txt"}),
            Names(folder.Path("data/inbox/refused")));
}

TEST_F(NeighboursTest, FolderThatNobodyCollectsFillsUpToTheLimit) {
  settings.queueLimitBytes = 1024 * 1024;
  mkdir(settings.upstreamFolder.CStr(), 0700);
  std::filesystem::resize_file(folder.Write("data/upstream/old", "x").Str(), 1024 * 1024);
  agent::Neighbours neighbours(home, settings, kFast);
  EXPECT_EQ(ACTIONDB_ERROR_SUCCESS, Invoke("FileStoreReceiveFile", FileParameters()));

  const agent::DeliveryStatus status = neighbours.DeliverFor(milliseconds(50));

  EXPECT_EQ(1U, status.files);
  EXPECT_EQ("the folder '" + settings.upstreamFolder +
                "' is full (QueueLimit); somebody has to collect it",
            neighbours.Status().lastFailure);
}

TEST_F(NeighboursTest, ActionsAreThereWhileSettingsAreReadAgain) {
  agent::Neighbours neighbours(home, settings, kFast);
  std::atomic<bool> stopping = false;
  std::atomic<int> accepted = 0;
  std::atomic<int> refused = 0;
  std::thread uploads([&] {
    const KorContainer file = FileParameters();
    while (!stopping && accepted < 40) {
      ++(Invoke("FileStoreReceiveFile", file) == ACTIONDB_ERROR_SUCCESS ? accepted : refused);
    }
  });
  for (int n = 0; n < 20 || accepted < 20; ++n) {
    neighbours.Reload(settings);
    neighbours.StartService();
  }
  stopping = true;
  uploads.join();
  EXPECT_EQ(0, refused);

  EXPECT_TRUE(Eventually([&] { return neighbours.Status().files == 0; }));
  neighbours.Stop();
  EXPECT_EQ(2U * static_cast<size_t>(accepted), Names(folder.Path("data/upstream")).size());
}

TEST_F(NeighboursTest, InboxItemInTheMiddleOfBeingWrittenIsGivenTime) {
  agent::InboundDispatcher dispatcher;
  agent::Inbox inbox(folder.Path("data/inbox"), dispatcher, receivedFolder, seconds(60));
  ASSERT_TRUE(inbox.Prepare().IsOk());
  folder.Write("data/inbox/1.json", R"({"FileType": "Assign)");
  EXPECT_TRUE(inbox.Process());
  EXPECT_EQ(0U, Names(folder.Path("data/inbox/refused")).size());
}

TEST_F(NeighboursTest, AllowedActionIsInvoked) {
  int invoked = 0;
  ActionDbRegisterAction(
      "HardwareStartInventory (bool UploadAfterUpdate)",
      [&invoked](KorContainer* container) {
        bool upload = false;
        container->GetBool("UploadAfterUpdate", upload);
        invoked += upload ? 1 : 0;
        return ACTIONDB_ERROR_SUCCESS;
      },
      this);
  agent::InboundDispatcher dispatcher;
  agent::Inbox inbox(folder.Path("data/inbox"), dispatcher, receivedFolder, seconds(0));
  ASSERT_TRUE(inbox.Prepare().IsOk());
  folder.Write(
      "data/inbox/run.json",
      R"({"ActionName": "HardwareStartInventory", "Parameters": {"UploadAfterUpdate": true}})");
  EXPECT_FALSE(inbox.Process());
  EXPECT_EQ(1, invoked);
  EXPECT_EQ(std::vector<std::string>{"run.json"}, Names(folder.Path("data/inbox/done")));
}

TEST_F(NeighboursTest, WaitForAModuleEndsWithTheAgent) {
  HostWorkerStop();
  agent::Neighbours neighbours(home, settings, kFast);
  neighbours.StartService();
  ASSERT_TRUE(Eventually([&] { return Names(folder.Path("data/inbox")).size() == 2; }));
  folder.Write("data/inbox/1.json",
               R"({"FileType": "Assignment", "Parameters": {"AssignmentOperation": "withdraw"}})");
  std::this_thread::sleep_for(milliseconds(50));
  const auto start = steady_clock::now();
  neighbours.Stop();
  EXPECT_LT(steady_clock::now() - start, seconds(60));
  EXPECT_EQ(0U, CountReceived());
  EXPECT_EQ(3U, Names(folder.Path("data/inbox")).size());
}

TEST_F(NeighboursTest, ServersItemsAreFetchedHandedOutAndAcknowledgedOnce) {
  TemporaryFolder server;
  MakeCertificates(server);
  mkdir(server.Path("www").CStr(), 0700);
  server.Write("www/inbox", R"({"Items": [
      {"Id": "n1", "Item": {"FileType": "Assignment", "File": "new.xml", "Parameters":
        {"AssignmentName": "10_rules", "AssignmentModule": "HardwareInventory"}}, "Size": 3},
      {"Id": "n2", "Item": {"ActionName": "HardwareSetValues"}}]})");
  server.Write("www/n1", "new");
  const RunningServer running(server);
  settings.upstreamUrl = KorString(running.Url());
  settings.upstreamCaFile = server.Path("ca.pem");
  settings.pollSeconds = 3600;
  const agent::Identity identity(home.DataDir() + "identity.ini", "");
  agent::Neighbours neighbours(home, settings, kFast);
  EXPECT_EQ(ACTIONDB_ERROR_SUCCESS, Invoke("FileStoreReceiveFile", FileParameters()));
  neighbours.StartService();

  EXPECT_TRUE(Eventually([&] {
    const std::vector<std::string> lines = Lines(server, "requests.log");
    return std::count_if(lines.begin(), lines.end(), [](const std::string& line) {
             return line.starts_with("DELETE /agents/inbox/");
           }) == 2;
  }));
  EXPECT_TRUE(Eventually([&] { return Lines(server, "arrived").size() == 1; }));

  neighbours.Stop();
  const KorMutexLock lock(mutex);
  EXPECT_EQ(std::vector<std::string>{"new"}, contents);
  EXPECT_EQ(0U, Names(folder.Path("data/received")).size());
  KorString requests;
  for (const std::string& line : Lines(server, "requests.log")) requests += KorString(line + "\n");
  EXPECT_NE(-1, requests.Find("DELETE /agents/inbox/n1?Result=done", 0));
  EXPECT_NE(-1, requests.Find("DELETE /agents/inbox/n2?Result=refused&Reason=the%20action", 0));
  EXPECT_EQ(-1, requests.Find("[] []", 0)) << "without the device's GUID";
}

}  // namespace
