#include "agent/output.h"

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

namespace agent {

Result<void> WriteAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return Failure{std::strerror(errno)};
    bytes.remove_prefix(static_cast<size_t>(written));
  }
  return {};
}

Result<void> WriteToStandardOutput(std::string_view bytes) {
  // Not for the whole process: the commands of a scan would inherit it.
  const auto before = signal(SIGPIPE, SIG_IGN);
  Result<void> written = WriteAll(STDOUT_FILENO, bytes);
  signal(SIGPIPE, before);
  if (written.IsOk()) return written;
  return Failure{KorString("standard output cannot be written: ") + written.Reason()};
}

void OccupyStandardDescriptors() {
  for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (fcntl(descriptor, F_GETFD) != -1) continue;
    // The lowest free number is the one that is missing. Not writable where results go: nobody
    // must take a result that nobody got for written.
    const int flags = descriptor == STDOUT_FILENO ? O_RDONLY : O_RDWR;
    if (open("/dev/null", flags) == descriptor) continue;
    throw std::system_error(errno, std::generic_category(), "/dev/null cannot be opened");
  }
}

}  // namespace agent
