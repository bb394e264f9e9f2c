#include "agent/service_notify.h"

#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <time.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

namespace agent {
namespace {

// False when the name does not fit.
bool FillAddress(std::string_view name, sockaddr_un& address, socklen_t& length) {
  if (name.size() < 2 || name.size() >= sizeof(address.sun_path)) return false;
  if (name.front() != '/' && name.front() != '@') return false;
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, name.data(), name.size());
  if (name.front() == '@') address.sun_path[0] = '\0';
  length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
  return true;
}

}  // namespace

bool NotifyServiceManager(std::string_view text) {
  const char* const name = getenv("NOTIFY_SOCKET");
  if (name == nullptr) return true;
  sockaddr_un address = {};
  socklen_t length = 0;
  if (!FillAddress(name, address, length)) return false;
  const int descriptor = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
  if (descriptor == -1) return false;
  const ssize_t sent = sendto(descriptor, text.data(), text.size(), MSG_NOSIGNAL,
                              reinterpret_cast<const sockaddr*>(&address), length);
  close(descriptor);
  return sent == static_cast<ssize_t>(text.size());
}

bool NotifyReloading() {
  timespec now = {};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const uint64_t microseconds =
      static_cast<uint64_t>(now.tv_sec) * 1'000'000 + static_cast<uint64_t>(now.tv_nsec) / 1'000;
  return NotifyServiceManager("RELOADING=1\nMONOTONIC_USEC=" + std::to_string(microseconds));
}

bool IsUnderServiceManager() {
  return getenv("NOTIFY_SOCKET") != nullptr || getenv("JOURNAL_STREAM") != nullptr;
}

}  // namespace agent
