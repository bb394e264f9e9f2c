// Requests to the server: the one place of the agent that speaks HTTP.

#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "agent/plain_file.h"
#include "agent/result.h"
#include "kor/atomic_file.h"
#include "kor/string.h"

namespace agent {

// The URL without trailing "/", when requests may go there: https anywhere, http only on this very
// machine, since the token and the inventory would be open to all on the way. User, query and
// fragment have no place in it.
Result<KorString> CheckServerUrl(const KorString& url);

// Everything but letters, digits and "-._~" as %HH.
std::string PercentEncoded(std::string_view text);

struct HttpSettings {
  KorString token;        // sent as "Authorization: Bearer ..."
  KorString certificate;  // the client's, PEM
  KorString key;
  KorString caFile;  // instead of the system's
  std::chrono::seconds connectLimit{30};
  // Longest time in which nothing moves in either direction.
  std::chrono::milliseconds stallLimit = std::chrono::seconds(60);
  // Of one exchange, however little comes at a time.
  std::chrono::milliseconds totalLimit = std::chrono::hours(6);
};

struct HttpRequest {
  std::string method;
  std::string url;
  std::vector<std::string> headers;   // "Name: value"
  std::string body;                   // used when there is no file
  const PlainFile* file = nullptr;    // streamed as the body
  KorAtomicFile* received = nullptr;  // takes the body of the answer, if that is a success
  uint64_t receiveLimit = 1024 * 1024;
};

struct HttpAnswer {
  int status = 0;   // 0: no answer came
  KorString error;  // why not
  std::string body;
  std::chrono::seconds retryAfter{0};  // 24 h at most
};

// Keeps its connection between requests. Certificates are always verified, redirections are not
// followed. One thread at a time sends; Abort() may come from any.
class HttpClient {
 public:
  explicit HttpClient(const HttpSettings& httpSettings);
  ~HttpClient();
  HttpClient(const HttpClient&) = delete;
  HttpClient& operator=(const HttpClient&) = delete;

  HttpAnswer Send(const HttpRequest& request);

  // Ends the request in progress and every later one at once.
  void Abort();

 private:
  struct State;
  std::unique_ptr<State> state;
};

}  // namespace agent
