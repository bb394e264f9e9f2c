#include "agent/local_invocation.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>

#include "agent/exit_code.h"
#include "agent/host_options.h"
#include "agent/machine_choice.h"
#include "agent/module_host.h"
#include "agent/stop_signal.h"
#include "kor/thread.h"
#include "korcore/host_worker.h"

namespace agent {
namespace {

// How often what is in progress looks for a signal.
constexpr uint32_t kSignalCheckMilliseconds = 100;
constexpr std::chrono::seconds kDeliveryTime{10};
constexpr int kIndentation = 2;

// The action on a thread that can be ended while a command hangs.
class Invocation : public KorThread {
 public:
  explicit Invocation(const InvokeRequest& invokedRequest) : request(invokedRequest) {}
  ~Invocation() override { Cancel(0, true); }
  Invocation(const Invocation&) = delete;
  Invocation& operator=(const Invocation&) = delete;

  // Once the thread has ended; empty when it was ended.
  const std::string& Answer() const { return answer; }

 protected:
  void ThreadMain() override { answer = InvokeForConsole(request); }

 private:
  const InvokeRequest request;
  std::string answer;
};

class HostWorker {
 public:
  HostWorker() { HostWorkerStart(); }
  ~HostWorker() { HostWorkerStop(); }
  HostWorker(const HostWorker&) = delete;
  HostWorker& operator=(const HostWorker&) = delete;
};

// False when a signal came first; what was in progress has then been ended.
bool WaitForEnd(Host& host, Invocation& invocation) {
  while (!KorThread::WaitUntilNoneRuns(kSignalCheckMilliseconds)) {
    if (StopSignal::Received() == 0) continue;
    invocation.Cancel(0, true);
    host.CancelRuns();
    EndWithoutThreads(kExitSignalBase + StopSignal::Received());
    return false;
  }
  return StopSignal::Received() == 0;
}

Result<ConsoleAnswer> InvokeIn(Host& host, const InvokeRequest& request) {
  const HostWorker worker;
  Invocation invocation(request);
  if (!invocation.Start()) return Failure{"no thread can be started"};
  if (!WaitForEnd(host, invocation)) return Failure{"ended by a signal"};
  // Callbacks that the action raised, and the runs that they start.
  HostWorkerDrain();
  if (!WaitForEnd(host, invocation)) return Failure{"ended by a signal"};
  const DeliveryStatus waiting = host.Delivery().Status();
  if (waiting.files + waiting.actions > 0) host.Delivery().DeliverFor(kDeliveryTime);
  return ParseConsoleAnswer(invocation.Answer(), kIndentation);
}

}  // namespace

Result<ConsoleAnswer> InvokeLocally(const CommonOptions& common, const InvokeOptions& options,
                                    const InvokeRequest& request) {
  const StopSignal stop;
  InventoryOptions machineOptions;
  machineOptions.replayFile = options.replayFile;
  const Result<std::unique_ptr<MachineChoice>> machine = MachineChoice::Create(machineOptions);
  if (!machine.IsOk()) return Failure{machine.Reason()};
  std::optional<TemporaryHome> temporary;
  const Result<HostOptions> hostOptions =
      HostOptionsFor(common, !options.replayFile.empty(), temporary);
  if (!hostOptions.IsOk()) return Failure{hostOptions.Reason()};
  const Result<std::unique_ptr<Host>> host = Host::Open(hostOptions.Value());
  if (!host.IsOk()) return Failure{host.Reason()};
  return InvokeIn(*host.Value(), request);
}

}  // namespace agent
