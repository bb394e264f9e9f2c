#include "kor/file.h"

#include <fcntl.h>
#include <ftw.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "kor/atomic_file.h"
#include "kor/debug.h"

namespace {

constexpr size_t kChunkSize = 64 * 1024;
// What a file says of its size is believed up to here.
constexpr int64_t kLargestReserve = int64_t{256} * 1024 * 1024;
constexpr mode_t kFileMode = 0600;

class ReadDescriptor {
 public:
  explicit ReadDescriptor(const KorString& path)
      : descriptor(PathIsUsable(path) ? open(path.CStr(), O_RDONLY | O_CLOEXEC) : -1) {}
  ~ReadDescriptor() {
    if (IsOpen()) close(descriptor);
  }
  ReadDescriptor(const ReadDescriptor&) = delete;
  ReadDescriptor& operator=(const ReadDescriptor&) = delete;

  bool IsOpen() const { return descriptor != -1; }
  ssize_t Read(char* data, size_t length) const {
    ssize_t count;
    do {
      count = read(descriptor, data, length);
    } while (count < 0 && errno == EINTR);
    return count;
  }

 private:
  int descriptor;
};

// For the callers whose own messages have no room for the reason, which is left in errno.
bool FailBecauseOfSystem(const char* what, const KorString& path) {
  const int error = errno;
  KorFrameworkLog().DetailWithNL("%S: %s: %s", path, what, std::strerror(error));
  errno = error;
  return false;
}

bool FailBecauseOfSize(size_t limit, KorString& error) {
  error.Printf("it is larger than %gu bytes", limit);
  errno = EFBIG;
  return false;
}

KorString FolderOf(const KorString& path) {
  return KorString(path.View().substr(0, path.View().rfind('/') + 1));
}

}  // namespace

bool FileExists(const KorString& path) {
  struct stat status;
  if (PathIsUsable(path) && stat(path.CStr(), &status) == 0) return true;
  const int error = errno;
  if (!MeansMissing(error)) {
    KorFrameworkLog().WarningWithNL("%S: cannot look at it: %s", path, std::strerror(error));
  }
  errno = error;
  return false;
}

bool MeansMissing(int error) {
  return error == ENOENT || error == ENOTDIR;
}

bool FileIsSpecial(const KorString& path) {
  struct stat status;
  if (!PathIsUsable(path) || stat(path.CStr(), &status) != 0) return false;
  return !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode);
}

bool FileDelete(const KorString& path, int) {
  if (PathIsUsable(path) && unlink(path.CStr()) == 0) return true;
  if (MeansMissing(errno)) return true;
  return FailBecauseOfSystem("cannot remove", path);
}

bool FolderDelete(const KorString& path) {
  constexpr int kMostOpenFolders = 16;
  const auto remove = [](const char* entry, const struct stat*, int, FTW*) {
    return ::remove(entry);
  };
  if (PathIsUsable(path) &&
      nftw(path.CStr(), remove, kMostOpenFolders, FTW_DEPTH | FTW_PHYS) == 0) {
    return true;
  }
  return errno == ENOENT;
}

bool FileRename(const KorString& from, const KorString& to) {
  if (!PathIsUsable(from) || !PathIsUsable(to)) return false;
  if (rename(from.CStr(), to.CStr()) != 0) return FailBecauseOfSystem("cannot rename", from);
  SyncFolderOf(to);
  if (FolderOf(from) != FolderOf(to)) SyncFolderOf(from);
  return true;
}

int64_t FileGetSize(const KorString& path) {
  struct stat status;
  if (!PathIsUsable(path) || stat(path.CStr(), &status) != 0) return -1;
  return S_ISDIR(status.st_mode) ? -1 : int64_t{status.st_size};
}

int FileCreate(const KorString& path, int) {
  if (!PathIsUsable(path)) return -1;
  return open(path.CStr(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, kFileMode);
}

bool FileWrite(int descriptor, const char* data, size_t length) {
  while (length > 0) {
    const ssize_t count = write(descriptor, data, length);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return false;
    data += count;
    length -= static_cast<size_t>(count);
  }
  return true;
}

bool FileSync(int descriptor) {
  int result;
  do {
    result = fsync(descriptor);
  } while (result != 0 && errno == EINTR);
  // Pipes, and the folders of some file systems, have nothing to synchronise.
  return result == 0 || errno == EINVAL;
}

bool FileClose(int descriptor) {
  const bool synced = FileSync(descriptor);
  // An interrupted close has closed all the same.
  const bool closed = close(descriptor) == 0 || errno == EINTR;
  return synced && closed;
}

bool FileReadChunks(const KorString& path, const std::function<bool(std::string_view)>& take,
                    KorString& error) {
  const ReadDescriptor file(path);
  ssize_t count = -1;
  if (file.IsOpen()) {
    const auto chunk = std::make_unique<char[]>(kChunkSize);
    while ((count = file.Read(chunk.get(), kChunkSize)) > 0) {
      if (!take(std::string_view(chunk.get(), static_cast<size_t>(count)))) return true;
    }
  }
  if (count < 0) {
    const int reason = errno;
    error = std::strerror(reason);
    errno = reason;
  }
  return count == 0;
}

bool FileReadAll(const KorString& path, std::string& content, KorString& error, size_t limit) {
  const int64_t size = std::max<int64_t>(FileGetSize(path), 0);
  if (static_cast<uint64_t>(size) > limit) return FailBecauseOfSize(limit, error);
  std::string whole;
  whole.reserve(static_cast<size_t>(std::min(size, kLargestReserve)));
  const auto append = [&whole, limit](std::string_view piece) {
    whole += piece;
    return whole.size() <= limit;
  };
  if (!FileReadChunks(path, append, error)) return false;
  // Files of the kernel have no size.
  if (whole.size() > limit) return FailBecauseOfSize(limit, error);
  content = std::move(whole);
  return true;
}

bool SaveFileFromString(const KorString& path, const KorString& content) {
  KorAtomicFile file(path);
  file.Write(content.View());
  if (file.Commit()) return true;
  KorFrameworkLog().WarningWithNL("%S", file.Error());
  return false;
}
