#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>

#include "kor/atomic_file.h"
#include "kor/debug.h"
#include "kor/download_time.h"
#include "kor/file.h"
#include "kor/late_curl.h"
#include "kor/thread.h"

namespace {

using late_curl::curl_easy_cleanup;
using late_curl::curl_easy_init;
using late_curl::curl_easy_perform;
using late_curl::curl_easy_setopt;
using late_curl::curl_easy_strerror;
using late_curl::curl_free;
using late_curl::curl_global_init;
using late_curl::curl_url;
using late_curl::curl_url_cleanup;
using late_curl::curl_url_get;
using late_curl::curl_url_set;
using late_curl::curl_version_info;

// An unattended download: it ends by itself whatever the other side does.
constexpr uint64_t kMaximumSize = 64 * 1024 * 1024;
constexpr long kConnectSeconds = 30;
constexpr long kStalledBytesPerSecond = 1;
constexpr long kStalledSeconds = 60;
constexpr long kMaximumRedirects = 5;
std::atomic<uint32_t> mostMilliseconds = 3'600'000;

constexpr int kFailed = 1;

struct EasyCleanup {
  void operator()(CURL* transfer) const { curl_easy_cleanup(transfer); }
};
struct UrlCleanup {
  void operator()(CURLU* url) const { curl_url_cleanup(url); }
};
struct TextCleanup {
  void operator()(char* text) const { curl_free(text); }
};
using Transfer = std::unique_ptr<CURL, EasyCleanup>;
using ParsedUrl = std::unique_ptr<CURLU, UrlCleanup>;

// What has come so far, and why it ended early.
struct Reception {
  KorAtomicFile file;
  uint64_t received = 0;
  bool isTooLarge = false;
  std::exception_ptr thrown;

  explicit Reception(const KorString& path) : file(path) {}

  bool Take(std::string_view bytes) {
    received += bytes.size();
    isTooLarge = received > kMaximumSize;
    if (!isTooLarge) file.Write(bytes);
    return !isTooLarge && file.Error().IsEmpty();
  }

  // The reason why it ended early; empty when it did not.
  KorString Refusal() const {
    return isTooLarge ? KorString("it is larger than 64 MiB") : file.Error();
  }
};

// Called from libcurl's C frames, which no exception may pass.
size_t TakeBody(char* data, size_t size, size_t count, void* user) {
  Reception& reception = *static_cast<Reception*>(user);
  try {
    return reception.Take(std::string_view(data, size * count)) ? size * count : 0;
  } catch (...) {
    reception.thrown = std::current_exception();
    return 0;
  }
}

int AbortWhenForced(void*, curl_off_t, curl_off_t, curl_off_t, curl_off_t) {
  return KorThread::CurrentIsForced() ? 1 : 0;
}

bool InitialiseOnce() {
  static const bool isUsable =
      KorTransferLibrariesAreThere() && curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
  return isUsable;
}

// Of the schemes, those that this libcurl has: it refuses the whole list for one that it lacks.
std::string Offered(std::initializer_list<std::string_view> schemes) {
  std::string list;
  for (const char* const* name = curl_version_info(CURLVERSION_NOW)->protocols; *name; ++name) {
    if (std::ranges::find(schemes, *name) == schemes.end()) continue;
    if (!list.empty()) list += ',';
    list += *name;
  }
  return list;
}

std::string PartOf(const ParsedUrl& url, CURLUPart part, unsigned int flags) {
  char* text = nullptr;
  if (curl_url_get(url.get(), part, &text, flags) != CURLUE_OK) return {};
  const std::unique_ptr<char, TextCleanup> owner(text);
  return text;
}

// Certificates are verified by libcurl's defaults, said here once more because all depends on it.
void SetUp(CURL* transfer, CURLU* url, Reception& reception, char* reason) {
  curl_easy_setopt(transfer, CURLOPT_CURLU, url);
  curl_easy_setopt(transfer, CURLOPT_PROTOCOLS_STR, Offered({"http", "https", "ftp"}).c_str());
  curl_easy_setopt(transfer, CURLOPT_REDIR_PROTOCOLS_STR, Offered({"http", "https"}).c_str());
  curl_easy_setopt(transfer, CURLOPT_FOLLOWLOCATION, 1L);
  curl_easy_setopt(transfer, CURLOPT_MAXREDIRS, kMaximumRedirects);
  curl_easy_setopt(transfer, CURLOPT_SSL_VERIFYPEER, 1L);
  curl_easy_setopt(transfer, CURLOPT_SSL_VERIFYHOST, 2L);
  curl_easy_setopt(transfer, CURLOPT_CONNECTTIMEOUT, kConnectSeconds);
  curl_easy_setopt(transfer, CURLOPT_LOW_SPEED_LIMIT, kStalledBytesPerSecond);
  curl_easy_setopt(transfer, CURLOPT_LOW_SPEED_TIME, kStalledSeconds);
  curl_easy_setopt(transfer, CURLOPT_TIMEOUT_MS, static_cast<long>(mostMilliseconds.load()));
  curl_easy_setopt(transfer, CURLOPT_FAILONERROR, 1L);
  curl_easy_setopt(transfer, CURLOPT_NOSIGNAL, 1L);
  curl_easy_setopt(transfer, CURLOPT_ERRORBUFFER, reason);
  curl_easy_setopt(transfer, CURLOPT_WRITEFUNCTION, TakeBody);
  curl_easy_setopt(transfer, CURLOPT_WRITEDATA, &reception);
  curl_easy_setopt(transfer, CURLOPT_NOPROGRESS, 0L);
  curl_easy_setopt(transfer, CURLOPT_XFERINFOFUNCTION, AbortWhenForced);
}

// The reason of the failure; empty when all has come.
KorString FetchFromNetwork(const ParsedUrl& url, Reception& reception) {
  const Transfer transfer(curl_easy_init());
  if (!transfer) return "libcurl cannot be used";
  char reason[CURL_ERROR_SIZE] = "";
  SetUp(transfer.get(), url.get(), reception, reason);
  const CURLcode result = curl_easy_perform(transfer.get());
  if (KorThread::CurrentIsForced()) throw KorThreadCancelled();
  if (reception.thrown) std::rethrow_exception(reception.thrown);
  if (result == CURLE_OK) return {};
  if (const KorString refusal = reception.Refusal(); !refusal.IsEmpty()) return refusal;
  return reason[0] != '\0' ? reason : curl_easy_strerror(result);
}

// Local files are read here: libcurl does not report an error in the middle of one, and takes a
// folder for an empty file. Anything that is not a plain file could block for ever.
KorString FetchFromFile(const ParsedUrl& url, Reception& reception) {
  const KorString path(PartOf(url, CURLUPART_PATH, CURLU_URLDECODE));
  struct stat status;
  if (!PathIsUsable(path) || stat(path.CStr(), &status) != 0) return std::strerror(errno);
  if (!S_ISREG(status.st_mode)) return "it is not a file";
  const auto take = [&reception](std::string_view bytes) {
    if (KorThread::CurrentIsForced()) throw KorThreadCancelled();
    return reception.Take(bytes);
  };
  KorString error;
  return FileReadChunks(path, take, error) ? reception.Refusal() : error;
}

KorString Fetch(const KorString& url, const KorString& path) {
  if (!InitialiseOnce()) return "libcurl cannot be used";
  const ParsedUrl parsed(curl_url());
  const bool isUrl =
      PathIsUsable(url) && curl_url_set(parsed.get(), CURLUPART_URL, url.CStr(), 0) == CURLUE_OK;
  if (!isUrl) return "it is not a URL that can be fetched";
  Reception reception(path);
  if (!reception.file.Error().IsEmpty()) return reception.file.Error();
  const bool isLocal = PartOf(parsed, CURLUPART_SCHEME, 0) == "file";
  const KorString error =
      isLocal ? FetchFromFile(parsed, reception) : FetchFromNetwork(parsed, reception);
  if (!error.IsEmpty()) return error;
  return reception.file.Commit() ? KorString() : reception.file.Error();
}

}  // namespace

int FileCopyNet(const KorString& url, const KorString& path, int) {
  const KorString error = Fetch(url, path);
  if (error.IsEmpty()) return 0;
  KorFrameworkLog().WarningWithNL("Cannot fetch '%S': %S", url, error);
  return kFailed;
}

uint32_t SetDownloadTime(uint32_t milliseconds) {
  return mostMilliseconds.exchange(milliseconds);
}
