#include "agent/console_server.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "agent/console_client.h"
#include "agent/console_socket.h"
#include "kor/mutex.h"
#include "support/temporary_folder.h"

namespace agent {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

class ConsoleClients : public testing::Test {
 protected:
  void Serve(const ConsoleServer::Limits& limits = {}) {
    auto started = ConsoleServer::Start(
        Folder(), [this](std::string line, ConsoleServer::Reply reply) { Handle(line, reply); },
        limits);
    ASSERT_TRUE(started.IsOk()) << started.Reason().CStr();
    server = std::move(started.Value());
  }

  // "hold" is answered when the test says so, "huge" with 32 MiB, all else with itself.
  void Handle(const std::string& line, const ConsoleServer::Reply& reply) {
    ++requests;
    if (line == "hold") {
      KorMutexLock lock(mutex);
      held.push_back(reply);
    } else if (line == "huge") {
      reply(std::string(32 * 1024 * 1024, 'x') + "\n");
    } else {
      reply("<" + line + ">\n");
    }
  }

  std::vector<ConsoleServer::Reply> Held() {
    KorMutexLock lock(mutex);
    return held;
  }

  Descriptor Connect() const {
    Result<Descriptor> connection = ConnectToConsole(Folder());
    return connection.IsOk() ? std::move(connection.Value()) : Descriptor();
  }

  static bool Send(const Descriptor& connection, const std::string& text) {
    size_t sent = 0;
    while (sent < text.size()) {
      const ssize_t count =
          send(connection.Get(), text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
      if (count < 0) return false;
      sent += static_cast<size_t>(count);
    }
    return true;
  }

  // One line, or what came before the end or for 10 s.
  static std::string ReadLine(const Descriptor& connection) {
    std::string line;
    pollfd watched = {connection.Get(), POLLIN, 0};
    char byte = 0;
    while (!line.ends_with('\n') && poll(&watched, 1, 10'000) == 1) {
      if (recv(connection.Get(), &byte, 1, 0) != 1) break;
      line += byte;
    }
    return line;
  }

  // Whether the server closes it within 10 s; what comes before is thrown away.
  static bool IsClosed(const Descriptor& connection) {
    pollfd watched = {connection.Get(), POLLIN, 0};
    std::array<char, 65536> chunk;
    while (poll(&watched, 1, 10'000) == 1) {
      if (recv(connection.Get(), chunk.data(), chunk.size(), 0) <= 0) return true;
    }
    return false;
  }

  std::string Ask(const std::string& line) const {
    const Descriptor connection = Connect();
    return Send(connection, line + "\n") ? ReadLine(connection) : "(not sent)";
  }

  template <typename Condition>
  static bool WaitFor(Condition condition) {
    for (int n = 0; n < 10'000 && !condition(); ++n) std::this_thread::sleep_for(1ms);
    return condition();
  }

  KorString Folder() const { return folder.Path() + "/"; }

  const TemporaryFolder folder;
  std::atomic<int> requests = 0;
  KorMutex mutex;
  std::vector<ConsoleServer::Reply> held KOR_GUARDED_BY(mutex);
  std::unique_ptr<ConsoleServer> server;
};

size_t ResidentBytes() {
  std::ifstream file("/proc/self/statm");
  size_t total = 0;
  size_t resident = 0;
  file >> total >> resident;
  return resident * static_cast<size_t>(sysconf(_SC_PAGESIZE));
}

TEST_F(ConsoleClients, SocketIsPrivateAndGoesWithTheServer) {
  const mode_t before = umask(0);
  Serve();
  umask(before);
  struct stat status = {};
  const std::string path = folder.Path("console.sock").Str();
  ASSERT_EQ(0, stat(path.c_str(), &status));
  EXPECT_TRUE(S_ISSOCK(status.st_mode));
  EXPECT_EQ(0600U, status.st_mode & 0777);
  server.reset();
  EXPECT_NE(0, stat(path.c_str(), &status));
}

TEST_F(ConsoleClients, SocketLeftByAnAgentThatDiedIsReplaced) {
  Serve();
  std::filesystem::rename(folder.Path("console.sock").Str(), folder.Path("kept").Str());
  server.reset();
  std::filesystem::rename(folder.Path("kept").Str(), folder.Path("console.sock").Str());
  EXPECT_FALSE(Connect().IsOpen());
  Serve();
  EXPECT_EQ("<again>\n", Ask("again"));
}

TEST_F(ConsoleClients, FolderMayHaveALongName) {
  std::string name = folder.Path().Str();
  for (int n = 0; n < 4; ++n) name += "/" + std::string(60, 'x');
  std::filesystem::create_directories(name);
  auto started = ConsoleServer::Start(
      KorString(name + "/"), [](std::string, ConsoleServer::Reply reply) { reply("here\n"); });
  ASSERT_TRUE(started.IsOk()) << started.Reason().CStr();
  const Result<Descriptor> connection = ConnectToConsole(KorString(name + "/"));
  ASSERT_TRUE(connection.IsOk());
  Send(connection.Value(), "x\n");
  EXPECT_EQ("here\n", ReadLine(connection.Value()));
}

TEST_F(ConsoleClients, LinesOfOneClientAreAnsweredInTheirOrder) {
  Serve();
  const Descriptor connection = Connect();
  ASSERT_TRUE(Send(connection, "one\r\n\n  \ntwo\nthr"));
  EXPECT_EQ("<one\r>\n", ReadLine(connection));
  EXPECT_EQ("<two>\n", ReadLine(connection));
  ASSERT_TRUE(Send(connection, "ee\n"));
  EXPECT_EQ("<three>\n", ReadLine(connection));
}

TEST_F(ConsoleClients, ClientThatHasEndedItsSideStillGetsItsAnswers) {
  Serve();
  const Descriptor connection = Connect();
  ASSERT_TRUE(Send(connection, "hold\nmore\nhalf a line"));
  shutdown(connection.Get(), SHUT_WR);
  ASSERT_TRUE(WaitFor([this] { return Held().size() == 1; }));
  Held()[0]("<held>\n");
  EXPECT_EQ("<held>\n", ReadLine(connection));
  EXPECT_EQ("<more>\n", ReadLine(connection));
  EXPECT_TRUE(IsClosed(connection));
  EXPECT_EQ(2, requests);
}

TEST_F(ConsoleClients, AnswerThatComesAfterTheClientWentIsDropped) {
  Serve();
  {
    const Descriptor connection = Connect();
    ASSERT_TRUE(Send(connection, "hold\n"));
    ASSERT_TRUE(WaitFor([this] { return Held().size() == 1; }));
  }
  Held()[0]("late\n");
  EXPECT_EQ("<still there>\n", Ask("still there"));
}

TEST_F(ConsoleClients, AnswerThatComesAfterTheServerWentIsDropped) {
  Serve();
  const Descriptor connection = Connect();
  ASSERT_TRUE(Send(connection, "hold\n"));
  ASSERT_TRUE(WaitFor([this] { return Held().size() == 1; }));
  server.reset();
  EXPECT_TRUE(IsClosed(connection));
  Held()[0]("late\n");
}

TEST_F(ConsoleClients, SilentOneIsLetGoAndOneThatWaitsForItsAnswerIsNot) {
  ConsoleServer::Limits limits;
  limits.idle = 100ms;
  Serve(limits);
  const Descriptor waiting = Connect();
  ASSERT_TRUE(Send(waiting, "hold\n"));
  const Descriptor silent = Connect();
  const Clock::time_point start = Clock::now();
  EXPECT_TRUE(IsClosed(silent));
  EXPECT_GE(Clock::now() - start, 50ms);
  ASSERT_EQ(1U, Held().size());
  Held()[0]("<patience>\n");
  EXPECT_EQ("<patience>\n", ReadLine(waiting));
}

TEST_F(ConsoleClients, OneThatSendsALineByteByByteIsLetGoToo) {
  ConsoleServer::Limits limits;
  limits.idle = 200ms;
  Serve(limits);
  const Descriptor slow = Connect();
  const Clock::time_point start = Clock::now();
  while (Send(slow, "x") && Clock::now() - start < 60s) std::this_thread::sleep_for(10ms);
  EXPECT_LT(Clock::now() - start, 60s);
  EXPECT_EQ(0, requests);
}

TEST_F(ConsoleClients, GarbageHarmsNobody) {
  Serve();
  const Descriptor other = Connect();
  std::string garbage;
  for (int n = 0; n < 100'000; ++n) garbage += static_cast<char>(n * 7919 >> 3);
  std::erase(garbage, '\n');
  EXPECT_EQ("<" + garbage + ">\n", Ask(garbage));
  ASSERT_TRUE(Send(other, "fine\n"));
  EXPECT_EQ("<fine>\n", ReadLine(other));
}

TEST_F(ConsoleClients, HundredMebibytesWithoutALineEndCostNothing) {
  Serve();
  const size_t before = ResidentBytes();
  const Descriptor hostile = Connect();
  const std::string megabyte(1024 * 1024, 'x');
  bool refused = false;
  for (int n = 0; n < 100 && !refused; ++n) refused = !Send(hostile, megabyte);
  EXPECT_TRUE(refused);
  EXPECT_LT(ResidentBytes(), before + 16 * 1024 * 1024);
  EXPECT_EQ(0, requests);
  EXPECT_EQ("<fine>\n", Ask("fine"));
}

TEST_F(ConsoleClients, LineThatIsTooLongIsToldSo) {
  ConsoleServer::Limits limits;
  limits.lineBytes = 1000;
  Serve(limits);
  const std::string longest(1000, 'x');
  EXPECT_EQ("<" + longest + ">\n", Ask(longest));
  const Descriptor hostile = Connect();
  ASSERT_TRUE(Send(hostile, longest + "y\n"));
  EXPECT_EQ("{\"code\":13,\"error\":\"a request is longer than 1000 bytes\"}\n", ReadLine(hostile));
  EXPECT_TRUE(IsClosed(hostile));
  EXPECT_EQ(1, requests);
}

TEST_F(ConsoleClients, SlowReaderIsDropped) {
  ConsoleServer::Limits limits;
  limits.stuck = 200ms;
  Serve(limits);
  const Descriptor slow = Connect();
  ASSERT_TRUE(Send(slow, "huge\n"));
  EXPECT_EQ("<fine>\n", Ask("fine"));
  // Without reading: only the server can end it.
  pollfd hangup = {slow.Get(), POLLRDHUP, 0};
  EXPECT_EQ(1, poll(&hangup, 1, 30'000)) << "not dropped";
  // What was under way in the socket itself comes, and then the end.
  EXPECT_TRUE(IsClosed(slow));
}

TEST_F(ConsoleClients, HugeAnswerArrivesWhole) {
  Serve();
  const Descriptor connection = Connect();
  ASSERT_TRUE(Send(connection, "huge\n"));
  std::vector<char> chunk(1024 * 1024);
  size_t received = 0;
  bool ended = false;
  while (!ended) {
    const ssize_t count = recv(connection.Get(), chunk.data(), chunk.size(), 0);
    ASSERT_GT(count, 0);
    received += static_cast<size_t>(count);
    ended = chunk[static_cast<size_t>(count) - 1] == '\n';
  }
  EXPECT_EQ(32U * 1024 * 1024 + 1, received);
}

TEST_F(ConsoleClients, AnswerThatIsTooLongIsRefusedByTheClient) {
  mkdir(folder.Path("data").CStr(), 0700);
  auto started = ConsoleServer::Start(folder.Path("data") + "/",
                                      [](const std::string&, const ConsoleServer::Reply& reply) {
                                        reply(std::string(1024 * 1024, 'x') + "\n");
                                      });
  ASSERT_TRUE(started.IsOk());
  const auto answer = AskAgent(folder.Path(), StatusRequest(), std::chrono::seconds(60), 1000);
  EXPECT_EQ(answer.Reason(), "the agent's answer is too long");
}

TEST_F(ConsoleClients, HundredAtOnceAreServedUpToTheLimit) {
  Serve();
  std::vector<Descriptor> connections;
  for (int n = 0; n < 100; ++n) connections.push_back(Connect());
  int served = 0;
  int refused = 0;
  for (const Descriptor& connection : connections) {
    ASSERT_TRUE(connection.IsOpen());
    Send(connection, "x\n");
    const std::string answer = ReadLine(connection);
    served += answer == "<x>\n" ? 1 : 0;
    refused += answer.find("too many connections") != std::string::npos ? 1 : 0;
  }
  EXPECT_EQ(64, served);
  EXPECT_EQ(36, refused);
  connections.clear();
  EXPECT_TRUE(WaitFor([this] { return Ask("later") == "<later>\n"; }));
}

TEST_F(ConsoleClients, ThirtyTwoAtOnceGetTheirOwnAnswers) {
  Serve();
  std::atomic<int> wrong = 0;
  std::vector<std::thread> clients;
  for (int client = 0; client < 32; ++client) {
    clients.emplace_back([this, client, &wrong] {
      const Descriptor connection = Connect();
      for (int n = 0; n < 200; ++n) {
        const std::string line = std::to_string(client) + "/" + std::to_string(n);
        Send(connection, line + "\n");
        wrong += ReadLine(connection) == "<" + line + ">\n" ? 0 : 1;
      }
    });
  }
  for (std::thread& client : clients) client.join();
  EXPECT_EQ(0, wrong);
  EXPECT_EQ(32 * 200, requests);
}

TEST_F(ConsoleClients, ServerSleepsWhileNobodyWantsAnything) {
  Serve();
  const Descriptor silent = Connect();
  const Descriptor waiting = Connect();
  Send(waiting, "hold\n");
  ASSERT_TRUE(WaitFor([this] { return Held().size() == 1; }));
  const std::clock_t before = std::clock();
  std::this_thread::sleep_for(500ms);
  EXPECT_LT(std::clock() - before, CLOCKS_PER_SEC / 20);
}

TEST(ConsolePeers, RootAndTheAgentsOwnUserMayUseIt) {
  EXPECT_TRUE(MayUseConsole({0, 1}, 1000));
  EXPECT_TRUE(MayUseConsole({1000, 1}, 1000));
  EXPECT_FALSE(MayUseConsole({1001, 1}, 1000));
  EXPECT_FALSE(MayUseConsole({65534, 1}, 0));
  EXPECT_FALSE(MayUseConsole(PeerOf(-1), 0));
}

TEST(ConsolePeers, KernelTellsWhoIsThere) {
  int ends[2] = {-1, -1};
  ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends));
  const ConsolePeer peer = PeerOf(ends[0]);
  EXPECT_EQ(geteuid(), peer.user);
  EXPECT_EQ(getpid(), peer.process);
  close(ends[0]);
  close(ends[1]);
}

}  // namespace
}  // namespace agent
