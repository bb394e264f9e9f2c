#include "agent/console_server.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstring>
#include <deque>
#include <list>
#include <optional>
#include <utility>
#include <vector>

#include "agent/console_connection.h"
#include "agent/console_protocol.h"
#include "agent/console_socket.h"
#include "kor/debug.h"
#include "kor/mutex.h"

namespace agent {
namespace {

using Clock = ConsoleConnection::Clock;

// How long no connection is taken when there are no descriptors left.
constexpr std::chrono::seconds kAcceptPause{1};

// Answers on their way from the threads that made them to the one that sends them. Outlives the
// server for those that come late.
class Answers {
 public:
  using Entry = std::pair<uint64_t, std::string>;

  Answers() : event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {}

  int Event() const { return event.Get(); }

  void Add(uint64_t connection, std::string text) KOR_EXCLUDES(mutex) {
    {
      KorMutexLock lock(mutex);
      entries.emplace_back(connection, std::move(text));
    }
    Wake();
  }

  void Stop() {
    {
      KorMutexLock lock(mutex);
      stopping = true;
    }
    Wake();
  }

  // False when the server shall end.
  bool Take(std::deque<Entry>& taken) KOR_EXCLUDES(mutex) {
    eventfd_t ignored = 0;
    static_cast<void>(eventfd_read(event.Get(), &ignored));
    KorMutexLock lock(mutex);
    taken.swap(entries);
    return !stopping;
  }

 private:
  // A counter that is full wakes just as well.
  void Wake() const { static_cast<void>(eventfd_write(event.Get(), 1)); }

  const Descriptor event;
  KorMutex mutex;
  std::deque<Entry> entries KOR_GUARDED_BY(mutex);
  bool stopping KOR_GUARDED_BY(mutex) = false;
};

}  // namespace

class ConsoleServer::Loop {
 public:
  Loop(Descriptor listeningSocket, Handler lineHandler, const Limits& chosenLimits)
      : listener(std::move(listeningSocket)),
        handler(std::move(lineHandler)),
        limits(chosenLimits),
        answers(std::make_shared<Answers>()) {}

  bool IsUsable() const { return answers->Event() != -1; }
  void Stop() { answers->Stop(); }

  void Run() {
    do {
      Wait();
    } while (TakeAnswers() && Serve());
  }

 private:
  // Until something can be done, or a client's time is over.
  void Wait() {
    watched.clear();
    watched.push_back({answers->Event(), POLLIN, 0});
    const bool listens = Clock::now() >= nextAccept;
    watched.push_back({listener.Get(), static_cast<short>(listens ? POLLIN : 0), 0});
    std::optional<Clock::time_point> until;
    if (!listens) until = nextAccept;
    for (const ConsoleConnection& connection : connections) {
      watched.push_back({connection.Socket(), connection.Events(), 0});
      const std::optional<Clock::time_point> end = EndOf(connection);
      if (end && (!until || *end < *until)) until = end;
    }
    // An interrupted wait is a short one.
    if (poll(watched.data(), watched.size(), MillisecondsUntil(until)) < 0) {
      for (pollfd& entry : watched) entry.revents = 0;
    }
  }

  static int MillisecondsUntil(const std::optional<Clock::time_point>& time) {
    if (!time) return -1;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(*time - Clock::now()).count();
    return static_cast<int>(std::clamp<int64_t>(left, 0, INT_MAX));
  }

  // Nothing while its action is under way.
  std::optional<Clock::time_point> EndOf(const ConsoleConnection& connection) const {
    if (connection.IsWaitingForAnswer()) return std::nullopt;
    return connection.LastProgress() + (connection.HasOutput() ? limits.stuck : limits.idle);
  }

  bool TakeAnswers() {
    std::deque<Answers::Entry> taken;
    if (!answers->Take(taken)) return false;
    for (auto& [id, text] : taken) {
      const auto connection = std::ranges::find(connections, id, &ConsoleConnection::Id);
      // The client may have gone meanwhile.
      if (connection != connections.end()) connection->Answer(std::move(text), Clock::now());
    }
    return true;
  }

  bool Serve() {
    const Clock::time_point now = Clock::now();
    // Those that are accepted now have not been waited for yet.
    size_t n = 2;
    for (ConsoleConnection& connection : connections) {
      if (n < watched.size()) ServeOne(connection, watched[n++].revents, now);
    }
    connections.remove_if([&](const ConsoleConnection& connection) {
      const std::optional<Clock::time_point> end = EndOf(connection);
      return connection.IsOver() || (end && *end <= now);
    });
    if (watched[1].revents != 0) AcceptAll(now);
    return true;
  }

  void ServeOne(ConsoleConnection& connection, short events, Clock::time_point now) {
    if (connection.HasOutput() && events != 0) connection.Write(now);
    if ((events & POLLIN) != 0) connection.Read(limits.lineBytes);
    const bool hungUp = (events & (POLLHUP | POLLERR)) != 0;
    if (hungUp && (events & POLLIN) == 0) connection.Break();
    HandleLines(connection, now);
  }

  void HandleLines(ConsoleConnection& connection, Clock::time_point now) {
    if (std::optional<std::string> line = connection.NextLine()) {
      if (line->size() <= limits.lineBytes) {
        handler(std::move(*line), [id = connection.Id(), to = answers](std::string answer) {
          to->Add(id, std::move(answer));
        });
        return;
      }
    } else if (!connection.IsTooLong(limits.lineBytes)) {
      return;
    }
    KorString error;
    error.Printf("a request is longer than %gu bytes", static_cast<uint64_t>(limits.lineBytes));
    connection.EndInput();
    connection.Answer(ConsoleErrorLine(ACTIONDB_ERROR_BADPARAM, error), now);
  }

  void AcceptAll(Clock::time_point now) {
    for (;;) {
      Descriptor client(accept4(listener.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
      if (client.IsOpen()) {
        Admit(std::move(client), now);
        continue;
      }
      if (errno == EINTR || errno == ECONNABORTED) continue;
      if (errno != EAGAIN && errno != EWOULDBLOCK) {
        KorFrameworkLog().WarningWithNL("The console cannot take a connection: %s",
                                        std::strerror(errno));
        nextAccept = now + kAcceptPause;
      }
      return;
    }
  }

  void Admit(Descriptor client, Clock::time_point now) {
    const ConsolePeer peer = PeerOf(client.Get());
    if (!MayUseConsole(peer, geteuid())) {
      KorFrameworkLog().WarningWithNL("The console refuses user %u (process %d)", peer.user,
                                      peer.process);
      return;
    }
    ConsoleConnection connection(std::move(client), ++lastId, now);
    if (connections.size() < limits.connections) {
      connections.push_back(std::move(connection));
    } else {
      connection.Answer(ConsoleErrorLine(ACTIONDB_ERROR_FAILURE,
                                         "the console has too many connections; try again later"),
                        now);
    }
  }

  const Descriptor listener;
  const Handler handler;
  const Limits limits;
  const std::shared_ptr<Answers> answers;
  std::list<ConsoleConnection> connections;
  std::vector<pollfd> watched;
  uint64_t lastId = 0;
  Clock::time_point nextAccept;
};

Result<std::unique_ptr<ConsoleServer>> ConsoleServer::Start(const KorString& folder,
                                                            Handler handler, const Limits& limits) {
  Result<Descriptor> listener = ListenAtConsole(folder);
  if (!listener.IsOk()) return Failure{listener.Reason()};
  auto loop = std::make_unique<Loop>(std::move(listener.Value()), std::move(handler), limits);
  if (!loop->IsUsable()) {
    return Failure{KorString("the console cannot be served: ") + std::strerror(errno)};
  }
  return std::unique_ptr<ConsoleServer>(new ConsoleServer(folder, std::move(loop)));
}

ConsoleServer::ConsoleServer(const KorString& servedFolder, std::unique_ptr<Loop> ownLoop)
    : folder(servedFolder), loop(std::move(ownLoop)), thread([this] { loop->Run(); }) {}

ConsoleServer::~ConsoleServer() {
  loop->Stop();
  thread.join();
  RemoveConsole(folder);
}

}  // namespace agent
