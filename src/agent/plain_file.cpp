#include "agent/plain_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <vector>

#include "kor/atomic_file.h"
#include "kor/file.h"

namespace agent {
namespace {

constexpr size_t kChunk = 64 * 1024;

Failure WhyNot(const KorString& path, const char* reason) {
  Failure failure;
  failure.reason.Printf("'%S' cannot be read: %s", path, reason);
  return failure;
}

// A lack of descriptors or of memory says nothing of the file, which must not be taken for damaged.
void ThrowIfItIsNotTheFile(const KorString& path, int error) {
  if (error != EMFILE && error != ENFILE && error != ENOMEM) return;
  throw std::runtime_error(path.Str() + ": " + std::strerror(error));
}

}  // namespace

Descriptor::~Descriptor() {
  if (descriptor != -1) close(descriptor);
}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
  std::swap(descriptor, other.descriptor);
  return *this;
}

Result<PlainFile> OpenPlainFile(const KorString& path) {
  errno = ENOENT;
  const int opened =
      PathIsUsable(path) ? open(path.CStr(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC) : -1;
  if (opened == -1) {
    ThrowIfItIsNotTheFile(path, errno);
    return WhyNot(path, errno == ELOOP ? "it is a link" : std::strerror(errno));
  }
  PlainFile file{Descriptor(opened)};
  struct stat status;
  if (fstat(opened, &status) != 0) return WhyNot(path, std::strerror(errno));
  if (!S_ISREG(status.st_mode)) return WhyNot(path, "it is not a plain file");
  file.size = static_cast<uint64_t>(status.st_size);
  return file;
}

int64_t ReadSome(int descriptor, char* buffer, size_t length) {
  ssize_t count = 0;
  do {
    count = read(descriptor, buffer, length);
  } while (count == -1 && errno == EINTR);
  return count;
}

Result<std::string> ReadPlainFile(const KorString& path, size_t limit) {
  const Result<PlainFile> file = OpenPlainFile(path);
  if (!file.IsOk()) return Failure{file.Reason()};
  std::string content;
  std::vector<char> chunk(kChunk);
  while (content.size() <= limit) {
    const int64_t count = ReadSome(file.Value().descriptor.Get(), chunk.data(), chunk.size());
    if (count == -1) return WhyNot(path, std::strerror(errno));
    if (count == 0) return content;
    content.append(chunk.data(), static_cast<size_t>(count));
  }
  return WhyNot(path, "it is too long");
}

Result<uint64_t> CopyToFile(const PlainFile& source, const KorString& target, uint64_t limit) {
  KorAtomicFile file(target);
  std::vector<char> chunk(kChunk);
  uint64_t copied = 0;
  while (file.Error().IsEmpty()) {
    const int64_t count = ReadSome(source.descriptor.Get(), chunk.data(), chunk.size());
    if (count == -1) {
      return Failure{KorString(std::string("it cannot be read: ") + std::strerror(errno))};
    }
    if (count == 0) break;
    copied += static_cast<uint64_t>(count);
    if (copied > limit) return Failure{"there is no room for it"};
    file.Write(std::string_view(chunk.data(), static_cast<size_t>(count)));
  }
  if (!file.Commit()) return Failure{file.Error()};
  return copied;
}

}  // namespace agent
