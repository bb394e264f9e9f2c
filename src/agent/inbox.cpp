#include "agent/inbox.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <string_view>
#include <tuple>

#include "agent/plain_file.h"
#include "kor/debug.h"
#include "kor/file.h"

namespace agent {
namespace {

constexpr std::string_view kSuffix = ".json";
constexpr size_t kItemLimit = 16 * 1024 * 1024;
// As much as comes over the network.
constexpr uint64_t kFileLimit = uint64_t{64} * 1024 * 1024;
constexpr const char* kDone = "done";
constexpr const char* kRefused = "refused";

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

// What is directly in the folder. Not by the standard library's iterator, which ends the process
// when it lacks memory.
std::vector<std::string> EntriesOf(const KorString& folder) {
  std::vector<std::string> names;
  const std::unique_ptr<DIR, CloseFolder> opened(opendir(folder.CStr()));
  while (const dirent* const entry = opened ? readdir(opened.get()) : nullptr) {
    names.emplace_back(entry->d_name);
  }
  return names;
}

}  // namespace

Inbox::Inbox(const KorString& inboxFolder, InboundDispatcher& itemDispatcher,
             const ReceivedFolder& receivedFolder, std::chrono::seconds itemPatience)
    : folder(inboxFolder),
      dispatcher(itemDispatcher),
      received(receivedFolder),
      patience(itemPatience) {}

Result<void> Inbox::Prepare() const {
  for (const char* name : {kDone, kRefused}) {
    const KorString path = folder + "/" + name;
    if (!PathCreate(path)) return Failure{"the folder '" + path + "' cannot be created"};
  }
  return {};
}

std::vector<std::string> Inbox::Names() const {
  std::vector<std::string> names = EntriesOf(folder);
  std::erase_if(names, [](const std::string& name) {
    return !name.ends_with(kSuffix) || name.starts_with('.');
  });
  std::sort(names.begin(), names.end());
  return names;
}

// The folder done/ or refused/, addressed by way of its descriptor: whoever is allowed to write
// into the inbox could put a link in its place, and have files of his moved, written or removed
// elsewhere.
struct Inbox::Place {
  Descriptor folder;
  KorString name;  // for people

  KorString PathOf(const KorString& file) const {
    KorString path;
    path.Printf("/proc/self/fd/%d/%S", folder.Get(), file);
    return path;
  }
};

Result<Inbox::Place> Inbox::OpenPlace(const char* name) const {
  const KorString path = folder + "/" + name;
  Place place{Descriptor(open(path.CStr(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)), path};
  if (place.folder.IsOpen()) return place;
  Failure failure;
  failure.reason.Printf("the folder '%S' cannot be used: %s", path, std::strerror(errno));
  return failure;
}

// What has been dealt with would be dealt with again and again if it could not be put away.
bool Inbox::ArePlacesUsable() {
  // Somebody may have taken them away; what cannot be created is told below.
  static_cast<void>(Prepare());
  for (const char* name : {kDone, kRefused}) {
    const Result<Place> place = OpenPlace(name);
    if (place.IsOk()) continue;
    if (loggedFailure.IsNew(place.Reason())) {
      KorFrameworkLog().WarningWithNL("The inbox is left alone: %S", place.Reason());
    }
    return false;
  }
  loggedFailure.Reset();
  return true;
}

bool Inbox::Process() {
  if (!ArePlacesUsable()) return true;
  const std::vector<std::string> names = Names();
  std::erase_if(stuck, [&](const auto& known) {
    return !std::binary_search(names.begin(), names.end(), known.first);
  });
  bool isMoreLater = false;
  for (const std::string& name : names) {
    const std::optional<Version> version = VersionOf(name);
    const auto known = stuck.find(name);
    if (known != stuck.end() && known->second == version) continue;
    const Step step = ProcessOne(name);
    if (step == Step::kStop) return false;
    if (step == Step::kStuck) stuck[name] = version;
    isMoreLater = isMoreLater || step == Step::kLater;
  }
  return isMoreLater;
}

bool Inbox::IsFresh(const KorString& path) const {
  struct stat status;
  if (lstat(path.CStr(), &status) != 0) return false;
  const time_t age = std::time(nullptr) - status.st_mtime;
  return age >= 0 && age < patience.count();
}

std::optional<Inbox::Version> Inbox::VersionOf(const std::string& name) const {
  struct stat status;
  const KorString path = folder + "/" + KorString(name);
  if (lstat(path.CStr(), &status) != 0) return std::nullopt;
  return Version{status.st_ino, status.st_ctim.tv_sec, status.st_ctim.tv_nsec};
}

Result<KorString> Inbox::CopyOf(const PlainFile& file, const KorString& name) const {
  const Result<KorString> path = received.PathFor(name);
  if (!path.IsOk()) return path;
  const Result<uint64_t> copied = CopyToFile(file, path.Value(), kFileLimit);
  if (!copied.IsOk()) return Failure{copied.Reason()};
  return path;
}

// It is not the item's fault.
Inbox::Step Inbox::WaitFor(const std::string& name, const KorString& reason) {
  if (loggedWait.IsNew(reason)) {
    KorFrameworkLog().WarningWithNL("The inbox item '%s' has to wait: %S", name, reason);
  }
  return Step::kLater;
}

Inbox::Step Inbox::ProcessOne(const std::string& name) {
  const KorString path = folder + "/" + KorString(name);
  const auto refuse = [&](const KorString& file, const KorString& reason) {
    return IsFresh(path) ? Step::kLater : Finish(name, file, reason);
  };
  const Result<std::string> text = ReadPlainFile(path, kItemLimit);
  if (!text.IsOk()) return refuse(KorString(), text.Reason());
  const Result<InboundItem> item = ParseInboundItem(text.Value());
  if (!item.IsOk()) return refuse(KorString(), item.Reason());
  const KorString& file = item.Value().file;
  KorString copy;
  if (!file.IsEmpty()) {
    const Result<PlainFile> opened = OpenPlainFile(folder + "/" + file);
    if (!opened.IsOk()) return refuse(KorString(), opened.Reason());
    if (opened.Value().size > kFileLimit) return refuse(file, "its file is larger than 64 MiB");
    const Result<KorString> copied = CopyOf(opened.Value(), file);
    if (!copied.IsOk()) return WaitFor(name, copied.Reason());
    loggedWait.Reset();
    copy = copied.Value();
  }
  const InboundOutcome outcome = ReceivedFolder::HandOut(dispatcher, item.Value(), copy);
  if (outcome.verdict == InboundOutcome::Verdict::kInterrupted) return Step::kStop;
  return Finish(name, file, outcome.reason);
}

Inbox::Step Inbox::Finish(const std::string& name, const KorString& file, const KorString& reason) {
  const bool isTaken = reason.IsEmpty();
  const Result<Place> place = OpenPlace(isTaken ? kDone : kRefused);
  if (!place.IsOk()) {
    KorFrameworkLog().WarningWithNL("The inbox item '%s' cannot be put away: %S", name,
                                    place.Reason());
    return Remove(name);
  }
  if (isTaken) {
    KorFrameworkLog().DetailWithNL("The inbox item '%s' was taken", name);
  } else {
    KorFrameworkLog().WarningWithNL("The inbox item '%s' was refused: %S; it is kept in '%S'", name,
                                    reason, place.Value().name);
    const KorString stem(std::string_view(name).substr(0, name.size() - kSuffix.size()));
    SaveFileFromString(place.Value().PathOf(stem + ".reason.txt"), reason + "\n");
  }
  // The description goes last: without it, an end in between would leave a file that nobody knows.
  if (!file.IsEmpty()) MoveTo(place.Value(), file);
  const bool isMoved = MoveTo(place.Value(), KorString(name));
  Prune(place.Value());
  return isMoved ? Step::kDone : Remove(name);
}

// What stays would be dealt with again and again.
Inbox::Step Inbox::Remove(const std::string& name) const {
  const KorString path = folder + "/" + KorString(name);
  if (unlink(path.CStr()) == 0 || errno == ENOENT) {
    KorFrameworkLog().WarningWithNL("The inbox item '%s' was removed", name);
    return Step::kDone;
  }
  KorFrameworkLog().WarningWithNL(
      "The inbox item '%s' cannot be removed (%s): it is left alone while it is the same", name,
      std::strerror(errno));
  return Step::kStuck;
}

// The time of a file's last change of place counts, not that of its content. What is no plain file
// is left alone: a person has put it there.
void Inbox::Prune(const Place& place) {
  struct Kept {
    std::string name;
    uint64_t size;
    timespec came;
  };
  std::vector<Kept> files;
  for (const std::string& name : EntriesOf(place.PathOf("."))) {
    struct stat status;
    const int found = fstatat(place.folder.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW);
    if (found != 0 || !S_ISREG(status.st_mode)) continue;
    files.push_back({name, static_cast<uint64_t>(status.st_size), status.st_ctim});
  }
  std::sort(files.begin(), files.end(), [](const Kept& left, const Kept& right) {
    return std::tie(left.came.tv_sec, left.came.tv_nsec, left.name) >
           std::tie(right.came.tv_sec, right.came.tv_nsec, right.name);
  });
  size_t count = 0;
  uint64_t bytes = 0;
  for (const Kept& file : files) {
    bytes += file.size;
    if (++count <= kFilesKept && bytes <= kBytesKept) continue;
    if (unlinkat(place.folder.Get(), file.name.c_str(), 0) == 0) {
      KorFrameworkLog().DetailWithNL("Removed '%S/%s': the folder keeps the latest only",
                                     place.name, file.name);
    }
  }
}

bool Inbox::MoveTo(const Place& place, const KorString& name) const {
  const KorString from = folder + "/" + name;
  const int moved = renameat(AT_FDCWD, from.CStr(), place.folder.Get(), name.CStr());
  if (moved == 0 || errno == ENOENT) return true;
  KorFrameworkLog().WarningWithNL("'%S' cannot be moved to '%S': %s", from, place.name,
                                  std::strerror(errno));
  return false;
}

}  // namespace agent
