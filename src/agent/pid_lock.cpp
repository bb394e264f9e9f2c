#include "agent/pid_lock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>

#include "agent/output.h"

namespace agent {
namespace {

Failure CannotLock(const KorString& file) {
  Failure failure;
  failure.reason.Printf("the lock '%S' cannot be taken: %s", file, std::strerror(errno));
  return failure;
}

// Empty when the holder has not written its number yet.
std::string ReadHolder(int descriptor) {
  std::array<char, 32> text = {};
  const ssize_t count = pread(descriptor, text.data(), text.size(), 0);
  std::string number;
  for (ssize_t n = 0;
       n < count && text[static_cast<size_t>(n)] >= '0' && text[static_cast<size_t>(n)] <= '9';
       ++n) {
    number += text[static_cast<size_t>(n)];
  }
  return number;
}

Failure InUse(const KorString& file, const std::string& holder) {
  Failure failure;
  failure.reason.Printf(
      "the home is in use by another kor-agent (process %s, '%S'): ask that one with 'kor-agent "
      "status' or 'kor-agent invoke', stop it, or name another --home",
      holder.empty() ? "unknown" : holder, file);
  return failure;
}

}  // namespace

Result<PidLock> PidLock::Take(const KorString& file) {
  const int descriptor = open(file.CStr(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
  if (descriptor == -1) return CannotLock(file);
  PidLock lock(descriptor);
  if (flock(descriptor, LOCK_EX | LOCK_NB) != 0) {
    Failure failure = errno == EWOULDBLOCK ? InUse(file, ReadHolder(descriptor)) : CannotLock(file);
    close(std::exchange(lock.descriptor, -1));
    return failure;
  }
  const bool emptied = ftruncate(descriptor, 0) == 0;
  if (emptied && WriteAll(descriptor, std::to_string(getpid()) + "\n").IsOk()) return lock;
  return CannotLock(file);
}

PidLock::~PidLock() {
  if (descriptor == -1) return;
  // What fails leaves a number that belongs to nobody, which is harmless without the lock.
  static_cast<void>(ftruncate(descriptor, 0) == 0);
  close(descriptor);
}

}  // namespace agent
