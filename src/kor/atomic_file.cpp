#include "kor/atomic_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>

#include "kor/debug.h"
#include "kor/file.h"

namespace {

constexpr size_t kBufferSize = 64 * 1024;
constexpr mode_t kFileMode = 0600;
constexpr int kNameAttempts = 16;

// With its trailing separator; empty for a bare name.
std::string_view FolderPart(const KorString& path) {
  return path.View().substr(0, path.View().rfind('/') + 1);
}

std::string_view NamePart(const KorString& path) {
  return path.View().substr(FolderPart(path).size());
}

// Sixteen hexadecimal digits; empty when the system gives no random bytes.
std::string RandomName() {
  uint64_t number = 0;
  if (getentropy(&number, sizeof(number)) != 0) return {};
  std::string digits;
  for (int shift = 60; shift >= 0; shift -= 4) digits += "0123456789abcdef"[(number >> shift) & 15];
  return digits;
}

}  // namespace

void SyncFolderOf(const KorString& path) {
  KorString folder(FolderPart(path));
  if (folder.IsEmpty()) folder = ".";
  const int descriptor = open(folder.CStr(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const bool synced = descriptor != -1 && FileSync(descriptor);
  if (!synced) {
    KorFrameworkLog().WarningWithNL("%S: cannot synchronise the folder: %s", folder,
                                    std::strerror(errno));
  }
  if (descriptor != -1) close(descriptor);
}

KorAtomicFile::KorAtomicFile(const KorString& target) : path(target) {
  const std::string_view name = NamePart(path);
  if (!PathIsUsable(path)) {
    Fail("cannot create");
  } else if (name.empty() || name == "." || name == "..") {
    errno = EISDIR;
    Fail("cannot create");
  } else if (FileIsSpecial(path)) {
    error.Printf("%S: cannot replace: not a regular file", path);
  } else if (!CreateTemporary(KorString(name) + ".") &&
             // A name that is as long as the system allows leaves no room for what is added to it.
             !(errno == ENAMETOOLONG && CreateTemporary(KorString()))) {
    Fail("cannot create a temporary file");
  } else {
    buffer.reserve(kBufferSize);
  }
}

KorAtomicFile::~KorAtomicFile() {
  Discard();
}

bool KorAtomicFile::CreateTemporary(const KorString& stem) {
  for (int attempt = 0; attempt < kNameAttempts; ++attempt) {
    const std::string random = RandomName();
    if (random.empty()) return false;
    const KorString candidate(std::string(FolderPart(path)) + "." + stem.Str() + random + ".tmp");
    descriptor =
        open(candidate.CStr(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kFileMode);
    if (descriptor != -1) {
      temporaryPath = candidate;
      return true;
    }
    if (errno == EINTR) continue;
    if (errno != EEXIST) return false;
  }
  return false;
}

void KorAtomicFile::Write(std::string_view bytes) {
  if (descriptor == -1) return;
  if (buffer.size() + bytes.size() > kBufferSize) Flush();
  if (bytes.size() < kBufferSize) {
    buffer += bytes;
  } else if (descriptor != -1 && !FileWrite(descriptor, bytes.data(), bytes.size())) {
    Fail("cannot write");
  }
}

bool KorAtomicFile::Commit() {
  Flush();
  if (descriptor == -1) return false;
  if (!FileSync(descriptor)) {
    Fail("cannot write to disk");
    return false;
  }
  const int finished = descriptor;
  descriptor = -1;
  if (close(finished) != 0 && errno != EINTR) {
    Fail("cannot close");
    return false;
  }
  if (rename(temporaryPath.CStr(), path.CStr()) != 0) {
    Fail("cannot replace");
    return false;
  }
  temporaryPath.Clear();
  SyncFolderOf(path);
  return true;
}

void KorAtomicFile::Flush() {
  if (descriptor == -1) return;
  if (!FileWrite(descriptor, buffer.data(), buffer.size())) Fail("cannot write");
  buffer.clear();
}

void KorAtomicFile::Fail(const char* what) {
  error.Printf("%S: %s: %s", path, what, std::strerror(errno));
  Discard();
}

void KorAtomicFile::Discard() {
  if (descriptor != -1) close(descriptor);
  descriptor = -1;
  if (!temporaryPath.IsEmpty()) unlink(temporaryPath.CStr());
  temporaryPath.Clear();
}
