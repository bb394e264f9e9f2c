// A day of the service in short, through its socket, and many clients at once.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "service_process.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;
using Json = ServiceProcess::Json;

constexpr const char* kMachine = KOR_SOURCE_DIR "/tests/machines/classic_server.machine";

const std::vector<std::string> kReplay = {"--module", KOR_MODULE_FILE, "--replay", kMachine};

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
  for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
    text.replace(at, what.size(), by);
  }
  return text;
}

class ServiceDay : public testing::Test {
 protected:
  // What waits for the server's people: descriptions with that text in them.
  size_t CountDelivered(const std::string& text) const {
    size_t count = 0;
    std::error_code none;
    const std::filesystem::directory_iterator entries(folder.Path("home/data/upstream").Str(),
                                                      none);
    for (const auto& entry : entries) {
      if (entry.path().extension() != ".json") continue;
      std::ifstream file(entry.path());
      std::stringstream content;
      content << file.rdbuf();
      count += content.str().find(text) != std::string::npos ? 1 : 0;
    }
    return count;
  }

  bool WaitForDelivered(const std::string& text, size_t count) const {
    return WaitUntil([&] { return CountDelivered(text) >= count; });
  }

  bool Exists(const char* name) const { return std::filesystem::exists(folder.Path(name).Str()); }

  void MakeFirstInventory() {
    ASSERT_EQ(0, RunProgram(folder, {"inventory", "--home", folder.Path("home").Str(), "--module",
                                     KOR_MODULE_FILE, "--replay", kMachine, "--format", "json"}));
    std::filesystem::remove(folder.Path("home/data/kor-agent.log").Str());
  }

  // A folder in the place of the identity: nothing can be read or stored there.
  void TakeIdentityAway() const {
    std::filesystem::remove(folder.Path("home/data/identity.ini").Str());
    std::filesystem::create_directory(folder.Path("home/data/identity.ini").Str());
  }

  // The identity becomes available: the inventory of the day before is sent.
  void GetIdentity(ServiceProcess& service) const {
    std::filesystem::remove(folder.Path("home/data/identity.ini").Str());
    service.Signal(SIGHUP);
    EXPECT_TRUE(WaitForDelivered("HardwareInventory2", 1));
    EXPECT_TRUE(WaitUntil([&] { return service.Status()["lastUpload"].is_string(); }));
    service.NextState();
    EXPECT_EQ("READY=1", service.NextState());
  }

  void UploadByRun(ServiceProcess& service) const {
    EXPECT_EQ(0U, service.Invoke("HardwareStartInventory",
                                 R"({"UploadAfterUpdate":true,"ForceUpload":true})"));
    EXPECT_TRUE(WaitForDelivered("HardwareInventory2", 2));
    EXPECT_TRUE(WaitUntil([&] { return service.Status()["lastRun"]["endedWell"] == true; }));
    EXPECT_TRUE(service.Status()["run"].is_null());
  }

  // A run that does not upload, and the timer that sends what it found.
  void UploadByTimer(ServiceProcess& service) const {
    EXPECT_EQ(0U, service.Invoke("HardwareStartInventory"));
    EXPECT_TRUE(
        WaitUntil([&] { return Exists("home/data/HardwareInventory/HardwareInventoryLast.xml"); }));
    EXPECT_TRUE(WaitUntil([&] { return service.Status()["run"].is_null(); }));
    EXPECT_EQ(0U, service.Invoke("HardwareSetValues", R"({"Values":{"UploadInterval":1}})"));
    EXPECT_EQ(1, service.Status()["timers"][0]["period"]);
    EXPECT_TRUE(WaitForDelivered("HardwareInventory2", 3));
    EXPECT_TRUE(WaitUntil([&] {
      return service.Log().find("The hardware inventory has not been processed") !=
             std::string::npos;
    }));
    EXPECT_EQ(0U, service.Invoke("HardwareSetValues", R"({"Values":{"UploadInterval":86400}})"));
    EXPECT_EQ(86400, service.Status()["timers"][0]["period"]);
    EXPECT_EQ(0U, service.Invoke("HardwareGetValues"));
    EXPECT_EQ(86400, service.LastContainer()["Values"]["UploadInterval"]);
  }

  void QueryAndReset(ServiceProcess& service) const {
    EXPECT_EQ(0U, service.Invoke("HardwareInventoryQuery",
                                 R"({"Query":"select Name from \"Computer System\""})"));
    EXPECT_EQ(Json::parse(R"({"Values":"db01.plant.example"})"), service.LastContainer()["Rows"]);

    EXPECT_EQ(0U, service.Invoke("HardwareInventoryInventoryReset"));
    EXPECT_EQ(0U, service.Invoke("HardwareInventoryInventoryReset", R"({"FileType":"Upload"})"));
    EXPECT_TRUE(WaitForDelivered("HardwareInventory2", 4));
  }

  // A good one, and one that cannot be parsed, which an audit then meets.
  void AssignTranslationFiles(ServiceProcess& service) const {
    EXPECT_EQ(0U, service.Invoke("HardwareAssign",
                                 R"({"AssignmentName":"10_good","AssignmentModule":)"
                                 R"("HardwareInventory","AssignmentContent":"<HWINVCONFIG/>"})"));
    EXPECT_TRUE(WaitForDelivered("K42DbHardwareGiveStatus", 1));
    EXPECT_EQ(0U, service.Invoke("HardwareSynchronize"));
    EXPECT_TRUE(WaitForDelivered("K42DbHardwareGiveSynchro", 1));
    EXPECT_EQ(0U, service.Invoke("HardwareAuditNow"));
    EXPECT_EQ(0U, service.Invoke("HardwareAssign",
                                 R"({"AssignmentName":"11_broken","AssignmentModule":)"
                                 R"("HardwareInventory","AssignmentContent":"<HWINVCONFIG>"})"));
    EXPECT_TRUE(WaitForDelivered("K42DbHardwareGiveStatus", 2));
    EXPECT_EQ(0U, service.Invoke("HardwareAuditNow"));
    EXPECT_EQ(0U, service.Invoke("HardwareInventoryWithError"));
    EXPECT_EQ(true, service.LastContainer()["WithError"]);
  }

  // One of another module, and by way of the inbox a reset.
  void ReceiveFiles(ServiceProcess& service) const {
    EXPECT_EQ(44004U, service.Invoke("HardwareReceiveFile", R"({"FileType":"Another"})"));
    folder.Write("home/data/inbox/reset.xml", "<container/>");
    folder.Write("home/data/inbox/reset.json",
                 R"({"FileType":"HardwareInventoryReset","File":"reset.xml"})");
    EXPECT_TRUE(WaitUntil([&] { return Exists("home/data/inbox/done/reset.json"); }));
  }

  // Messages of the level print and above, but for the scans, without times and with the home's
  // name cut short. A message that is repeated at once counts once.
  std::vector<std::string> Messages() const {
    std::vector<std::string> messages;
    std::istringstream log(folder.Read("home/data/kor-agent.log"));
    for (std::string line; std::getline(log, line);) {
      line = Replaced(line.substr(line.find(' ') + 1), folder.Path("home").Str(), "HOME");
      const bool isShown = !line.starts_with("detail ") &&
                           line.find(": Scanning ") == std::string::npos &&
                           line.find("translation file '") == std::string::npos;
      if (isShown && (messages.empty() || messages.back() != line)) messages.push_back(line);
    }
    return messages;
  }

  const TemporaryFolder folder;
};

const std::vector<std::string> kMessagesOfTheDay = {
    "error Kor: Without an identity no inventory is made: the device's identity in "
    "'HOME/data/identity.ini' cannot be read: Is a directory",
    "print Kor: The agent serves the home 'HOME'",
    "print HardwareInventory: No diff will be sent as there is no last sent inventory",
    "print Kor: The agent's settings have been read again",
    "print HardwareInventory: Inventory has been requested",
    "print HardwareInventory: Inventory will be started",
    "print HardwareInventory: Inventory starting",
    "print HardwareInventory: Inventory has been requested",
    "print HardwareInventory: Inventory will be started",
    "print HardwareInventory: Inventory starting",
    "print HardwareInventory: The hardware inventory has not been processed",
    "print HardwareInventory: Reset received, inventory is not requested",
    "print HardwareInventory: Reset received, inventory is requested",
    "print HardwareInventory: Inventory will be started",
    "print HardwareInventory: Inventory starting",
    "print HardwareInventory: Sending status '_STATUS_ASSIGNOK_' for entry '10'",
    "print HardwareInventory: Sending status '_STATUS_ASSIGNOK_' for entry '11'",
    "error Kor: HOME/data/HardwareInventory/hwinvcfg.xml: line 1: no element found",
    "error HardwareInventory: Failed to load filter "
    "'HOME/data/HardwareInventory/hwinvcfg.xml'",
    "error HardwareInventory: Failed to load the inventory filter",
    "print HardwareInventory: Received file of type 'HardwareInventoryReset'",
    "print HardwareInventory: Reset received, inventory is not requested",
    "print Kor: The agent ends (signal 15)",
};

TEST_F(ServiceDay, GoesAsItShould) {
  MakeFirstInventory();
  TakeIdentityAway();
  ServiceProcess service(folder, kReplay);
  ASSERT_EQ("READY=1", service.NextState());
  EXPECT_TRUE(service.Status()["lastUpload"].is_null());

  GetIdentity(service);
  UploadByRun(service);
  UploadByTimer(service);
  QueryAndReset(service);
  AssignTranslationFiles(service);
  ReceiveFiles(service);
  EXPECT_EQ(0, service.Stop());
  std::vector<std::string> messages = Messages();
  // The upload of the callback and the end of the reloading don't wait for each other.
  if (messages.size() > 3 && messages[2] == kMessagesOfTheDay[3])
    std::swap(messages[2], messages[3]);
  EXPECT_EQ(kMessagesOfTheDay, messages);
}

TEST_F(ServiceDay, NothingThatItStoresCanBeReadByOthers) {
  ServiceProcess service(folder, kReplay);
  ASSERT_EQ("READY=1", service.NextState());
  EXPECT_EQ(0U, service.Invoke("HardwareAuditNow"));
  EXPECT_EQ(0U, service.Invoke("HardwareSynchronize"));
  EXPECT_TRUE(WaitForDelivered("K42DbHardwareGiveSynchro", 1));
  size_t count = 0;
  for (const auto& entry :
       std::filesystem::recursive_directory_iterator(folder.Path("home").Str())) {
    struct stat status = {};
    ASSERT_EQ(0, lstat(entry.path().c_str(), &status));
    EXPECT_EQ(0U, status.st_mode & 07) << entry.path();
    if (!entry.is_directory()) {
      EXPECT_EQ(0U, status.st_mode & 077) << entry.path();
    }
    ++count;
  }
  EXPECT_GT(count, 10U);
  EXPECT_EQ(0, service.Stop());
}

struct Call {
  const char* action;
  const char* parameters;
};

constexpr Call kMix[] = {
    {"HardwareGetValues", "{}"},
    {"HardwareSetValues", R"({"Values":{"UploadGap":5}})"},
    {"HardwareStartInventory", R"({"UploadAfterUpdate":true})"},
    {"HardwareUploadInventory", "{}"},
    {"HardwareSynchronize", "{}"},
    {"HardwareReceiveFile", R"({"FileType":"Another"})"},
    {"HardwareInvGUIDCallback", R"({"GUID":"x"})"},
    {"HardwareInventoryWithError", "{}"},
    {"HardwareInvModifyXMLFile", "{}"},
    {"HardwareInventoryApplyFilter", "{}"},
    {"HardwareInventoryGetWmiFilter", "{}"},
    {"HardwareInventoryQuery", R"({"Query":"select count(*) from value"})"},
    {"HardwareAuditNow", "{}"},
    {"HardwareAssign", R"({"AssignmentName":"1_a","AssignmentModule":"HardwareInventory",)"
                       R"("AssignmentContent":"<HWINVCONFIG/>"})"},
    {"HardwareInventoryInventoryReset", R"({"FileType":"Upload"})"},
};

size_t ResidentKilobytes(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/status");
  size_t kilobytes = 0;
  for (std::string word; file >> word;) {
    if (word == "VmRSS:") file >> kilobytes;
  }
  return kilobytes;
}

int StressSeconds() {
  const char* const text = getenv("KOR_STRESS_SECONDS");
  return text == nullptr ? 5 : std::max(1, atoi(text));
}

// With an inventory that has been sent, no run waits in its initial pause: those that are asked for
// begin at once.
TEST_F(ServiceDay, ManyClientsAtOnceNeitherBlockNorGrowIt) {
  MakeFirstInventory();
  TakeIdentityAway();
  ServiceProcess service(folder, kReplay);
  ASSERT_EQ("READY=1", service.NextState());
  std::filesystem::remove(folder.Path("home/data/identity.ini").Str());
  service.Signal(SIGHUP);
  ASSERT_TRUE(WaitForDelivered("HardwareInventory2", 1));
  const Clock::time_point start = Clock::now();
  const Clock::time_point end = start + std::chrono::seconds(StressSeconds());
  std::atomic<size_t> answers = 0;
  std::vector<std::thread> clients;
  for (size_t client = 0; client < 32; ++client) {
    clients.emplace_back([&, client] {
      for (size_t n = client; Clock::now() < end; ++n) {
        const Call& call = kMix[n % std::size(kMix)];
        const auto parameters = agent::ContainerFromJsonText(call.parameters);
        // An answer that does not come for a minute is a deadlock; the action says where.
        const auto answer = agent::AskAgent(
            service.Home(), agent::InvokeRequest{call.action, parameters.Value()}, 60s);
        ASSERT_TRUE(answer.IsOk()) << call.action << ": " << answer.Reason().CStr();
        const uint32_t code = answer.Value().code;
        EXPECT_TRUE(code <= 1 || code == 13 || code == 44004) << call.action << ": " << code;
        ++answers;
      }
    });
  }
  std::this_thread::sleep_until(start + (end - start) / 2);
  const size_t before = ResidentKilobytes(service.Process());
  for (std::thread& client : clients) client.join();
  EXPECT_GE(answers, 32U);
  EXPECT_TRUE(service.Status()["lastRun"].is_object());
  // The last runs end before their memory is looked at.
  EXPECT_TRUE(WaitUntil([&] { return service.Status()["run"].is_null(); }));
  EXPECT_LT(ResidentKilobytes(service.Process()), before + before / 4 + 16 * 1024);
  EXPECT_EQ(0, service.Stop());
  EXPECT_EQ(std::string::npos, folder.Read("service").find("Sanitizer"));
}

}  // namespace
