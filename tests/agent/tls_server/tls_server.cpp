// A server for the tests of the https upstream, a process of its own: TLS on 127.0.0.1, with
// faults.
//
//   tls_server FOLDER PORT [FAULT...]
//
// FOLDER holds server.pem and server.key, and clients.pem where clients must show a certificate.
// PORT 0 is any; the port is printed on a line. One fault is spent on each PUT or POST:
//   ok     takes it            lost   takes it, and cuts the connection instead of answering
//   cut    cuts in the middle  stall  answers nothing as long as the client waits
//   NNN    answers that number (429 with "Retry-After: 1", 503 with one of 9223372036854775807)
// Afterwards everything is taken. FOLDER/requests.log gets a line for each request, FOLDER/arrived
// the id of each delivery when it is taken for the first time, FOLDER/store its body. GET answers
// from FOLDER/www; DELETE is noted only.

#include <arpa/inet.h>
#include <netinet/in.h>
#include <openssl/ssl.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fstream>
#include <iterator>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <thread>

namespace {

struct FreeSsl {
  void operator()(SSL* connection) const { SSL_free(connection); }
};
using Connection = std::unique_ptr<SSL, FreeSsl>;

struct Request {
  std::string method;
  std::string target;
  std::string head;
  std::string body;

  std::string Path() const { return target.substr(0, target.find('?')); }
  std::string Id() const { return Path().substr(Path().rfind('/') + 1); }

  std::string Header(const std::string& name) const {
    const size_t at = head.find("\r\n" + name + ": ");
    if (at == std::string::npos) return {};
    const size_t begin = at + name.size() + 4;
    return head.substr(begin, head.find("\r\n", begin) - begin);
  }
};

class Server {
 public:
  Server(std::string serverFolder, std::deque<std::string> serverFaults)
      : folder(std::move(serverFolder)), faults(std::move(serverFaults)) {
    mkdir((folder + "/store").c_str(), 0700);
    std::ifstream before(folder + "/arrived");
    for (std::string id; before >> id;) arrived.insert(id);
  }

  void Handle(SSL* connection) {
    Request request;
    if (!ReadHead(connection, request)) return;
    const bool isDelivery = request.method == "PUT" || request.method == "POST";
    const std::string fault = isDelivery ? NextFault() : "ok";
    Log(request, fault);
    if (fault == "cut") return;
    if (fault == "stall") return WaitForEnd(connection);
    if (!ReadBody(connection, request)) return;
    if (!isDelivery) return AnswerOther(connection, request);
    if (fault != "ok" && fault != "lost") {
      return Send(connection, fault + " Fault\r\n" + RetryAfter(fault), "as it was told");
    }
    Take(request);
    if (fault == "ok") Send(connection, "201 Created\r\n", "");
  }

 private:
  static std::string RetryAfter(const std::string& fault) {
    if (fault == "429") return "Retry-After: 1\r\n";
    return fault == "503" ? "Retry-After: 9223372036854775807\r\n" : "";
  }

  static bool ReadMore(SSL* connection, std::string& text) {
    char chunk[16384];
    const int count = SSL_read(connection, chunk, sizeof(chunk));
    if (count > 0) text.append(chunk, static_cast<size_t>(count));
    return count > 0;
  }

  static bool ReadHead(SSL* connection, Request& request) {
    std::string text;
    while (text.find("\r\n\r\n") == std::string::npos) {
      if (!ReadMore(connection, text)) return false;
    }
    const size_t end = text.find("\r\n\r\n");
    request.head = text.substr(0, end + 2);
    request.body = text.substr(end + 4);
    const size_t space = text.find(' ');
    request.method = text.substr(0, space);
    request.target = text.substr(space + 1, text.find(' ', space + 1) - space - 1);
    return true;
  }

  static bool ReadBody(SSL* connection, Request& request) {
    const std::string length = request.Header("Content-Length");
    const size_t size = length.empty() ? 0 : std::stoul(length);
    while (request.body.size() < size) {
      if (!ReadMore(connection, request.body)) return false;
    }
    return true;
  }

  static void WaitForEnd(SSL* connection) {
    std::string ignored;
    while (ReadMore(connection, ignored)) {
    }
  }

  static void Send(SSL* connection, const std::string& statusAndHeaders, const std::string& body) {
    const std::string answer = "HTTP/1.1 " + statusAndHeaders + "Connection: close\r\n" +
                               "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    SSL_write(connection, answer.data(), static_cast<int>(answer.size()));
    SSL_shutdown(connection);
  }

  void AnswerOther(SSL* connection, const Request& request) {
    if (request.method == "DELETE") return Send(connection, "200 OK\r\n", "");
    std::ifstream file(folder + "/www/" + request.Id(), std::ios::binary);
    if (!file) return Send(connection, "404 Not Found\r\n", "nothing here");
    const std::string content{std::istreambuf_iterator<char>(file), {}};
    Send(connection, "200 OK\r\n", content);
  }

  std::string NextFault() {
    const std::lock_guard lock(mutex);
    if (faults.empty()) return "ok";
    std::string fault = faults.front();
    faults.pop_front();
    return fault;
  }

  void Log(const Request& request, const std::string& fault) {
    const std::lock_guard lock(mutex);
    std::ofstream(folder + "/requests.log", std::ios::app)
        << request.method << ' ' << request.target << ' ' << fault << " ["
        << request.Header("Authorization") << "] [" << request.Header("Device-GUID") << "]\n";
  }

  void Take(const Request& request) {
    const std::lock_guard lock(mutex);
    std::ofstream(folder + "/store/" + request.Id(), std::ios::binary) << request.body;
    if (!arrived.insert(request.Id()).second) return;
    std::ofstream(folder + "/arrived", std::ios::app) << request.Id() << '\n';
  }

  const std::string folder;
  std::mutex mutex;
  std::deque<std::string> faults;
  std::set<std::string> arrived;
};

SSL_CTX* MakeContext(const std::string& folder) {
  SSL_CTX* context = SSL_CTX_new(TLS_server_method());
  if (SSL_CTX_use_certificate_chain_file(context, (folder + "/server.pem").c_str()) != 1 ||
      SSL_CTX_use_PrivateKey_file(context, (folder + "/server.key").c_str(), SSL_FILETYPE_PEM) !=
          1) {
    std::fprintf(stderr, "no usable certificate in %s\n", folder.c_str());
    std::exit(1);
  }
  const std::string clients = folder + "/clients.pem";
  if (access(clients.c_str(), R_OK) == 0) {
    SSL_CTX_load_verify_locations(context, clients.c_str(), nullptr);
    SSL_CTX_set_verify(context, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT, nullptr);
  }
  return context;
}

int Listen(uint16_t port) {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const int yes = 1;
  setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof(yes));
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  address.sin_port = htons(port);
  socklen_t length = sizeof(address);
  auto* generic = reinterpret_cast<sockaddr*>(&address);
  if (bind(listener, generic, length) != 0 || listen(listener, 16) != 0 ||
      getsockname(listener, generic, &length) != 0) {
    std::perror("tls_server");
    std::exit(1);
  }
  std::printf("%d\n", ntohs(address.sin_port));
  std::fflush(stdout);
  return listener;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) return 2;
  signal(SIGPIPE, SIG_IGN);
  const std::string folder = argv[1];
  static Server server(folder, std::deque<std::string>(argv + 3, argv + argc));
  SSL_CTX* context = MakeContext(folder);
  const int listener = Listen(static_cast<uint16_t>(std::atoi(argv[2])));
  // Ends with the test: when the other end of standard input is closed.
  while (true) {
    pollfd sources[] = {{listener, POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}};
    if (poll(sources, 2, -1) < 0 || sources[1].revents != 0) _exit(0);
    const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (client == -1) continue;
    std::thread([client, context] {
      const Connection connection(SSL_new(context));
      SSL_set_fd(connection.get(), client);
      if (SSL_accept(connection.get()) == 1) server.Handle(connection.get());
      close(client);
    }).detach();
  }
}
