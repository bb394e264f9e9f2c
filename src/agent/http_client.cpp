#include "agent/http_client.h"

#include <arpa/inet.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <exception>
#include <new>
#include <string_view>

#include "kor/late_curl.h"

namespace agent {
namespace {

using late_curl::curl_easy_cleanup;
using late_curl::curl_easy_getinfo;
using late_curl::curl_easy_init;
using late_curl::curl_easy_reset;
using late_curl::curl_easy_setopt;
using late_curl::curl_easy_strerror;
using late_curl::curl_free;
using late_curl::curl_global_init;
using late_curl::curl_multi_add_handle;
using late_curl::curl_multi_cleanup;
using late_curl::curl_multi_info_read;
using late_curl::curl_multi_init;
using late_curl::curl_multi_perform;
using late_curl::curl_multi_poll;
using late_curl::curl_multi_remove_handle;
using late_curl::curl_multi_wakeup;
using late_curl::curl_slist_append;
using late_curl::curl_slist_free_all;
using late_curl::curl_url;
using late_curl::curl_url_cleanup;
using late_curl::curl_url_get;
using late_curl::curl_url_set;

using std::chrono::milliseconds;
using std::chrono::steady_clock;

struct UrlCleanup {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
struct TextCleanup {
  void operator()(char* text) const { curl_free(text); }
};
struct EasyCleanup {
  void operator()(CURL* transfer) const { curl_easy_cleanup(transfer); }
};
struct MultiCleanup {
  void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
};
struct ListCleanup {
  void operator()(curl_slist* list) const { curl_slist_free_all(list); }
};

// What a server asks for may be more than milliseconds can be counted.
constexpr std::chrono::seconds kLongestRetryAfter = std::chrono::hours(24);

constexpr const char* kUnusable = "libcurl cannot be used";

bool InitialiseOnce() {
  static const bool isUsable =
      KorTransferLibrariesAreThere() && curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
  return isUsable;
}

std::string PartOf(CURLU* url, CURLUPart part) {
  char* text = nullptr;
  if (curl_url_get(url, part, &text, 0) != CURLUE_OK) return {};
  const std::unique_ptr<char, TextCleanup> owner(text);
  return text;
}

bool IsThisMachine(const std::string& host) {
  in_addr address = {};
  if (inet_pton(AF_INET, host.c_str(), &address) == 1) return ntohl(address.s_addr) >> 24 == 127;
  return host == "localhost" || host == "[::1]";
}

bool StaysOnThisMachine(const std::string& text) {
  const std::unique_ptr<CURLU, UrlCleanup> url(curl_url());
  return curl_url_set(url.get(), CURLUPART_URL, text.c_str(), 0) == CURLUE_OK &&
         IsThisMachine(PartOf(url.get(), CURLUPART_HOST));
}

// What one request sends and receives.
struct Exchange {
  const HttpRequest& request;
  HttpAnswer& answer;
  CURL* transfer;
  off_t sent = 0;
  uint64_t received = 0;
  bool isTooLarge = false;
  std::exception_ptr thrown = nullptr;
};

size_t SendBody(char* buffer, size_t size, size_t count, void* user) {
  Exchange& exchange = *static_cast<Exchange*>(user);
  const ssize_t length =
      pread(exchange.request.file->descriptor.Get(), buffer, size * count, exchange.sent);
  if (length < 0) return CURL_READFUNC_ABORT;
  exchange.sent += length;
  return static_cast<size_t>(length);
}

int SeekBody(void* user, curl_off_t offset, int origin) {
  if (origin != SEEK_SET) return CURL_SEEKFUNC_CANTSEEK;
  static_cast<Exchange*>(user)->sent = offset;
  return CURL_SEEKFUNC_OK;
}

bool IsSuccess(long status) {
  return status >= 200 && status < 300;
}

size_t Take(Exchange& exchange, std::string_view bytes) {
  long status = 0;
  curl_easy_getinfo(exchange.transfer, CURLINFO_RESPONSE_CODE, &status);
  exchange.received += bytes.size();
  exchange.isTooLarge = exchange.received > exchange.request.receiveLimit;
  if (exchange.isTooLarge) return 0;
  if (exchange.request.received != nullptr && IsSuccess(status)) {
    exchange.request.received->Write(bytes);
    return exchange.request.received->Error().IsEmpty() ? bytes.size() : 0;
  }
  exchange.answer.body += bytes;
  return bytes.size();
}

// Called from libcurl's C frames, which no exception may pass.
size_t TakeBody(char* data, size_t size, size_t count, void* user) noexcept {
  Exchange& exchange = *static_cast<Exchange*>(user);
  try {
    return Take(exchange, {data, size * count});
  } catch (const std::exception&) {
    exchange.thrown = std::current_exception();
    return 0;
  }
}

void SetUpConnection(CURL* transfer, const HttpSettings& settings) {
  curl_easy_setopt(transfer, CURLOPT_PROTOCOLS_STR, "https,http");
  curl_easy_setopt(transfer, CURLOPT_FOLLOWLOCATION, 0L);
  curl_easy_setopt(transfer, CURLOPT_SSLVERSION, static_cast<long>(CURL_SSLVERSION_TLSv1_2));
  curl_easy_setopt(transfer, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(transfer, CURLOPT_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(transfer, CURLOPT_CONNECTTIMEOUT,
                   static_cast<long>(settings.connectLimit.count()));
  curl_easy_setopt(transfer, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(transfer, CURLOPT_USERAGENT, "kor-agent");
  const auto setPath = [transfer](CURLoption option, const KorString& path) {
    if (!path.IsEmpty()) curl_easy_setopt(transfer, option, path.CStr());
  };
  setPath(CURLOPT_CAINFO, settings.caFile);
  setPath(CURLOPT_SSLCERT, settings.certificate);
  setPath(CURLOPT_SSLKEY, settings.key);
}

void SetUpBody(CURL* transfer, const HttpRequest& request, Exchange& exchange) {
  if (request.file != nullptr) {
    curl_easy_setopt(transfer, CURLOPT_UPLOAD, 1L);
    curl_easy_setopt(transfer, CURLOPT_INFILESIZE_LARGE,
                     static_cast<curl_off_t>(request.file->size));
    curl_easy_setopt(transfer, CURLOPT_READFUNCTION, SendBody);
    curl_easy_setopt(transfer, CURLOPT_READDATA, &exchange);
    curl_easy_setopt(transfer, CURLOPT_SEEKFUNCTION, SeekBody);
    curl_easy_setopt(transfer, CURLOPT_SEEKDATA, &exchange);
  } else if (!request.body.empty()) {
    curl_easy_setopt(transfer, CURLOPT_POSTFIELDS, request.body.data());
    curl_easy_setopt(transfer, CURLOPT_POSTFIELDSIZE_LARGE,
                     static_cast<curl_off_t>(request.body.size()));
  }
  curl_easy_setopt(transfer, CURLOPT_CUSTOMREQUEST, request.method.c_str());
  curl_easy_setopt(transfer, CURLOPT_WRITEFUNCTION, TakeBody);
  curl_easy_setopt(transfer, CURLOPT_WRITEDATA, &exchange);
}

using Headers = std::unique_ptr<curl_slist, ListCleanup>;

Headers MakeHeaders(const HttpRequest& request, const HttpSettings& settings) {
  Headers list;
  const auto append = [&list](const std::string& line) {
    // The list stays as it was when there is no memory for more.
    curl_slist* const longer = curl_slist_append(list.get(), line.c_str());
    if (longer == nullptr) throw std::bad_alloc();
    static_cast<void>(list.release());
    list.reset(longer);
  };
  // Without the answer that it asks the server for, it costs a second of waiting.
  append("Expect:");
  if (!settings.token.IsEmpty()) append("Authorization: Bearer " + settings.token.Str());
  for (const std::string& line : request.headers) append(line);
  return list;
}

}  // namespace

Result<KorString> CheckServerUrl(const KorString& text) {
  if (!InitialiseOnce()) return Failure{kUnusable};
  const std::unique_ptr<CURLU, UrlCleanup> url(curl_url());
  if (curl_url_set(url.get(), CURLUPART_URL, text.CStr(), 0) != CURLUE_OK) {
    return Failure{"write a URL such as https://inventory.example/agents"};
  }
  const std::string scheme = PartOf(url.get(), CURLUPART_SCHEME);
  if (scheme != "https" && scheme != "http") return Failure{"only https is possible"};
  if (scheme == "http" && !IsThisMachine(PartOf(url.get(), CURLUPART_HOST))) {
    return Failure{"http would show the inventory to others on its way; use https"};
  }
  if (!PartOf(url.get(), CURLUPART_USER).empty()) {
    return Failure{"it cannot hold a user; use UpstreamToken or UpstreamCertificate"};
  }
  if (text.View().find_first_of("?#") != std::string_view::npos) {
    return Failure{"it cannot have a query or a fragment"};
  }
  std::string base = text.Str();
  while (base.ends_with('/')) base.pop_back();
  return KorString(base);
}

std::string PercentEncoded(std::string_view text) {
  constexpr std::string_view kPlain =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._~";
  constexpr std::string_view kHex = "0123456789ABCDEF";
  std::string encoded;
  for (const char byte : text) {
    if (kPlain.find(byte) != std::string_view::npos) {
      encoded += byte;
    } else {
      const auto value = static_cast<unsigned char>(byte);
      encoded += '%';
      encoded += kHex[value >> 4];
      encoded += kHex[value & 15];
    }
  }
  return encoded;
}

struct HttpClient::State {
  HttpSettings settings;
  std::atomic<bool> aborted = false;
  // The transfer is in the other one while it runs, and must go first.
  std::unique_ptr<CURLM, MultiCleanup> multi;
  std::unique_ptr<CURL, EasyCleanup> transfer;

  // How many bytes have gone either way.
  curl_off_t Progress() const {
    curl_off_t sent = 0;
    curl_off_t received = 0;
    long headers = 0;
    curl_easy_getinfo(transfer.get(), CURLINFO_SIZE_UPLOAD_T, &sent);
    curl_easy_getinfo(transfer.get(), CURLINFO_SIZE_DOWNLOAD_T, &received);
    curl_easy_getinfo(transfer.get(), CURLINFO_HEADER_SIZE, &headers);
    return sent + received + headers;
  }

  // Not curl_easy_perform(), which notices an end that is asked for only once a second, and not
  // libcurl's own limit of speed, which looks at an average of several seconds.
  CURLcode Perform() {
    curl_multi_add_handle(multi.get(), transfer.get());
    const CURLcode result = RunTransfer();
    curl_multi_remove_handle(multi.get(), transfer.get());
    return result;
  }

  CURLcode RunTransfer() {
    curl_off_t progress = -1;
    auto stalledAt = steady_clock::now();
    const auto end = stalledAt + settings.totalLimit;
    int running = 1;
    while (!aborted) {
      if (curl_multi_perform(multi.get(), &running) != CURLM_OK) return CURLE_FAILED_INIT;
      if (running == 0) break;
      const auto now = steady_clock::now();
      if (Progress() != progress) {
        progress = Progress();
        stalledAt = now + settings.stallLimit;
      }
      if (now >= std::min(stalledAt, end)) return CURLE_OPERATION_TIMEDOUT;
      const auto left = std::chrono::ceil<milliseconds>(std::min(stalledAt, end) - now);
      curl_multi_poll(multi.get(), nullptr, 0, static_cast<int>(left.count()), nullptr);
    }
    int others = 0;
    const CURLMsg* message = curl_multi_info_read(multi.get(), &others);
    const bool isDone = message != nullptr && message->msg == CURLMSG_DONE;
    return isDone ? message->data.result : CURLE_ABORTED_BY_CALLBACK;
  }
};

HttpClient::HttpClient(const HttpSettings& httpSettings) : state(std::make_unique<State>()) {
  state->settings = httpSettings;
  if (!InitialiseOnce()) return;
  state->multi.reset(curl_multi_init());
  state->transfer.reset(curl_easy_init());
}

HttpClient::~HttpClient() = default;

void HttpClient::Abort() {
  state->aborted = true;
  if (state->multi) curl_multi_wakeup(state->multi.get());
}

HttpAnswer HttpClient::Send(const HttpRequest& request) {
  HttpAnswer answer;
  CURL* transfer = state->transfer.get();
  if (transfer == nullptr || !state->multi) {
    answer.error = kUnusable;
    return answer;
  }
  Exchange exchange{request, answer, transfer};
  const Headers headers = MakeHeaders(request, state->settings);
  char reason[CURL_ERROR_SIZE] = "";
  curl_easy_reset(transfer);
  SetUpConnection(transfer, state->settings);
  SetUpBody(transfer, request, exchange);
  curl_easy_setopt(transfer, CURLOPT_URL, request.url.c_str());
  // The environment's proxy would carry plain http off this machine.
  if (StaysOnThisMachine(request.url)) curl_easy_setopt(transfer, CURLOPT_PROXY, "");
  curl_easy_setopt(transfer, CURLOPT_HTTPHEADER, headers.get());
  curl_easy_setopt(transfer, CURLOPT_ERRORBUFFER, reason);
  const CURLcode result = state->Perform();
  curl_easy_setopt(transfer, CURLOPT_ERRORBUFFER, nullptr);
  if (exchange.thrown) std::rethrow_exception(exchange.thrown);
  if (exchange.isTooLarge) {
    answer.error = "the answer is too large";
  } else if (state->aborted) {
    answer.error = "it was interrupted";
  } else if (request.received != nullptr && !request.received->Error().IsEmpty()) {
    answer.error = request.received->Error();
  } else if (result != CURLE_OK) {
    answer.error = reason[0] != '\0' ? reason : curl_easy_strerror(result);
  } else {
    long status = 0;
    curl_off_t seconds = 0;
    curl_easy_getinfo(transfer, CURLINFO_RESPONSE_CODE, &status);
    curl_easy_getinfo(transfer, CURLINFO_RETRY_AFTER, &seconds);
    answer.status = static_cast<int>(status);
    answer.retryAfter =
        std::clamp(std::chrono::seconds(seconds), std::chrono::seconds(0), kLongestRetryAfter);
  }
  return answer;
}

}  // namespace agent
