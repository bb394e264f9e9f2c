#include "agent/stop_signal.h"

#include <signal.h>

#include <atomic>

namespace agent {
namespace {

std::atomic<int> received = 0;
static_assert(std::atomic<int>::is_always_lock_free, "set by a signal handler");

void Note(int number) {
  received.store(number);
}

void SetHandler(void (*handler)(int), int flags) {
  struct sigaction action = {};
  action.sa_handler = handler;
  action.sa_flags = flags;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

}  // namespace

StopSignal::StopSignal() {
  received.store(0);
  SetHandler(Note, SA_RESTART | static_cast<int>(SA_RESETHAND));
}

StopSignal::~StopSignal() {
  SetHandler(SIG_DFL, 0);
}

int StopSignal::Received() {
  return received.load();
}

}  // namespace agent
