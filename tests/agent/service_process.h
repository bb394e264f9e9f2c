// The real service in a process of its own, for tests. CMake gives the absolute paths:
// KOR_AGENT_PROGRAM, KOR_MODULE_FILE and KOR_SOURCE_DIR.

#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "agent/console_client.h"
#include "agent/container_json.h"
#include "support/temporary_folder.h"

// Runs the program to its end; its output goes to files of the folder. The exit status, or -1.
inline int RunProgram(const TemporaryFolder& folder, const std::vector<std::string>& arguments) {
  std::vector<std::string> texts = {KOR_AGENT_PROGRAM};
  texts.insert(texts.end(), arguments.begin(), arguments.end());
  std::vector<char*> pointers;
  for (std::string& text : texts) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_addopen(&actions, 1, folder.Path("stdout").CStr(), kFlags, 0600);
  posix_spawn_file_actions_addopen(&actions, 2, folder.Path("stderr").CStr(), kFlags, 0600);
  pid_t process = -1;
  const int error =
      posix_spawn(&process, KOR_AGENT_PROGRAM, &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::runtime_error("cannot start " KOR_AGENT_PROGRAM);
  int status = 0;
  waitpid(process, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Says to the service manager, which is this object, how it is.
class ServiceProcess {
 public:
  using Json = nlohmann::ordered_json;

  // The home is the folder's "home". What goes to standard error is in the folder's "service".
  ServiceProcess(const TemporaryFolder& testFolder, const std::vector<std::string>& arguments)
      : folder(testFolder), manager(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    static int count = 0;
    const std::string name =
        "@kor-service-" + std::to_string(getpid()) + "-" + std::to_string(++count);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + 1, name.data() + 1, name.size() - 1);
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    if (bind(manager, reinterpret_cast<const sockaddr*>(&address), length) != 0) {
      throw std::runtime_error("cannot stand for the service manager");
    }
    Spawn(name, arguments);
  }
  ~ServiceProcess() {
    if (process > 0) {
      kill(process, SIGKILL);
      Wait();
    }
    close(manager);
  }
  ServiceProcess(const ServiceProcess&) = delete;
  ServiceProcess& operator=(const ServiceProcess&) = delete;

  pid_t Process() const { return process; }
  KorString Home() const { return folder.Path("home"); }
  void Signal(int number) const { kill(process, number); }

  // The next thing that it says of itself, within 30 s; empty when it says nothing.
  std::string NextState() const {
    pollfd watched = {manager, POLLIN, 0};
    if (poll(&watched, 1, 30'000) != 1) return {};
    std::array<char, 1024> text = {};
    const ssize_t size = recv(manager, text.data(), text.size(), 0);
    return {text.data(), size < 0 ? 0 : static_cast<size_t>(size)};
  }

  // The exit status, or -1 when a signal ended it.
  int Wait() {
    int status = 0;
    waitpid(process, &status, 0);
    process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  int Stop() {
    Signal(SIGTERM);
    return Wait();
  }

  // An action's code; 1000 when there was no answer. Its container is in LastContainer().
  uint32_t Invoke(const char* action, const std::string& parameters = "{}") {
    const auto container = agent::ContainerFromJsonText(parameters);
    if (!container.IsOk()) throw std::runtime_error(container.Reason().CStr());
    const auto answer = agent::AskAgent(Home(), agent::InvokeRequest{action, container.Value()},
                                        std::chrono::seconds(60));
    if (!answer.IsOk()) {
      ADD_FAILURE() << action << ": " << answer.Reason().CStr();
      return 1000;
    }
    lastContainer = answer.Value().content.empty() ? Json() : Json::parse(answer.Value().content);
    return answer.Value().code;
  }
  const Json& LastContainer() const { return lastContainer; }

  Json Status() const {
    const auto answer = agent::AskAgent(Home(), agent::StatusRequest(), std::chrono::seconds(60));
    if (answer.IsOk()) return Json::parse(answer.Value().content);
    ADD_FAILURE() << answer.Reason().CStr();
    return {};
  }

  // The log without times, ids and the folder's name.
  std::string Log() const { return folder.Read("home/data/kor-agent.log"); }

 private:
  void Spawn(const std::string& notifySocket, const std::vector<std::string>& arguments) {
    std::vector<std::string> texts = {KOR_AGENT_PROGRAM, "run", "--home", Home().Str()};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    setenv("NOTIFY_SOCKET", notifySocket.c_str(), 1);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 2, folder.Path("service").CStr(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    const int error =
        posix_spawn(&process, KOR_AGENT_PROGRAM, &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    unsetenv("NOTIFY_SOCKET");
    if (error != 0) throw std::runtime_error("cannot start " KOR_AGENT_PROGRAM);
  }

  const TemporaryFolder& folder;
  const int manager;
  pid_t process = -1;
  Json lastContainer;
};

// Up to 30 s.
template <typename Condition>
bool WaitUntil(Condition condition) {
  for (int n = 0; n < 3000 && !condition(); ++n) {
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return condition();
}
