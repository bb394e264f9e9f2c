#include "agent/inbound_worker.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "kor/debug.h"
#include "kor/reason.h"

namespace agent {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

}  // namespace

InboundWorker::InboundWorker(std::unique_ptr<Upstream> server, const InboundOptions& inboundOptions)
    : options(inboundOptions),
      upstream(std::move(server)),
      received(options.receivedFolder),
      inbox(options.inboxFolder, dispatcher, received, options.patience),
      poll(*upstream, dispatcher, received),
      backoff(options.retryLimits) {}

InboundWorker::~InboundWorker() {
  Stop();
}

void InboundWorker::Start() {
  const Result<void> prepared = inbox.Prepare();
  if (!prepared.IsOk()) KorFrameworkLog().WarningWithNL("The inbox: %S", prepared.Reason());
  wakeup.Watch(options.inboxFolder);
  thread = std::thread([this] { Run(); });
}

void InboundWorker::Stop() {
  stopping = true;
  dispatcher.Stop();
  upstream->Abort();
  wakeup.Wake();
  if (thread.joinable()) thread.join();
}

void InboundWorker::Run() {
  while (!stopping) {
    std::optional<Wakeup::Time> until;
    try {
      until = Step();
    } catch (const std::exception& error) {
      KorFrameworkLog().ErrorWithNL("Looking into the inbox failed: %s", KorReasonOf(error));
      until = steady_clock::now() + backoff.Next();
    }
    if (!stopping) wakeup.Sleep(until);
  }
}

std::optional<Wakeup::Time> InboundWorker::Step() {
  std::optional<Wakeup::Time> until;
  if (inbox.Process()) until = steady_clock::now() + options.patience;
  if (options.pollInterval.count() == 0 || stopping) return until;
  if (steady_clock::now() >= nextPoll) Poll();
  return until ? std::min(*until, nextPoll) : nextPoll;
}

void InboundWorker::Poll() {
  const Result<void> polled = poll.Poll();
  if (stopping) return;
  if (polled.IsOk()) {
    backoff.Reset();
    loggedFailure.Reset();
    nextPoll = steady_clock::now() + Jittered(options.pollInterval);
    return;
  }
  // No more often than when all is well, unless the interval is longer than any back-off.
  nextPoll = steady_clock::now() + std::min(backoff.Next(), Jittered(options.pollInterval));
  if (loggedFailure.IsNew(polled.Reason())) {
    KorFrameworkLog().DetailWithNL("The server's inbox: %S", polled.Reason());
  }
}

}  // namespace agent
