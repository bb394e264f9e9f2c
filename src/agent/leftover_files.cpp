#include "agent/leftover_files.h"

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "kor/debug.h"

namespace agent {
namespace {

constexpr std::string_view kSuffix = ".tmp";
constexpr size_t kRandomDigits = 16;

// ".<name>.<16 hexadecimal digits>.tmp", for a very long name without it. SQLite adds "-journal" to
// the name of a dump that it was writing.
bool IsTemporaryName(std::string_view name) {
  constexpr std::string_view kJournal = "-journal";
  if (name.ends_with(kJournal)) name.remove_suffix(kJournal.size());
  if (!name.starts_with('.') || !name.ends_with(kSuffix)) return false;
  name.remove_suffix(kSuffix.size());
  const size_t before = name.rfind('.');
  const std::string_view digits = name.substr(before + 1);
  const auto isDigit = [](char byte) {
    return (byte >= '0' && byte <= '9') || (byte >= 'a' && byte <= 'f');
  };
  return digits.size() == kRandomDigits && std::all_of(digits.begin(), digits.end(), isDigit);
}

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};

// What is below a folder. Not by the standard library's iterators, which end the process when they
// lack memory.
struct Below {
  std::vector<std::string> folders;
  std::vector<std::string> leftovers;
};

// Links are not followed.
void Note(const std::string& folder, const std::string& name, Below& below) {
  const std::string path = folder + "/" + name;
  struct stat status {};
  if (lstat(path.c_str(), &status) != 0) return;
  if (S_ISREG(status.st_mode) && IsTemporaryName(name)) {
    below.leftovers.push_back(path);
  } else if (S_ISDIR(status.st_mode) && name != "." && name != "..") {
    below.folders.push_back(path);
  }
}

Below LookInto(const std::string& folder) {
  Below below;
  const std::unique_ptr<DIR, CloseFolder> opened(opendir(folder.c_str()));
  int error = opened ? 0 : errno;
  while (opened != nullptr) {
    errno = 0;
    const dirent* const entry = readdir(opened.get());
    error = errno;
    if (entry == nullptr) break;
    Note(folder, entry->d_name, below);
  }
  if (error != 0 && error != ENOENT) {
    KorFrameworkLog().WarningWithNL("The folder '%s' cannot be searched for leftovers: %s", folder,
                                    std::strerror(error));
  }
  return below;
}

void RemoveBelow(const std::string& folder, const std::string& except) {
  const Below below = LookInto(folder);
  for (const std::string& path : below.leftovers) {
    if (unlink(path.c_str()) == 0) {
      KorFrameworkLog().DetailWithNL("Removed '%s', a leftover of a sudden end", path);
    } else if (errno != ENOENT) {
      KorFrameworkLog().WarningWithNL("The leftover '%s' cannot be removed: %s", path,
                                      std::strerror(errno));
    }
  }
  for (const std::string& path : below.folders) {
    if (path != except) RemoveBelow(path, except);
  }
}

}  // namespace

void RemoveLeftoverFiles(const Home& home) {
  const std::string data = home.path.Str() + "/data";
  RemoveBelow(home.path.Str() + "/config", {});
  RemoveBelow(data, data + "/queue");
}

}  // namespace agent
