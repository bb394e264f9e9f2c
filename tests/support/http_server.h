// A web server for tests: canned answers on 127.0.0.1, one connection after the other.

#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cstdint>
#include <map>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <utility>

// The answers are whole: status line, headers, empty line, body, just as they go over the wire. An
// empty answer keeps the connection open, silent, until the client or the server goes. Set() first,
// then Start(). Nothing in it waits without end.
class HttpServer {
 public:
  HttpServer() {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (listener == -1 || stopper == -1 || bind(listener, generic, length) != 0 ||
        listen(listener, 16) != 0 || getsockname(listener, generic, &length) != 0) {
      throw std::runtime_error("cannot listen on 127.0.0.1");
    }
    port = ntohs(address.sin_port);
  }
  ~HttpServer() {
    eventfd_write(stopper, 1);
    if (worker.joinable()) worker.join();
    close(listener);
    close(stopper);
  }
  HttpServer(const HttpServer&) = delete;
  HttpServer& operator=(const HttpServer&) = delete;

  std::string Url(const std::string& path) const {
    return "http://127.0.0.1:" + std::to_string(port) + path;
  }

  void Set(const std::string& path, std::string answer) { answers[path] = std::move(answer); }
  void SetBody(const std::string& path, const std::string& body) {
    Set(path, "HTTP/1.1 200 OK\r\nConnection: close\r\nContent-Length: " +
                  std::to_string(body.size()) + "\r\n\r\n" + body);
  }
  void SetRedirect(const std::string& path, const std::string& target) {
    Set(path, "HTTP/1.1 302 Found\r\nConnection: close\r\nContent-Length: 0\r\nLocation: " +
                  target + "\r\n\r\n");
  }

  void Start() {
    worker = std::thread([this] { Serve(); });
  }

 private:
  void Serve() {
    while (WaitFor(listener, -1)) {
      const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
      if (client == -1) continue;
      const timeval limit{10, 0};
      setsockopt(client, SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof(limit));
      setsockopt(client, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof(limit));
      Answer(client);
      close(client);
    }
  }

  // False when the server is to stop, or the time is over.
  bool WaitFor(int descriptor, int milliseconds) const {
    pollfd waited[] = {{descriptor, POLLIN, 0}, {stopper, POLLIN, 0}};
    return poll(waited, 2, milliseconds) > 0 && waited[1].revents == 0;
  }

  void Answer(int client) const {
    std::string request;
    char chunk[1024];
    while (request.find("\r\n\r\n") == std::string::npos) {
      const ssize_t count = recv(client, chunk, sizeof(chunk), 0);
      if (count <= 0) return;
      request.append(chunk, static_cast<size_t>(count));
    }
    const size_t start = request.find(' ') + 1;
    const auto found = answers.find(request.substr(start, request.find(' ', start) - start));
    constexpr std::string_view kNotFound =
        "HTTP/1.1 404 Not Found\r\nConnection: close\r\nContent-Length: 4\r\n\r\nnone";
    if (found == answers.end()) {
      SendAll(client, kNotFound);
    } else if (found->second.empty()) {
      WaitFor(client, 30'000);
    } else {
      SendAll(client, found->second);
    }
  }

  static void SendAll(int client, std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count <= 0) return;
      bytes.remove_prefix(static_cast<size_t>(count));
    }
  }

  int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  int stopper = eventfd(0, EFD_CLOEXEC);
  uint16_t port = 0;
  std::map<std::string, std::string> answers;
  std::thread worker;
};
