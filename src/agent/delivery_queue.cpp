#include "agent/delivery_queue.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <nlohmann/json.hpp>
#include <utility>

#include "agent/container_json.h"
#include "agent/queue_folder.h"
#include "kor/atomic_file.h"
#include "kor/debug.h"
#include "kor/file.h"

namespace agent {
namespace {

using nlohmann::ordered_json;

constexpr size_t kMeaningLimit = 16 * 1024 * 1024;

Failure SystemFailure(const KorString& path, const char* what) {
  Failure failure;
  failure.reason.Printf("'%S' %s: %s", path, what, std::strerror(errno));
  return failure;
}

std::string TimeText() {
  const time_t now = std::time(nullptr);
  tm parts = {};
  gmtime_r(&now, &parts);
  char text[32] = "";
  std::strftime(text, sizeof(text), "%Y-%m-%dT%H:%M:%SZ", &parts);
  return text;
}

Result<Descriptor> OpenFolder(const KorString& path) {
  if (!PathCreate(path)) return SystemFailure(path, "cannot be created");
  Descriptor opened(open(path.CStr(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!opened.IsOpen()) return SystemFailure(path, "cannot be opened");
  return opened;
}

bool IsStillAt(const Descriptor& opened, const KorString& path) {
  struct stat atPath;
  struct stat ofOpened;
  return opened.IsOpen() && fstat(opened.Get(), &ofOpened) == 0 &&
         lstat(path.CStr(), &atPath) == 0 && atPath.st_dev == ofOpened.st_dev &&
         atPath.st_ino == ofOpened.st_ino;
}

// True when the file is there no more.
bool Remove(const KorString& path) {
  return unlink(path.CStr()) == 0 || errno == ENOENT;
}

bool Move(const KorString& from, const KorString& to) {
  return std::rename(from.CStr(), to.CStr()) == 0;
}

}  // namespace

// Keeps other processes from adding, and from taking what is being added for leftovers. The kernel
// lets go of it when the process ends, however that happens.
class DeliveryQueue::FolderLock {
 public:
  explicit FolderLock(int folderToLock) : folder(folderToLock) {
    while (flock(folder, LOCK_EX) != 0 && errno == EINTR) {
    }
  }
  ~FolderLock() { flock(folder, LOCK_UN); }
  FolderLock(const FolderLock&) = delete;
  FolderLock& operator=(const FolderLock&) = delete;

 private:
  int folder;
};

DeliveryQueue::DeliveryQueue(const KorString& queueFolder, uint64_t byteLimit, size_t itemLimit)
    : folder(queueFolder),
      parked(queueFolder + "/parked"),
      mostItems(itemLimit),
      limit(byteLimit) {}

void DeliveryQueue::SetLimit(uint64_t byteLimit) {
  const KorMutexLock lock(mutex);
  limit = byteLimit;
}

// Somebody may have removed them since, or put others in their place.
bool DeliveryQueue::AreFoldersOpen() const {
  return IsStillAt(folderDescriptor, folder) && IsStillAt(parkedDescriptor, parked);
}

Result<void> DeliveryQueue::Prepare() {
  if (AreFoldersOpen()) return {};
  Result<Descriptor> main = OpenFolder(folder);
  if (!main.IsOk()) return Failure{main.Reason()};
  Result<Descriptor> aside = OpenFolder(parked);
  if (!aside.IsOk()) return Failure{aside.Reason()};
  const FolderLock lock(main.Value().Get());
  const Result<void> removed = RemoveLeftovers();
  if (!removed.IsOk()) return removed;
  const Result<void> scanned = Scan();
  if (!scanned.IsOk()) return scanned;
  folderDescriptor = std::move(main.Value());
  parkedDescriptor = std::move(aside.Value());
  return {};
}

Result<void> DeliveryQueue::RemoveLeftovers() {
  const Result<QueueListing> waiting = ListQueueFolder(folder);
  if (!waiting.IsOk()) return Failure{waiting.Reason()};
  const Result<QueueListing> aside = ListQueueFolder(parked);
  if (!aside.IsOk()) return Failure{aside.Reason()};
  for (const std::string& name : waiting.Value().temporary) Remove(PathOf(name));
  for (const std::string& name : aside.Value().temporary) Remove(ParkedPathOf(name));
  for (const auto& [id, parts] : waiting.Value().items) {
    if (parts.hasMeaning) continue;
    const std::string payload = id + std::string(kPayloadSuffix);
    // The end came in the middle of parking it.
    const auto half = aside.Value().items.find(id);
    const bool isHalfParked = half != aside.Value().items.end() && half->second.hasMeaning;
    const bool done =
        isHalfParked ? Move(PathOf(payload), ParkedPathOf(payload)) : Remove(PathOf(payload));
    if (!done) return SystemFailure(PathOf(payload), "is a leftover and cannot be removed");
  }
  return {};
}

Result<void> DeliveryQueue::Scan() {
  const Result<QueueListing> waiting = ListQueueFolder(folder);
  if (!waiting.IsOk()) return Failure{waiting.Reason()};
  const Result<QueueListing> aside = ListQueueFolder(parked);
  if (!aside.IsOk()) return Failure{aside.Reason()};
  bytes = waiting.Value().bytes + aside.Value().bytes;
  parkedItems = aside.Value().items.size();
  std::map<std::string, bool> found;
  for (const auto& [id, parts] : waiting.Value().items) {
    if (!parts.hasMeaning) continue;
    lastSequence = std::max(lastSequence, SequenceOf(id));
    const auto known = items.find(id);
    if (known != items.end()) {
      found.emplace(*known);
      continue;
    }
    // One that cannot be read is parked when its turn comes.
    const Result<QueuedItem> item = Load(id);
    found.emplace(id, item.IsOk() && item.Value().bypass);
  }
  items = std::move(found);
  return {};
}

Result<void> DeliveryQueue::Refresh() {
  const KorMutexLock lock(mutex);
  return AreFoldersOpen() ? Scan() : Prepare();
}

std::string DeliveryQueue::NextId() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  const auto micros = std::chrono::duration_cast<std::chrono::microseconds>(now).count();
  // A clock that was set back must not put an item before those that wait.
  lastSequence = std::max(lastSequence + 1, static_cast<uint64_t>(std::max<int64_t>(micros, 0)));
  return MakeItemId(lastSequence);
}

Result<std::string> DeliveryQueue::AddFile(const KorString& source, const KorContainer& meaning) {
  const Result<PlainFile> file = OpenPlainFile(source);
  if (!file.IsOk()) return Failure{file.Reason()};
  const KorMutexLock lock(mutex);
  return Add(&file.Value(), meaning);
}

Result<std::string> DeliveryQueue::AddMessage(const KorContainer& meaning) {
  const KorMutexLock lock(mutex);
  return Add(nullptr, meaning);
}

Result<std::string> DeliveryQueue::Add(const PlainFile* source, const KorContainer& meaning) {
  const Result<void> prepared = Prepare();
  if (!prepared.IsOk()) return Failure{prepared.Reason()};
  const FolderLock folderLock(folderDescriptor.Get());
  const Result<void> scanned = Scan();
  if (!scanned.IsOk()) return Failure{scanned.Reason()};
  if (items.size() + parkedItems >= mostItems) {
    Failure failure;
    failure.reason.Printf("the queue is full (%gu items)", uint64_t{mostItems});
    return failure;
  }
  const std::string id = NextId();
  const Result<void> stored = Store(id, source, meaning);
  if (!stored.IsOk()) {
    Discard(id);
    return Failure{stored.Reason()};
  }
  bool bypass = false;
  meaning.GetBool("Bypass", bypass);
  items.emplace(id, bypass);
  return id;
}

Result<void> DeliveryQueue::Store(const std::string& id, const PlainFile* source,
                                  const KorContainer& meaning) {
  ordered_json json = ordered_json::object();
  json["Id"] = id;
  json["Accepted"] = TimeText();
  json.update(ContainerToJson(meaning));
  const uint64_t room = limit > bytes ? limit - bytes : 0;
  uint64_t size = 0;
  if (source != nullptr) {
    const KorString payload = PathOf(id + std::string(kPayloadSuffix));
    if (source->size > room) return Failure{"the queue is full (QueueLimit)"};
    const Result<uint64_t> copied = CopyToFile(*source, payload, room);
    if (!copied.IsOk()) return Failure{copied.Reason()};
    size = copied.Value();
    json["Size"] = size;
    const KorString sum = FileMd5(payload);
    if (sum.IsEmpty()) return Failure{"its checksum cannot be computed"};
    json["MD5"] = sum.Str();
  }
  const std::string text = JsonText(json, 2) + "\n";
  if (text.size() > room - size) return Failure{"the queue is full (QueueLimit)"};
  KorAtomicFile file(PathOf(id + std::string(kMeaningSuffix)));
  file.Write(text);
  if (!file.Commit()) return Failure{file.Error()};
  if (!FileSync(folderDescriptor.Get())) return SystemFailure(folder, "cannot be made durable");
  return {};
}

// In this order: without its meaning it is no item.
void DeliveryQueue::Discard(const std::string& id) const {
  Remove(PathOf(id + std::string(kMeaningSuffix)));
  Remove(PathOf(id + std::string(kPayloadSuffix)));
}

Result<QueuedItem> DeliveryQueue::Load(const std::string& id) const {
  const Result<std::string> text =
      ReadPlainFile(PathOf(id + std::string(kMeaningSuffix)), kMeaningLimit);
  if (!text.IsOk()) return Failure{text.Reason()};
  const Result<ordered_json> parsed = ParseJson(text.Value());
  if (!parsed.IsOk() || !parsed.Value().is_object()) return Failure{"its description is damaged"};
  const ordered_json& json = parsed.Value();
  QueuedItem item;
  item.id = id;
  item.meaning = KorString(text.Value());
  const auto bypass = json.find("Bypass");
  item.bypass = bypass != json.end() && bypass->is_boolean() && bypass->get<bool>();
  if (!json.contains("Size")) return item;
  item.payload = PathOf(id + std::string(kPayloadSuffix));
  const Result<PlainFile> payload = OpenPlainFile(item.payload);
  if (!payload.IsOk()) return Failure{payload.Reason()};
  if (json["Size"] != payload.Value().size) return Failure{"its content is damaged"};
  return item;
}

std::optional<QueuedItem> DeliveryQueue::Peek(bool onlyBypass) {
  const KorMutexLock lock(mutex);
  if (!Prepare().IsOk()) return std::nullopt;
  auto next = items.begin();
  while (next != items.end()) {
    const auto [id, bypass] = *next++;
    if (onlyBypass && !bypass) continue;
    Result<QueuedItem> item = Load(id);
    if (item.IsOk()) return std::move(item.Value());
    KorFrameworkLog().WarningWithNL("The queued delivery %s cannot be sent: %S", id, item.Reason());
    const Result<void> done = ParkItem(id, item.Reason());
    if (!done.IsOk()) KorFrameworkLog().WarningWithNL("It stays where it is: %S", done.Reason());
    items.erase(id);
  }
  return std::nullopt;
}

Result<void> DeliveryQueue::Done(const std::string& id) {
  const KorMutexLock lock(mutex);
  const KorString meaning = PathOf(id + std::string(kMeaningSuffix));
  if (!Remove(meaning)) return SystemFailure(meaning, "cannot be removed");
  items.erase(id);
  // After a power failure, a meaning must not come back without its payload.
  if (!FileSync(folderDescriptor.Get())) return SystemFailure(folder, "cannot be made durable");
  const KorString payload = PathOf(id + std::string(kPayloadSuffix));
  if (!Remove(payload)) return SystemFailure(payload, "cannot be removed");
  return {};
}

Result<void> DeliveryQueue::Park(const std::string& id, const KorString& reason) {
  const KorMutexLock lock(mutex);
  return ParkItem(id, reason);
}

Result<void> DeliveryQueue::ParkItem(const std::string& id, const KorString& reason) {
  // On a full disk it is parked without the reason, which the log has as well.
  SaveFileFromString(ParkedPathOf(id + std::string(kReasonSuffix)), reason + "\n");
  const std::string meaning = id + std::string(kMeaningSuffix);
  if (!Move(PathOf(meaning), ParkedPathOf(meaning)) && errno != ENOENT) {
    return SystemFailure(PathOf(meaning), "cannot be moved to parked/");
  }
  items.erase(id);
  const std::string payload = id + std::string(kPayloadSuffix);
  if (!Move(PathOf(payload), ParkedPathOf(payload)) && errno != ENOENT) {
    return SystemFailure(PathOf(payload), "cannot be moved to parked/");
  }
  FileSync(parkedDescriptor.Get());
  FileSync(folderDescriptor.Get());
  return {};
}

Result<bool> DeliveryQueue::BecomeDeliverer() {
  const KorMutexLock lock(mutex);
  const Result<void> prepared = Prepare();
  if (!prepared.IsOk()) return Failure{prepared.Reason()};
  return flock(parkedDescriptor.Get(), LOCK_EX | LOCK_NB) == 0;
}

size_t DeliveryQueue::Count() {
  const KorMutexLock lock(mutex);
  return items.size();
}

Result<size_t> DeliveryQueue::CountParked() const {
  const Result<QueueListing> aside = ListQueueFolder(parked);
  if (!aside.IsOk()) return Failure{aside.Reason()};
  return aside.Value().items.size();
}

}  // namespace agent
