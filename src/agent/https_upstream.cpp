#include "agent/https_upstream.h"

#include <nlohmann/json.hpp>

#include "agent/container_json.h"
#include "kor/file.h"
#include "korcore/action_db.h"

namespace agent {
namespace {

using nlohmann::ordered_json;

constexpr uint64_t kLargestInboxFile = 64 * 1024 * 1024;
constexpr size_t kLongestId = 100;
constexpr size_t kLongestReason = 200;

// Who is asking. Without an identity yet, the server has only the certificate or the token to go
// by.
std::vector<std::string> DeviceHeaders() {
  KorContainer identity;
  KorString guid;
  ActionDbInvokeContainer("", "IdentityGetGUID", identity, 0, -1, -1, 0);
  if (!identity.GetString("GUID", guid) || guid.IsEmpty()) return {};
  return {"Device-GUID: " + guid.Str()};
}

// "?FileType=HardwareInventory2&Size=1234": the members of the object, in order.
std::string QueryOf(const ordered_json& meaning) {
  std::string query;
  for (const auto& [key, value] : meaning.items()) {
    const std::string text = value.is_string() ? value.get<std::string>() : JsonText(value);
    query += (query.empty() ? '?' : '&') + PercentEncoded(key) + '=' + PercentEncoded(text);
  }
  return query;
}

// What the server said, on one line of a message.
KorString ReasonOf(const HttpAnswer& answer) {
  if (answer.status == 0) return answer.error;
  KorString reason;
  KorString body(std::string_view(answer.body).substr(0, kLongestReason));
  body.Trim();
  reason.Printf("the server answered %d%s%S", answer.status, body.IsEmpty() ? "" : ": ", body);
  return reason;
}

bool IsSuccess(const HttpAnswer& answer) {
  return answer.status >= 200 && answer.status < 300;
}

DeliveryResult Judge(const HttpAnswer& answer) {
  using Verdict = DeliveryResult::Verdict;
  if (IsSuccess(answer)) return {};
  const bool isRefusal =
      answer.status >= 400 && answer.status < 500 && answer.status != 408 && answer.status != 429;
  return {isRefusal ? Verdict::kRefused : Verdict::kRetry, ReasonOf(answer), answer.retryAfter};
}

bool IsId(const std::string& text) {
  constexpr const char* kAllowed =
      "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-._";
  return !text.empty() && text.size() <= kLongestId && text.front() != '.' &&
         text.find_first_not_of(kAllowed) == std::string::npos;
}

// {"Id": "...", "Item": {...}, "Size": 12, "MD5": "..."}; the last two only beside a file.
Result<InboxEntry> ReadEntry(const ordered_json& json) {
  if (!json.is_object() || !json.contains("Id") || !json["Id"].is_string()) {
    return Failure{"an entry without an Id"};
  }
  InboxEntry entry;
  entry.id = json["Id"].get<std::string>();
  if (!IsId(entry.id))
    return Failure{"an entry with the unusable Id '" + KorString(entry.id) + "'"};
  if (json.contains("Item")) entry.item = JsonText(json["Item"]);
  if (json.contains("Size") && json["Size"].is_number_unsigned()) {
    entry.size = json["Size"].get<uint64_t>();
  }
  if (json.contains("MD5") && json["MD5"].is_string()) {
    entry.md5 = KorString(json["MD5"].get<std::string>());
  }
  return entry;
}

}  // namespace

DeliveryResult HttpsUpstream::Deliver(const QueuedItem& item) {
  HttpRequest request;
  request.headers = DeviceHeaders();
  if (item.payload.IsEmpty()) {
    request.method = "POST";
    request.url = url.Str() + "/actions/" + item.id;
    request.headers.emplace_back("Content-Type: application/json");
    request.body = item.meaning.Str();
    return Judge(client.Send(request));
  }
  const Result<PlainFile> content = OpenPlainFile(item.payload);
  if (!content.IsOk()) return {DeliveryResult::Verdict::kRefused, content.Reason()};
  request.method = "PUT";
  request.url = url.Str() + "/files/" + item.id +
                QueryOf(ordered_json::parse(item.meaning.View(), nullptr, false));
  request.headers.emplace_back("Content-Type: application/octet-stream");
  request.file = &content.Value();
  return Judge(client.Send(request));
}

Result<std::vector<InboxEntry>> HttpsUpstream::ListInbox() {
  HttpRequest request;
  request.method = "GET";
  request.url = url.Str() + "/inbox";
  request.headers = DeviceHeaders();
  const HttpAnswer answer = client.Send(request);
  if (!IsSuccess(answer)) return Failure{ReasonOf(answer)};
  std::vector<InboxEntry> entries;
  if (answer.status == 204) return entries;
  const Result<ordered_json> parsed = ParseJson(answer.body);
  if (!parsed.IsOk()) return Failure{KorString("the server's list: ") + parsed.Reason()};
  const ordered_json& json = parsed.Value();
  if (!json.is_object() || !json.contains("Items") || !json["Items"].is_array()) {
    return Failure{"the server's list is not an object with an array \"Items\""};
  }
  for (const ordered_json& element : json["Items"]) {
    const Result<InboxEntry> entry = ReadEntry(element);
    if (!entry.IsOk()) return Failure{"the server's list has " + entry.Reason()};
    entries.push_back(entry.Value());
  }
  return entries;
}

Result<void> HttpsUpstream::FetchInboxFile(const InboxEntry& entry, const KorString& target) {
  KorAtomicFile file(target);
  HttpRequest request;
  request.method = "GET";
  request.url = url.Str() + "/inbox/" + entry.id;
  request.headers = DeviceHeaders();
  request.received = &file;
  request.receiveLimit = kLargestInboxFile;
  const HttpAnswer answer = client.Send(request);
  if (!IsSuccess(answer)) return Failure{ReasonOf(answer)};
  if (!file.Commit()) return Failure{file.Error()};
  const bool isComplete =
      (!entry.size || FileGetSize(target) == static_cast<int64_t>(*entry.size)) &&
      (entry.md5.IsEmpty() || FileMd5(target).IsEqualTo(entry.md5, false));
  if (isComplete) return {};
  FileDelete(target, 0);
  return Failure{"what came has not the size or the checksum that was announced"};
}

Result<void> HttpsUpstream::Acknowledge(const std::string& id, const KorString& reasonOfRefusal) {
  HttpRequest request;
  request.method = "DELETE";
  request.url = url.Str() + "/inbox/" + id +
                (reasonOfRefusal.IsEmpty()
                     ? "?Result=done"
                     : "?Result=refused&Reason=" + PercentEncoded(reasonOfRefusal.View()));
  request.headers = DeviceHeaders();
  const HttpAnswer answer = client.Send(request);
  if (IsSuccess(answer) || answer.status == 404) return {};
  return Failure{ReasonOf(answer)};
}

}  // namespace agent
