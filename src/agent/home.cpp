#include "agent/home.h"

#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <string>
#include <system_error>

#include "kor/file.h"

namespace agent {
namespace {

constexpr const char* kRootHome = "/var/lib/kor-agent";

KorString Environment(const char* name) {
  const char* value = getenv(name);
  return KorString(value);
}

Failure Refusal(const KorString& folder, const KorString& why, const KorString& whatToDo) {
  Failure failure;
  failure.reason.Printf("the folder '%S' is refused: %S; %S", folder, why, whatToDo);
  return failure;
}

Failure NotSeen(const KorString& folder) {
  return Refusal(folder, std::strerror(errno), "check its permissions or name another --home");
}

// Data must be the agent's own; a folder above it may also be root's.
enum class Owner { kSelf, kSelfOrRoot };

Result<void> CheckFolder(const KorString& folder, Owner owner) {
  struct stat status;
  const uid_t self = geteuid();
  // Where a folder above it is everybody's (/tmp), anybody may have put it there.
  const bool isLink = lstat(folder.CStr(), &status) == 0 && S_ISLNK(status.st_mode);
  if (isLink && status.st_uid != self && status.st_uid != 0) {
    KorString why;
    why.Printf("it is a link that belongs to user %u", status.st_uid);
    return Refusal(folder, why, "remove it or name another --home");
  }
  if (stat(folder.CStr(), &status) != 0) return NotSeen(folder);
  if (!S_ISDIR(status.st_mode)) {
    return Refusal(folder, "it is not a folder", "move it away or name another --home");
  }
  const bool owned = status.st_uid == self || (owner == Owner::kSelfOrRoot && status.st_uid == 0);
  if (!owned) {
    KorString why;
    why.Printf("it belongs to user %u and the agent runs as user %u", status.st_uid, self);
    return Refusal(folder, why, "change its owner (chown) or name another --home");
  }
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    return Refusal(folder, "other users can write into it",
                   "take that right away (chmod go-w) or name another --home");
  }
  return {};
}

Result<void> EnsureFolder(const KorString& folder, Owner owner) {
  struct stat status;
  if (stat(folder.CStr(), &status) == 0) return CheckFolder(folder, owner);
  if (errno != ENOENT) return NotSeen(folder);
  if (!PathCreate(folder)) {
    std::error_code error;  // a second attempt, for the reason
    std::filesystem::create_directories(folder.Str(), error);
    if (error) {
      return Refusal(folder, KorString("it cannot be created: " + error.message()),
                     "create it or name another --home");
    }
  }
  return CheckFolder(folder, owner);
}

// In a folder that everybody can write into, and that is not like /tmp, anybody can put another
// home in the place of this one.
Result<void> CheckAbove(const std::filesystem::path& home) {
  struct stat status;
  for (auto folder = home.parent_path(); !folder.empty(); folder = folder.parent_path()) {
    const bool isEverybodys = stat(folder.c_str(), &status) == 0 &&
                              (status.st_mode & S_IWOTH) != 0 && (status.st_mode & S_ISVTX) == 0;
    if (isEverybodys) {
      return Refusal(KorString(folder.string()), "everybody can exchange the home in it",
                     "take that right away (chmod o-w) or name another --home");
    }
    if (folder == folder.root_path()) break;
  }
  return {};
}

}  // namespace

Result<KorString> DefaultHomePath() {
  const KorString given = Environment("KOR_AGENT_HOME");
  if (!given.IsEmpty()) return given;
  if (geteuid() == 0) return KorString(kRootHome);
  const KorString state = Environment("XDG_STATE_HOME");
  if (state.StartsWith("/", true)) return state + "/kor-agent";
  const KorString home = Environment("HOME");
  if (home.StartsWith("/", true)) return home + "/.local/state/kor-agent";
  return Failure{"no home folder is known (HOME is not set); name one with --home"};
}

Result<Home> PrepareHome(const KorString& path) {
  std::string absolute = CompletePath(path).Str();
  while (absolute.size() > 1 && absolute.ends_with('/')) absolute.pop_back();
  const Home home{KorString(absolute)};
  Result<void> checked = EnsureFolder(home.path, Owner::kSelfOrRoot);
  // Also above the place that a link leads to.
  if (checked.IsOk()) checked = CheckAbove(absolute);
  std::error_code ignored;
  if (checked.IsOk()) checked = CheckAbove(std::filesystem::canonical(absolute, ignored));
  if (checked.IsOk()) checked = EnsureFolder(home.path + "/config", Owner::kSelfOrRoot);
  if (checked.IsOk()) checked = EnsureFolder(home.path + "/data", Owner::kSelf);
  if (!checked.IsOk()) return Failure{checked.Reason()};
  return home;
}

Result<TemporaryHome> TemporaryHome::Create() {
  std::error_code error;
  std::string name = std::filesystem::temp_directory_path(error).string();
  if (error) name = "/tmp";
  name += "/kor-agent-XXXXXX";
  if (mkdtemp(name.data()) == nullptr) {
    Failure failure;
    failure.reason.Printf("a temporary folder '%s' cannot be created: %s", name,
                          std::strerror(errno));
    return failure;
  }
  return TemporaryHome(KorString(name));
}

TemporaryHome::~TemporaryHome() {
  if (path.IsEmpty()) return;
  FolderDelete(path);
}

}  // namespace agent
