#include "agent/service_notify.h"

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <string>

#include "support/temporary_folder.h"

namespace agent {
namespace {

// Stands for the service manager. A name that begins with "@" is an abstract one.
class ServiceManager {
 public:
  explicit ServiceManager(const std::string& name)
      : descriptor(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, name.data(), name.size());
    if (name[0] == '@') address.sun_path[0] = '\0';
    const auto length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
    bound = bind(descriptor, reinterpret_cast<const sockaddr*>(&address), length) == 0;
    setenv("NOTIFY_SOCKET", name.c_str(), 1);
  }
  ~ServiceManager() {
    unsetenv("NOTIFY_SOCKET");
    close(descriptor);
  }
  ServiceManager(const ServiceManager&) = delete;
  ServiceManager& operator=(const ServiceManager&) = delete;

  bool IsBound() const { return bound; }

  // The next datagram; empty when there is none.
  std::string Receive() const {
    std::array<char, 4096> text = {};
    const ssize_t count = recv(descriptor, text.data(), text.size(), 0);
    return {text.data(), count < 0 ? 0 : static_cast<size_t>(count)};
  }

 private:
  int descriptor;
  bool bound = false;
};

// A socket's address is short: the folder of the tests may be too long for one.
std::string ShortPath() {
  return "/tmp/kor-notify-" + std::to_string(getpid());
}

TEST(ServiceNotify, TextArrivesAtASocketWithAPath) {
  const std::string path = ShortPath();
  const ServiceManager manager(path);
  ASSERT_TRUE(manager.IsBound());
  EXPECT_TRUE(NotifyServiceManager("READY=1"));
  EXPECT_EQ("READY=1", manager.Receive());
  unlink(path.c_str());
}

TEST(ServiceNotify, TextArrivesAtAnAbstractSocket) {
  const ServiceManager manager("@kor-notify-" + std::to_string(getpid()));
  ASSERT_TRUE(manager.IsBound());
  EXPECT_TRUE(NotifyServiceManager("STOPPING=1"));
  EXPECT_EQ("STOPPING=1", manager.Receive());
}

TEST(ServiceNotify, ReloadingComesWithTheTimeInMicroseconds) {
  const ServiceManager manager("@kor-notify-" + std::to_string(getpid()));
  EXPECT_TRUE(NotifyReloading());
  const std::string text = manager.Receive();
  const std::string start = "RELOADING=1\nMONOTONIC_USEC=";
  ASSERT_EQ(0U, text.find(start)) << text;
  EXPECT_EQ(std::string::npos, text.find_first_not_of("0123456789", start.size()));
  EXPECT_LT(start.size(), text.size());
}

TEST(ServiceNotify, WithoutAServiceManagerThereIsNothingToDo) {
  unsetenv("NOTIFY_SOCKET");
  EXPECT_TRUE(NotifyServiceManager("READY=1"));
}

TEST(ServiceNotify, NameThatIsNoneOrNobodysIsAFailure) {
  for (const std::string& name :
       {std::string("relative"), std::string(), std::string("/nobody/listens/here"),
        "/" + std::string(200, 'x')}) {
    setenv("NOTIFY_SOCKET", name.c_str(), 1);
    EXPECT_FALSE(NotifyServiceManager("READY=1")) << name;
  }
  unsetenv("NOTIFY_SOCKET");
}

}  // namespace
}  // namespace agent
