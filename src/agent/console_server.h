// Serves the lines that clients send to the console's socket.

#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "agent/result.h"
#include "kor/string.h"

namespace agent {

// One thread does all reading and writing, and sleeps while nobody wants anything. A client is
// served one line at a time: it is not read from before its answer has been sent. What it sends, or
// fails to send or to read, costs the others nothing.
class ConsoleServer {
 public:
  struct Limits {
    size_t lineBytes = size_t{1024} * 1024;
    size_t connections = 64;
    std::chrono::milliseconds idle = std::chrono::minutes(1);    // without a request
    std::chrono::milliseconds stuck = std::chrono::seconds(10);  // without reading its answer
  };

  // May be called once, on any thread, also when the client or the server has gone.
  using Reply = std::function<void(std::string answer)>;
  // Called on the server's thread, which it must not keep.
  using Handler = std::function<void(std::string line, Reply reply)>;

  // The folder must be served by nobody else.
  static Result<std::unique_ptr<ConsoleServer>> Start(const KorString& folder, Handler handler,
                                                      const Limits& limits);
  static Result<std::unique_ptr<ConsoleServer>> Start(const KorString& folder, Handler handler) {
    return Start(folder, std::move(handler), Limits());
  }
  // Takes no further requests; answers that are not ready are dropped.
  ~ConsoleServer();
  ConsoleServer(const ConsoleServer&) = delete;
  ConsoleServer& operator=(const ConsoleServer&) = delete;

 private:
  class Loop;

  ConsoleServer(const KorString& servedFolder, std::unique_ptr<Loop> ownLoop);

  const KorString folder;
  const std::unique_ptr<Loop> loop;
  std::thread thread;
};

}  // namespace agent
