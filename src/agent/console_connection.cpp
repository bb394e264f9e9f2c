#include "agent/console_connection.h"

#include <poll.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <utility>

namespace agent {
namespace {

constexpr size_t kChunkBytes = 64 * 1024;

bool IsForLater(int error) {
  return error == EAGAIN || error == EWOULDBLOCK || error == EINTR;
}

}  // namespace

short ConsoleConnection::Events() const {
  if (HasOutput()) return POLLOUT;
  return waiting || ended ? 0 : POLLIN;
}

// One chunk at a time: the others want to be served, too.
void ConsoleConnection::Read(size_t lineBytes) {
  if (ended || broken || IsTooLong(lineBytes)) return;
  std::array<char, kChunkBytes> chunk;
  const ssize_t count = recv(Socket(), chunk.data(), chunk.size(), 0);
  if (count > 0) {
    input.append(chunk.data(), static_cast<size_t>(count));
  } else if (count == 0) {
    ended = true;
  } else if (!IsForLater(errno)) {
    broken = true;
  }
}

void ConsoleConnection::Write(Clock::time_point now) {
  while (sent < output.size()) {
    const ssize_t count = send(Socket(), output.data() + sent, output.size() - sent, MSG_NOSIGNAL);
    if (count < 0) {
      if (!IsForLater(errno)) broken = true;
      return;
    }
    sent += static_cast<size_t>(count);
    lastProgress = now;
  }
  output = std::string();
  sent = 0;
}

std::optional<std::string> ConsoleConnection::NextLine() {
  while (!waiting && !HasOutput() && !broken) {
    const size_t end = input.find('\n', searched);
    if (end == std::string::npos) {
      searched = input.size();
      return std::nullopt;
    }
    std::string line = input.substr(0, end);
    input.erase(0, end + 1);
    searched = 0;
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    waiting = true;
    return line;
  }
  return std::nullopt;
}

bool ConsoleConnection::IsTooLong(size_t lineBytes) const {
  return searched > lineBytes;
}

void ConsoleConnection::Answer(std::string text, Clock::time_point now) {
  waiting = false;
  output = std::move(text);
  lastProgress = now;
  Write(now);
}

void ConsoleConnection::EndInput() {
  ended = true;
  input = std::string();
  searched = 0;
}

}  // namespace agent
