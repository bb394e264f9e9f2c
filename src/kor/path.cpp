#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string>
#include <string_view>
#include <vector>

#include "kor/file.h"

namespace {

constexpr mode_t kFolderMode = 0750;

bool IsFolder(const char* path) {
  struct stat status;
  return stat(path, &status) == 0 && S_ISDIR(status.st_mode);
}

std::string WorkingFolder() {
  std::string folder(256, '\0');
  while (getcwd(folder.data(), folder.size()) == nullptr) {
    if (errno != ERANGE) return "/";  // the working folder has been removed
    folder.resize(folder.size() * 2);
  }
  folder.resize(folder.find('\0'));
  return folder;
}

// Where the extension of a name begins; its length when it has none.
size_t ExtensionStart(std::string_view name) {
  const size_t dot = name.rfind('.');
  const bool hasExtension = dot != std::string_view::npos && dot > 0 && name != "..";
  return hasExtension ? dot : name.size();
}

}  // namespace

bool PathIsUsable(const KorString& path) {
  if (!path.IsEmpty() && path.View().find('\0') == std::string_view::npos) return true;
  errno = ENOENT;
  return false;
}

bool PathCreate(const KorString& path) {
  if (!PathIsUsable(path)) return false;
  const std::string& whole = path.Str();
  // Whether it worked is asked once, at the end: a parent that exists answers a mkdir with
  // different errors on different file systems.
  for (size_t end = whole.find('/', 1); end != std::string::npos; end = whole.find('/', end + 1)) {
    mkdir(whole.substr(0, end).c_str(), kFolderMode);
  }
  mkdir(path.CStr(), kFolderMode);
  return IsFolder(path.CStr());
}

void SplitPath(const KorString& path, KorString& drive, KorString& directory, KorString& name,
               KorString& extension) {
  const std::string whole(path.View());  // an output may be the path itself
  const size_t separator = whole.find_last_of("/\\");
  const size_t nameStart = separator == std::string::npos ? 0 : separator + 1;
  const std::string_view fileName = std::string_view(whole).substr(nameStart);
  const size_t extensionStart = ExtensionStart(fileName);
  drive.Clear();
  directory = KorString(whole.substr(0, nameStart));
  name = KorString(fileName.substr(0, extensionStart));
  extension = KorString(fileName.substr(extensionStart));
}

KorString CompletePath(const KorString& path) {
  const std::string whole =
      path.StartsWith("/", true) ? path.Str() : WorkingFolder() + "/" + path.Str();
  std::vector<std::string_view> parts;
  for (size_t start = 0; start < whole.size();) {
    const size_t end = std::min(whole.find('/', start), whole.size());
    const std::string_view part = std::string_view(whole).substr(start, end - start);
    if (part == "..") {
      if (!parts.empty()) parts.pop_back();
    } else if (!part.empty() && part != ".") {
      parts.push_back(part);
    }
    start = end + 1;
  }
  std::string complete;
  for (const std::string_view part : parts) complete.append("/").append(part);
  return complete.empty() ? KorString("/") : KorString(complete);
}
