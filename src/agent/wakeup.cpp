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
#include <utility>

#include "kor/debug.h"

namespace agent {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kWithoutWatch = std::chrono::minutes(1);
constexpr milliseconds kWithoutCalls = std::chrono::seconds(1);
constexpr milliseconds kLongestSleep = std::chrono::hours(24);

milliseconds TimeTo(Wakeup::Time time) {
  using std::chrono::ceil;
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
  watched = folder;
  WatchAnew();
}

// The watch is on what has been found at the path, wherever that goes. True when it is on something
// new.
bool Wakeup::WatchAnew() {
  if (watched.IsEmpty()) return false;
  if (!watches.IsOpen()) watches = Descriptor(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  constexpr uint32_t kEvents =
      IN_MOVED_TO | IN_CLOSE_WRITE | IN_MOVE_SELF | IN_DELETE_SELF | IN_ONLYDIR;
  const int before = std::exchange(watch, -1);
  if (watches.IsOpen()) watch = inotify_add_watch(watches.Get(), watched.CStr(), kEvents);
  if (watch != -1) {
    loggedFailure.Reset();
  } else if (const KorString reason(std::strerror(errno)); loggedFailure.IsNew(reason)) {
    KorFrameworkLog().WarningWithNL(
        "The folder '%S' cannot be watched (%S): it is looked at once a minute", watched, reason);
  }
  if (before != -1 && before != watch) inotify_rm_watch(watches.Get(), before);
  return watch != -1 && watch != before;
}

void Wakeup::Wake() {
  const uint64_t one = 1;
  // It fails only when it has been called as often as can be counted: then it is awake.
  [[maybe_unused]] const ssize_t written = write(calls.Get(), &one, sizeof(one));
}

void Wakeup::Sleep(std::optional<Time> until) {
  if (WatchAnew()) return;
  const bool isUnwatched = !watched.IsEmpty() && watch == -1;
  const milliseconds longest = isUnwatched ? std::min(longestSleep, kWithoutWatch) : longestSleep;
  const milliseconds time = std::min(until ? TimeTo(*until) : longest, longest);
  std::array<pollfd, 2> sources = {pollfd{calls.Get(), POLLIN, 0},
                                   pollfd{watches.Get(), POLLIN, 0}};
  // Without a watch, the second descriptor is -1, which poll() ignores.
  if (poll(sources.data(), sources.size(), static_cast<int>(time.count())) <= 0) return;
  if (sources[0].revents != 0) Empty(calls.Get());
  if (sources[1].revents != 0) Empty(watches.Get());
}

}  // namespace agent
