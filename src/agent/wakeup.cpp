#include "agent/wakeup.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstring>

#include "kor/debug.h"

namespace agent {
namespace {

constexpr std::chrono::milliseconds kWithoutWatch = std::chrono::minutes(1);
constexpr std::chrono::milliseconds kWithoutCalls = std::chrono::seconds(1);
constexpr std::chrono::milliseconds kLongestSleep = std::chrono::hours(24);

std::chrono::milliseconds TimeTo(Wakeup::Time time) {
  using std::chrono::ceil;
  using std::chrono::milliseconds;
  return std::max(ceil<milliseconds>(time - std::chrono::steady_clock::now()), milliseconds(0));
}

// What was told is not needed: that there was something is enough.
void Empty(int descriptor) {
  alignas(inotify_event) std::array<char, 4096> ignored;
  while (ReadSome(descriptor, ignored.data(), ignored.size()) > 0) {
  }
}

}  // namespace

Wakeup::Wakeup() : calls(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)), longestSleep(kLongestSleep) {
  if (calls.IsOpen()) return;
  longestSleep = kWithoutCalls;
  KorFrameworkLog().WarningWithNL("A thread cannot be woken (%s): it looks once a second",
                                  std::strerror(errno));
}

void Wakeup::Watch(const KorString& folder) {
  if (!folders.IsOpen()) folders = Descriptor(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  constexpr uint32_t kNewFiles = IN_MOVED_TO | IN_CLOSE_WRITE | IN_ONLYDIR;
  if (inotify_add_watch(folders.Get(), folder.CStr(), kNewFiles) != -1) return;
  longestSleep = std::min(longestSleep, kWithoutWatch);
  KorFrameworkLog().WarningWithNL(
      "The folder '%S' cannot be watched (%s): it is looked at once a minute", folder,
      std::strerror(errno));
}

void Wakeup::Wake() {
  const uint64_t one = 1;
  // It fails only when it has been called as often as can be counted: then it is awake.
  [[maybe_unused]] const ssize_t written = write(calls.Get(), &one, sizeof(one));
}

void Wakeup::Sleep(std::optional<Time> until) {
  const std::chrono::milliseconds time =
      std::min(until ? TimeTo(*until) : longestSleep, longestSleep);
  std::array<pollfd, 2> sources = {pollfd{calls.Get(), POLLIN, 0},
                                   pollfd{folders.Get(), POLLIN, 0}};
  // Without a watch, the second descriptor is -1, which poll() ignores.
  if (poll(sources.data(), sources.size(), static_cast<int>(time.count())) <= 0) return;
  if (sources[0].revents != 0) Empty(calls.Get());
  if (sources[1].revents != 0) Empty(folders.Get());
}

}  // namespace agent
