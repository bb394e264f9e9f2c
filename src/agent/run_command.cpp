#include "agent/run_command.h"

#include <signal.h>
#include <sys/signalfd.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "agent/exit_code.h"
#include "agent/home.h"
#include "agent/host_options.h"
#include "agent/machine_choice.h"
#include "agent/plain_file.h"
#include "agent/service.h"
#include "agent/service_notify.h"
#include "agent/terminal_log.h"
#include "kor/debug.h"

namespace agent {
namespace {

// The signals that the service understands, taken one after another instead of interrupting it.
// Made before there are other threads, which then don't get them either.
class Signals {
 public:
  Signals() {
    sigset_t understood;
    sigemptyset(&understood);
    for (const int number : {SIGTERM, SIGINT, SIGHUP}) sigaddset(&understood, number);
    pthread_sigmask(SIG_BLOCK, &understood, nullptr);
    descriptor = Descriptor(signalfd(-1, &understood, SFD_CLOEXEC));
  }

  // The number of the next one; 0 when there is no way to wait.
  int Wait() const {
    signalfd_siginfo received = {};
    for (;;) {
      const ssize_t count = read(descriptor.Get(), &received, sizeof(received));
      if (count == sizeof(received)) return static_cast<int>(received.ssi_signo);
      if (count < 0 && errno == EINTR) continue;
      return 0;
    }
  }

  // From now on they have their usual effect on the process.
  static void LetThrough() {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int number : {SIGTERM, SIGINT}) sigaddset(&ending, number);
    pthread_sigmask(SIG_UNBLOCK, &ending, nullptr);
  }

 private:
  Descriptor descriptor;
};

// The manager of services keeps what goes to standard error; the whole log is in the file.
KorLogLevel TerminalLevel(const CommonOptions& common) {
  if (common.isLogLevelGiven || IsUnderServiceManager()) return common.logLevel;
  return KorLogLevel::kPrint;
}

void Notify(const char* state) {
  if (NotifyServiceManager(state)) return;
  KorFrameworkLog().WarningWithNL("The service manager cannot be told '%s'", state);
}

void Serve(Service& service, const Signals& signals) {
  for (;;) {
    const int number = signals.Wait();
    if (number != SIGHUP) {
      KorFrameworkLog().PrintWithNL("The agent ends (signal %d)", number);
      Notify("STOPPING=1");
      return;
    }
    if (!NotifyReloading()) KorFrameworkLog().WarningWithNL("The service manager cannot be told");
    service.Reload();
    Notify("READY=1");
  }
}

int Fail(const KorString& reason) {
  Complain(reason);
  return kExitNotStarted;
}

}  // namespace

int RunService(const CommonOptions& common, const RunOptions& options) {
  const Signals signals;
  signal(SIGPIPE, SIG_IGN);
  InventoryOptions machineOptions;
  machineOptions.replayFile = options.replayFile;
  const Result<std::unique_ptr<MachineChoice>> machine = MachineChoice::Create(machineOptions);
  if (!machine.IsOk()) return Fail(machine.Reason());
  std::optional<TemporaryHome> temporary;
  Result<HostOptions> host = HostOptionsFor(common, !options.replayFile.empty(), temporary);
  if (!host.IsOk()) return Fail(host.Reason());
  host.Value().terminal.level = TerminalLevel(common);
  host.Value().skipFailedModules = true;
  Result<std::unique_ptr<Service>> service = Service::Start(host.Value());
  if (!service.IsOk()) return Fail(service.Reason());
  KorFrameworkLog().PrintWithNL("The agent serves the home '%S'", host.Value().home);
  Notify("READY=1");
  Serve(*service.Value(), signals);
  Signals::LetThrough();
  service.Value().reset();
  return kExitOk;
}

}  // namespace agent
