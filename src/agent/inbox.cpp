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
             std::chrono::seconds itemPatience)
    : folder(inboxFolder), dispatcher(itemDispatcher), patience(itemPatience) {}

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
  bool isMoreLater = false;
  for (const std::string& name : Names()) {
    const Step step = ProcessOne(name);
    if (step == Step::kStop) return false;
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

Inbox::Step Inbox::ProcessOne(const std::string& name) {
  const KorString path = folder + "/" + KorString(name);
  const auto refuse = [&](const KorString& file, const KorString& reason) {
    if (IsFresh(path)) return Step::kLater;
    Finish(name, file, reason);
    return Step::kDone;
  };
  const Result<std::string> text = ReadPlainFile(path, kItemLimit);
  if (!text.IsOk()) return refuse(KorString(), text.Reason());
  const Result<InboundItem> item = ParseInboundItem(text.Value());
  if (!item.IsOk()) return refuse(KorString(), item.Reason());
  const KorString& file = item.Value().file;
  const KorString filePath = file.IsEmpty() ? KorString() : folder + "/" + file;
  if (!file.IsEmpty()) {
    const Result<PlainFile> opened = OpenPlainFile(filePath);
    if (!opened.IsOk()) return refuse(KorString(), opened.Reason());
  }
  const InboundOutcome outcome = dispatcher.Dispatch(item.Value(), filePath);
  if (outcome.verdict == InboundOutcome::Verdict::kInterrupted) return Step::kStop;
  Finish(name, file, outcome.reason);
  return Step::kDone;
}

void Inbox::Finish(const std::string& name, const KorString& file, const KorString& reason) {
  const bool isTaken = reason.IsEmpty();
  const Result<Place> place = OpenPlace(isTaken ? kDone : kRefused);
  if (!place.IsOk()) {
    KorFrameworkLog().WarningWithNL("The inbox item '%s' cannot be put away: %S", name,
                                    place.Reason());
    return;
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
  MoveTo(place.Value(), KorString(name));
  Prune(place.Value());
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

void Inbox::MoveTo(const Place& place, const KorString& name) const {
  const KorString from = folder + "/" + name;
  const int moved = renameat(AT_FDCWD, from.CStr(), place.folder.Get(), name.CStr());
  if (moved == 0 || errno == ENOENT) return;
  KorFrameworkLog().WarningWithNL("'%S' cannot be moved to '%S': %s", from, place.name,
                                  std::strerror(errno));
}

}  // namespace agent
