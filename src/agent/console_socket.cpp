#include "agent/console_socket.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace agent {
namespace {

constexpr int kWaitingConnections = 64;

Failure Complaint(const char* what, const KorString& folder, int error) {
  Failure failure;
  failure.reason.Printf("the console '%S%s' %s: %s", folder, kConsoleSocketName, what,
                        std::strerror(error));
  return failure;
}

// The address of the console by way of the open folder, which keeps it short.
sockaddr_un AddressIn(const Descriptor& folder) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  const std::string path =
      "/proc/self/fd/" + std::to_string(folder.Get()) + "/" + kConsoleSocketName;
  std::strncpy(address.sun_path, path.c_str(), sizeof(address.sun_path) - 1);
  return address;
}

Descriptor OpenFolder(const KorString& folder) {
  return Descriptor(open(folder.CStr(), O_PATH | O_DIRECTORY | O_CLOEXEC));
}

}  // namespace

Result<Descriptor> ListenAtConsole(const KorString& folder) {
  const Descriptor place = OpenFolder(folder);
  if (!place.IsOpen()) return Complaint("cannot be created", folder, errno);
  Descriptor listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!listener.IsOpen()) return Complaint("cannot be created", folder, errno);
  if (unlinkat(place.Get(), kConsoleSocketName, 0) != 0 && errno != ENOENT) {
    return Complaint("left by an earlier agent cannot be removed", folder, errno);
  }
  // The mode of an unbound socket is the one that its file is created with. Nobody can connect
  // before it listens, and by then the file has been checked.
  const sockaddr_un address = AddressIn(place);
  struct stat status = {};
  if (fchmod(listener.Get(), S_IRUSR | S_IWUSR) != 0 ||
      bind(listener.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
      fchmodat(place.Get(), kConsoleSocketName, S_IRUSR | S_IWUSR, 0) != 0 ||
      fstatat(place.Get(), kConsoleSocketName, &status, AT_SYMLINK_NOFOLLOW) != 0 ||
      listen(listener.Get(), kWaitingConnections) != 0) {
    return Complaint("cannot be created", folder, errno);
  }
  if (!S_ISSOCK(status.st_mode) || (status.st_mode & 0777) != (S_IRUSR | S_IWUSR)) {
    return Complaint("cannot be kept private", folder, EPERM);
  }
  return listener;
}

Result<Descriptor> ConnectToConsole(const KorString& folder) {
  const Descriptor place = OpenFolder(folder);
  if (!place.IsOpen()) return Complaint("cannot be reached", folder, errno);
  Descriptor connection(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!connection.IsOpen()) return Complaint("cannot be reached", folder, errno);
  const sockaddr_un address = AddressIn(place);
  if (connect(connection.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)) !=
      0) {
    return Complaint("cannot be reached", folder, errno);
  }
  return connection;
}

void RemoveConsole(const KorString& folder) {
  // What stays behind is replaced by the next agent.
  static_cast<void>(unlink((folder + kConsoleSocketName).CStr()));
}

ConsolePeer PeerOf(int connection) {
  ucred credentials = {};
  socklen_t length = sizeof(credentials);
  if (getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &credentials, &length) != 0) return {};
  return {credentials.uid, credentials.pid};
}

bool MayUseConsole(const ConsolePeer& peer, uid_t ownUser) {
  return peer.user == 0 || peer.user == ownUser;
}

}  // namespace agent
