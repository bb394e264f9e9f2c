// An action invoked through the socket of a serving agent, against a bare echo on a socket.

#include <poll.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "agent/console_socket.h"
#include "agent/service.h"
#include "korcore/action_db.h"
#include "ratios.h"
#include "table.h"

namespace {

using agent::Descriptor;

constexpr const char* kRequest =
    "{\"command\":\"invoke\",\"action\":\"BenchNothing\",\"parameters\":{}}\n";
constexpr int kAlone = 500;
constexpr int kClients = 32;
constexpr int kOfEachClient = 50;

void Require(bool isTrue, const char* what) {
  if (!isTrue) throw std::runtime_error(what);
}

void Send(int socket, std::string_view text) {
  Require(send(socket, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size()),
          "the console does not listen");
}

// A line is sent and one comes back.
void Ask(int socket) {
  Send(socket, kRequest);
  std::array<char, 4096> answer;
  ssize_t count = 0;
  do {
    count = recv(socket, answer.data(), answer.size(), 0);
    Require(count > 0, "the console does not answer");
  } while (answer[static_cast<size_t>(count) - 1] != '\n');
}

void AskRepeatedly(int socket, int count) {
  for (int n = 0; n < count; ++n) Ask(socket);
}

// Gives each line back at once: what sockets cost by themselves.
class Echo {
 public:
  explicit Echo(const std::string& path) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, path.data(), path.size());
    Require(bind(listener.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0 &&
                listen(listener.Get(), kClients) == 0,
            "no socket for the echo");
  }

  // Serves the connections until all of them are closed.
  void Serve(int count) {
    std::vector<Descriptor> clients;
    std::vector<pollfd> watched;
    while (static_cast<int>(clients.size()) < count) {
      clients.emplace_back(accept(listener.Get(), nullptr, nullptr));
      watched.push_back({clients.back().Get(), POLLIN, 0});
    }
    std::array<char, 4096> line;
    for (int open = count; open > 0;) {
      poll(watched.data(), watched.size(), -1);
      for (pollfd& entry : watched) {
        if (entry.revents == 0) continue;
        const ssize_t length = recv(entry.fd, line.data(), line.size(), 0);
        if (length > 0) {
          Send(entry.fd, std::string_view(line.data(), static_cast<size_t>(length)));
        } else {
          entry.fd = -1;
          --open;
        }
      }
    }
  }

 private:
  const Descriptor listener{socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)};
};

Descriptor Connect(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  Descriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  Require(connect(connection.Get(), reinterpret_cast<sockaddr*>(&address), sizeof address) == 0,
          "no connection");
  return connection;
}

// Seconds of the clock on the wall for clients that ask at the same time.
double AskFromClients(const std::string& path, int clients, int requests) {
  std::vector<Descriptor> connections;
  std::vector<std::thread> threads;
  connections.reserve(static_cast<size_t>(clients));
  threads.reserve(static_cast<size_t>(clients));
  for (int n = 0; n < clients; ++n) connections.push_back(Connect(path));
  const double start = bench::ClockSeconds(CLOCK_MONOTONIC);
  for (const Descriptor& connection : connections) {
    threads.emplace_back(AskRepeatedly, connection.Get(), requests);
  }
  for (std::thread& thread : threads) thread.join();
  return bench::ClockSeconds(CLOCK_MONOTONIC) - start;
}

bench::Pairs Compare(const std::string& console, const std::string& echoPath, Echo& echo,
                     int clients, int requests) {
  bench::Pairs pairs;
  for (int n = 0; n <= bench::kPairs; ++n) {
    const double ours = AskFromClients(console, clients, requests);
    std::thread server([&] { echo.Serve(clients); });
    const double other = AskFromClients(echoPath, clients, requests);
    server.join();
    if (n > 0) pairs.Add(ours / (clients * requests), other / (clients * requests));
  }
  return pairs;
}

void PrintRows(const std::string& console, const std::string& echoPath) {
  Echo echo(echoPath);
  const bench::Pairs alone = Compare(console, echoPath, echo, 1, kAlone);
  bench::PrintRow("action through the console's socket / bare echo, in us",
                  bench::TimeText(alone.Ours()), bench::TimeText(alone.Other()), alone.Ours() * 1e6,
                  1000);
  const bench::Pairs crowd = Compare(console, echoPath, echo, kClients, kOfEachClient);
  const auto rate = [](double seconds) { return std::to_string(lround(1 / seconds)) + "/s"; };
  bench::PrintRow("the same from 32 clients at once, us for each", rate(crowd.Ours()),
                  rate(crowd.Other()), crowd.Ours() * 1e6, 1000);
}

}  // namespace

void bench::ConsoleRows() {
  std::string folder = "/tmp/kor-bench-XXXXXX";
  Require(mkdtemp(folder.data()) != nullptr, "no temporary folder");
  agent::HostOptions options;
  options.home = KorString(folder + "/home");
  options.terminal.level = KorLogLevel::kError;
  {
    const auto service = agent::Service::Start(options);
    Require(service.IsOk(), "the agent does not serve");
    const int module = 0;
    ActionDbRegisterAction(
        "BenchNothing ()", [](KorContainer*) { return ACTIONDB_ERROR_SUCCESS; }, &module);
    PrintRows(folder + "/home/data/" + agent::kConsoleSocketName, folder + "/echo");
    ActionDbDropModule(&module);
  }
  std::error_code ignored;
  std::filesystem::remove_all(folder, ignored);
}
