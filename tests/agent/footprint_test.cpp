// What the agent costs a machine on which nothing happens.

#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "service_process.h"
#include "support/temporary_folder.h"

namespace {

using namespace std::chrono_literals;

constexpr const char* kMachine = KOR_SOURCE_DIR "/tests/machines/classic_server.machine";
const std::vector<std::string> kReplay = {"--module", KOR_MODULE_FILE, "--replay", kMachine};

// The sum of the numbers in the lines of a /proc file that begin so.
size_t SumOf(const std::filesystem::path& file, const std::string& beginning) {
  std::ifstream stream(file);
  size_t sum = 0;
  for (std::string line; std::getline(stream, line);) {
    if (line.starts_with(beginning)) sum += std::stoul(line.substr(line.find(':') + 1));
  }
  return sum;
}

size_t PrivateKilobytes(pid_t process) {
  return SumOf("/proc/" + std::to_string(process) + "/smaps_rollup", "Private_");
}

// How often its threads have gone to sleep.
size_t CountSleeps(pid_t process) {
  size_t sum = 0;
  for (const auto& task :
       std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task")) {
    sum += SumOf(task.path() / "status", "voluntary_ctxt_switches");
  }
  return sum;
}

class Footprint : public testing::Test {
 protected:
  // The agent serves, and no run waits in its initial pause.
  void SetUp() override {
    ASSERT_EQ(0, RunProgram(folder, {"inventory", "--home", folder.Path("home").Str(), "--module",
                                     KOR_MODULE_FILE, "--replay", kMachine}));
    // A folder in the place of the identity: without one, no run is started.
    const std::string identity = folder.Path("home/data/identity.ini").Str();
    std::filesystem::remove(identity);
    std::filesystem::create_directory(identity);
    service.emplace(folder, kReplay);
    ASSERT_EQ("READY=1", service->NextState());
    std::filesystem::remove(identity);
    service->Signal(SIGHUP);
    ASSERT_TRUE(WaitUntil([&] { return service->Status()["lastUpload"].is_string(); }));
  }

  void MakeARun() {
    const std::string stored =
        folder.Path("home/data/HardwareInventory/HardwareInventoryLast.sqlite3").Str();
    std::filesystem::remove(stored);
    ASSERT_EQ(0U, service->Invoke("HardwareStartInventory"));
    ASSERT_TRUE(WaitUntil([&] { return std::filesystem::exists(stored); }));
    ASSERT_TRUE(WaitUntil([&] { return service->Status()["run"].is_null(); }));
  }

  const TemporaryFolder folder;
  std::optional<ServiceProcess> service;
};

TEST_F(Footprint, IdleAgentWakesUpForTimersAndClientsOnly) {
  MakeARun();
  // On a busy machine what came before may take its time to end; anything that polls never does.
  size_t sleeps = 1;
  for (int n = 0; n < 25 && sleeps != 0; ++n) {
    const size_t before = CountSleeps(service->Process());
    std::this_thread::sleep_for(1200ms);
    sleeps = CountSleeps(service->Process()) - before;
  }
  EXPECT_EQ(0U, sleeps);
}

TEST_F(Footprint, IdleAgentHoldsLessThanTenMebibytes) {
  EXPECT_LT(PrivateKilobytes(service->Process()), size_t{10 * 1024});
  for (int n = 0; n < 10; ++n) MakeARun();
  EXPECT_LT(PrivateKilobytes(service->Process()), size_t{10 * 1024});
}

// They stand on some thirty libraries, which cost a run of an inventory more than its own work.
TEST(StartUp, LoadsNoLibraryThatOnlyTransfersNeed) {
  const TemporaryFolder folder;
  setenv("LD_TRACE_LOADED_OBJECTS", "1", 1);
  RunProgram(folder, {"inventory"});
  unsetenv("LD_TRACE_LOADED_OBJECTS");
  const std::string libraries = folder.Read("stdout");
  EXPECT_NE(std::string::npos, libraries.find("libKor.so")) << libraries;
  for (const char* library : {"libcurl", "libzip", "libcrypto", "libssl"}) {
    EXPECT_EQ(std::string::npos, libraries.find(library)) << libraries;
  }
}

}  // namespace
