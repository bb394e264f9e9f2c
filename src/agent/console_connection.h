// One client of the console, as the server sees it.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "agent/plain_file.h"

namespace agent {

// Used by one thread. The socket does not block.
class ConsoleConnection {
 public:
  using Clock = std::chrono::steady_clock;

  ConsoleConnection(Descriptor connectedSocket, uint64_t number, Clock::time_point now)
      : socket(std::move(connectedSocket)), id(number), lastProgress(now) {}

  int Socket() const { return socket.Get(); }
  uint64_t Id() const { return id; }
  Clock::time_point LastProgress() const { return lastProgress; }
  bool IsWaitingForAnswer() const { return waiting; }
  bool HasOutput() const { return !output.empty(); }
  // Nothing is left to be done for it.
  bool IsOver() const { return broken || (ended && !waiting && output.empty()); }
  // What poll(2) shall look for.
  short Events() const;

  // Reads some of what has come, unless the line is too long already.
  void Read(size_t lineBytes);
  void Write(Clock::time_point now);

  // The next whole line, when the client is not being served. It is served from then on, until
  // Answer().
  std::optional<std::string> NextLine();
  // What has come is longer than a line may be.
  bool IsTooLong(size_t lineBytes) const;

  void Answer(std::string text, Clock::time_point now);
  // Nothing further is read; the connection is over when its output has been sent.
  void EndInput();
  // There is nobody at the other end.
  void Break() { broken = true; }

 private:
  Descriptor socket;
  uint64_t id;
  Clock::time_point lastProgress;
  std::string input;
  size_t searched = 0;  // of the input, without a line end
  std::string output;
  size_t sent = 0;
  bool waiting = false;
  bool ended = false;
  bool broken = false;
};

}  // namespace agent
