// The service as a process: its life, its signals, and who may ask it.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <string>

#include "agent/console_socket.h"
#include "service_process.h"

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr const char* kMachine = KOR_SOURCE_DIR "/tests/machines/classic_server.machine";
constexpr const char* kHanging = KOR_TEST_MODULE_FOLDER "/hanging_command.so";

const std::vector<std::string> kReplay = {"--module", KOR_MODULE_FILE, "--replay", kMachine};

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

class ServiceLife : public testing::Test {
 protected:
  const TemporaryFolder folder;
};

TEST_F(ServiceLife, TellsTheServiceManagerWhenItIsReadyReloadsAndStops) {
  ServiceProcess service(folder, kReplay);
  EXPECT_EQ("READY=1", service.NextState());
  service.Signal(SIGHUP);
  EXPECT_TRUE(Contains(service.NextState(), "RELOADING=1\nMONOTONIC_USEC="));
  EXPECT_EQ("READY=1", service.NextState());
  service.Signal(SIGTERM);
  EXPECT_EQ("STOPPING=1", service.NextState());
  EXPECT_EQ(0, service.Wait());
  EXPECT_FALSE(std::filesystem::exists(folder.Path("home/data/console.sock").Str()));
}

TEST_F(ServiceLife, InterruptEndsItToo) {
  ServiceProcess service(folder, kReplay);
  ASSERT_EQ("READY=1", service.NextState());
  service.Signal(SIGINT);
  EXPECT_EQ(0, service.Wait());
}

TEST_F(ServiceLife, ModuleLivesThroughItsCommandsInTheirOrder) {
  ServiceProcess service(folder, {"--module", kHanging});
  ASSERT_EQ("READY=1", service.NextState());
  EXPECT_EQ("1 7 3 4 ", folder.Read("home/data/life"));
  EXPECT_EQ(0, service.Stop());
  // Cleaned up before the host's worker ends, and once more for what that may have begun.
  EXPECT_EQ("1 7 3 4 5 5 2 ", folder.Read("home/data/life"));
}

TEST_F(ServiceLife, ModulesThatFailAreToldAndTheOthersGoOn) {
  const std::string folderOfModules = KOR_TEST_MODULE_FOLDER;
  folder.Write("text.so", "not a library");
  ServiceProcess service(
      folder, {"--module", folder.Path("missing.so").Str(), "--module",
               folder.Path("text.so").Str(), "--module", folderOfModules + "/no_entry_point.so",
               "--module", folderOfModules + "/init_fails.so", "--module", KOR_MODULE_FILE});
  ASSERT_EQ("READY=1", service.NextState());
  const std::string errors = folder.Read("service");
  EXPECT_TRUE(Contains(errors, "missing.so' cannot be loaded: ")) << errors;
  EXPECT_TRUE(Contains(errors, "text.so' cannot be loaded: ")) << errors;
  EXPECT_TRUE(Contains(errors, "it is not a module (it has no ModuleMain)")) << errors;
  EXPECT_TRUE(Contains(errors, "its initialisation failed (result 2)")) << errors;
  EXPECT_EQ(0U, service.Invoke("HardwareGetValues"));
  EXPECT_EQ(1U, service.Status()["modules"].size());
  EXPECT_EQ(0, service.Stop());
}

TEST_F(ServiceLife, WithoutAnyModuleItDoesNotStart) {
  ServiceProcess service(folder, {"--module", folder.Path("missing.so").Str()});
  EXPECT_EQ(3, service.Wait());
  EXPECT_TRUE(Contains(folder.Read("service"), "kor-agent: no module could be loaded"));
}

TEST_F(ServiceLife, SecondAgentOfTheHomeIsRefusedAndTheFirstServesOn) {
  ServiceProcess service(folder, kReplay);
  ASSERT_EQ("READY=1", service.NextState());
  const std::string process = "process " + std::to_string(service.Process());
  for (const char* command : {"run", "inventory"}) {
    EXPECT_EQ(3, RunProgram(folder, {command, "--home", service.Home().Str(), "--module",
                                     KOR_MODULE_FILE, "--replay", kMachine}));
    const std::string errors = folder.Read("stderr");
    EXPECT_TRUE(Contains(errors, process)) << errors;
    EXPECT_EQ(errors.size() - 1, errors.find('\n')) << errors;
  }
  EXPECT_EQ(0U, service.Invoke("HardwareGetValues"));
  EXPECT_EQ(0, service.Stop());
}

TEST_F(ServiceLife, ReplayWithoutAHomeLeavesNothingOfItself) {
  EXPECT_EQ(0, RunProgram(folder, {"invoke", "HardwareGetValues", "--local", "--module",
                                   KOR_MODULE_FILE, "--replay", kMachine}));
  EXPECT_TRUE(Contains(folder.Read("stdout"), "\"UploadInterval\""));
}

TEST_F(ServiceLife, EndsPromptlyWhileTheCommandOfAnActionHangs) {
  ServiceProcess service(folder, {"--module", kHanging});
  ASSERT_EQ("READY=1", service.NextState());
  std::thread client([home = service.Home()] {
    const auto answer = agent::AskAgent(home, agent::InvokeRequest{"Hang", {}}, 60s);
    EXPECT_FALSE(answer.IsOk());
  });
  EXPECT_TRUE(WaitUntil([&] {
    const auto actions = service.Status()["actions"];
    return actions.size() == 1 && actions[0]["command"].is_object();
  }));
  const auto action = service.Status()["actions"][0];
  EXPECT_EQ("Hang", action["name"]);
  EXPECT_EQ("sleep 1000", action["command"]["line"]);
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(0, service.Stop());
  EXPECT_LT(Clock::now() - start, 60s);
  client.join();
}

TEST_F(ServiceLife, EndsWithinTheCancelWhileTheCommandOfARunHangs) {
  ServiceProcess service(folder, {"--module", kHanging});
  ASSERT_EQ("READY=1", service.NextState());
  EXPECT_EQ(0U, service.Invoke("HangInRun"));
  EXPECT_TRUE(WaitUntil([&] { return service.Status()["run"]["command"].is_object(); }));
  EXPECT_EQ("sleep 1000", service.Status()["run"]["command"]["line"]);
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(0, service.Stop());
  EXPECT_GE(Clock::now() - start, 2900ms);
  EXPECT_LT(Clock::now() - start, 60s);
  EXPECT_TRUE(Contains(folder.Read("home/data/life"), " 2 "));
}

TEST_F(ServiceLife, CommandTimeoutEndsACommandAndIsReadAgain) {
  ServiceProcess service(folder, {"--module", kHanging});
  ASSERT_EQ("READY=1", service.NextState());
  folder.Write("home/config/kor-agent.ini", "[Agent]\nCommandTimeout = 1\n");
  service.Signal(SIGHUP);
  service.NextState();
  ASSERT_EQ("READY=1", service.NextState());
  const Clock::time_point start = Clock::now();
  EXPECT_EQ(0U, service.Invoke("Hang"));
  EXPECT_GE(Clock::now() - start, 900ms);
  EXPECT_TRUE(Contains(service.Log(), "Command 'sleep 1000' was killed by signal 9"));
  EXPECT_EQ(0, service.Stop());
}

TEST_F(ServiceLife, StatusAnswersWhileAllActionThreadsHang) {
  ServiceProcess service(folder, {"--module", kHanging});
  ASSERT_EQ("READY=1", service.NextState());
  std::vector<std::thread> clients;
  for (int n = 0; n < 6; ++n) {
    clients.emplace_back([home = service.Home()] {
      EXPECT_FALSE(agent::AskAgent(home, agent::InvokeRequest{"Hang", {}}, 60s).IsOk());
    });
  }
  EXPECT_TRUE(WaitUntil([&] {
    const auto status = service.Status();
    return status["actions"].size() == 4 && status["waitingActions"] == 2;
  }));
  EXPECT_EQ(0, service.Stop());
  for (std::thread& client : clients) client.join();
}

// All is opened that the file system could forbid: only the kernel's word on the peer is left.
TEST_F(ServiceLife, OtherUsersAreRefused) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can become another user";
  ServiceProcess service(folder, kReplay);
  ASSERT_EQ("READY=1", service.NextState());
  for (const char* name : {"", "home", "home/data"}) chmod(folder.Path(name).CStr(), 0755);
  chmod(folder.Path("home/data/console.sock").CStr(), 0666);
  const pid_t child = fork();
  if (child == 0) {
    if (setuid(65534) != 0) _exit(1);
    const auto answer = agent::AskAgent(service.Home(), agent::StatusRequest(), 10s);
    const bool closed = !answer.IsOk() && !Contains(answer.Reason().Str(), "no agent answers");
    _exit(closed ? 42 : 2);
  }
  int status = 0;
  waitpid(child, &status, 0);
  EXPECT_EQ(42, WEXITSTATUS(status));
  EXPECT_TRUE(Contains(service.Log(), "warning Kor: The console refuses user 65534 (process " +
                                          std::to_string(child) + ")"));
  EXPECT_EQ(0U, service.Invoke("HardwareGetValues"));
  EXPECT_EQ(0, service.Stop());
}

TEST_F(ServiceLife, DefaultTranslationFileGivesTwentyOneClasses) {
  ServiceProcess service(folder, kReplay);
  ASSERT_EQ("READY=1", service.NextState());
  EXPECT_EQ(0U, service.Invoke("HardwareInventoryGetWmiFilter"));
  EXPECT_EQ(21U, service.LastContainer()["WMI_CLASS"].size());
  EXPECT_EQ(0, service.Stop());
}

TEST_F(ServiceLife, WithoutAnAgentTheCommandsSayWhatToDo) {
  for (const char* command : {"status", "actions"}) {
    EXPECT_EQ(3, RunProgram(folder, {command, "--home", folder.Path("home").Str()}));
    EXPECT_TRUE(Contains(folder.Read("stderr"), "start one with 'kor-agent run'"));
  }
  EXPECT_FALSE(std::filesystem::exists(folder.Path("home").Str()));
}

}  // namespace
