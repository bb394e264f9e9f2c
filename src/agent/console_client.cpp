#include "agent/console_client.h"

#include <sys/socket.h>
#include <sys/time.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "agent/console_socket.h"
#include "kor/file.h"

namespace agent {
namespace {

constexpr int kIndentation = 2;
constexpr size_t kChunkBytes = 64 * 1024;

Failure NoAgent(const KorString& homePath, const KorString& why) {
  Failure failure;
  failure.reason.Printf(
      "no agent answers for the home '%S' (%S); start one with 'kor-agent run', or name its --home",
      homePath, why);
  return failure;
}

Failure Broken(const char* doing) {
  Failure failure;
  const bool late = errno == EAGAIN || errno == EWOULDBLOCK;
  failure.reason.Printf("%s: %s", doing, late ? "it takes too long" : std::strerror(errno));
  return failure;
}

Result<void> SendAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = send(descriptor, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (count < 0 && errno == EINTR) continue;
    // The agent says why it takes no more; its answer is worth reading.
    if (count < 0 && errno == EPIPE) return {};
    if (count < 0) return Broken("the request cannot be sent");
    bytes.remove_prefix(static_cast<size_t>(count));
  }
  return {};
}

Result<std::string> ReadLine(int descriptor, size_t longest) {
  std::string line;
  std::array<char, kChunkBytes> chunk;
  while (!line.ends_with('\n')) {
    const ssize_t count = recv(descriptor, chunk.data(), chunk.size(), 0);
    if (count < 0 && errno == EINTR) continue;
    if (count < 0) return Broken("the answer cannot be read");
    if (count == 0) return Failure{"the agent ended before it had answered"};
    line.append(chunk.data(), static_cast<size_t>(count));
    if (line.size() > longest) return Failure{"the agent's answer is too long"};
  }
  return line;
}

void LimitWaiting(int descriptor, std::chrono::seconds patience) {
  const timeval time = {static_cast<time_t>(patience.count()), 0};
  setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &time, sizeof(time));
  setsockopt(descriptor, SOL_SOCKET, SO_SNDTIMEO, &time, sizeof(time));
}

}  // namespace

Result<ConsoleAnswer> AskAgent(const KorString& homePath, const ConsoleRequest& request,
                               std::chrono::seconds patience, size_t longest) {
  const KorString home = CompletePath(homePath);
  const Result<Descriptor> connection = ConnectToConsole(home + "/data/");
  if (!connection.IsOk()) return NoAgent(home, connection.Reason());
  LimitWaiting(connection.Value().Get(), patience);
  const Result<void> sent = SendAll(connection.Value().Get(), ConsoleRequestLine(request));
  if (!sent.IsOk()) return Failure{sent.Reason()};
  const Result<std::string> line = ReadLine(connection.Value().Get(), longest);
  if (!line.IsOk()) return Failure{line.Reason()};
  return ParseConsoleAnswer(line.Value(), kIndentation);
}

}  // namespace agent
