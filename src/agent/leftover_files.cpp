#include "agent/leftover_files.h"

#include <algorithm>
#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "kor/debug.h"

namespace agent {
namespace {

namespace fs = std::filesystem;

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

// Links are not followed.
std::vector<fs::path> FindLeftovers(const fs::path& folder, const fs::path& except) {
  std::vector<fs::path> found;
  std::error_code error;
  fs::recursive_directory_iterator entry(folder, error);
  while (!error && entry != fs::recursive_directory_iterator()) {
    if (entry->path() == except) entry.disable_recursion_pending();
    std::error_code unknown;
    const bool isFile = fs::is_regular_file(entry->symlink_status(unknown));
    if (isFile && IsTemporaryName(entry->path().filename().string())) {
      found.push_back(entry->path());
    }
    entry.increment(error);
  }
  return found;
}

void RemoveBelow(const fs::path& folder, const fs::path& except) {
  for (const fs::path& path : FindLeftovers(folder, except)) {
    std::error_code error;
    if (fs::remove(path, error)) {
      KorFrameworkLog().DetailWithNL("Removed '%s', a leftover of a sudden end", path.string());
    } else if (error) {
      KorFrameworkLog().WarningWithNL("The leftover '%s' cannot be removed: %s", path.string(),
                                      error.message());
    }
  }
}

}  // namespace

void RemoveLeftoverFiles(const Home& home) {
  const fs::path data = home.DataDir().Str();
  RemoveBelow(home.ConfigDir().Str(), {});
  RemoveBelow(data, data / "queue");
}

}  // namespace agent
