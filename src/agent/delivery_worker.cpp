#include "agent/delivery_worker.h"

#include <algorithm>
#include <ctime>
#include <exception>
#include <utility>

#include "kor/debug.h"
#include "kor/reason.h"

namespace agent {
namespace {

using std::chrono::steady_clock;

// How long to trust the clock on the wall, which may be set or run on while the machine is asleep.
constexpr std::chrono::seconds kLongestWindowSleep = std::chrono::minutes(15);
constexpr std::chrono::seconds kOtherDeliversSleep = std::chrono::minutes(1);

}  // namespace

DeliveryWorker::DeliveryWorker(DeliveryQueue& deliveryQueue, std::unique_ptr<Upstream> server,
                               const TransferWindows& transferWindows,
                               const RetryLimits& retryLimits)
    : queue(deliveryQueue),
      upstream(std::move(server)),
      windows(transferWindows),
      backoff(retryLimits) {}

DeliveryWorker::~DeliveryWorker() {
  Stop();
}

void DeliveryWorker::Start() {
  const Result<void> prepared = queue.Refresh();
  if (!prepared.IsOk()) TellUnusable(prepared.Reason());
  wakeup.Watch(queue.Folder());
  const KorMutexLock lock(mutex);
  state = State::kBusy;
  ++wakes;
  thread = std::thread([this] { Run(); });
}

void DeliveryWorker::Wake() {
  const KorMutexLock lock(mutex);
  ++wakes;
  wakeup.Wake();
}

void DeliveryWorker::Stop() {
  stopping = true;
  upstream->Abort();
  wakeup.Wake();
  std::thread ending;
  {
    const KorMutexLock lock(mutex);
    ending = std::move(thread);
    changed.NotifyAll();
  }
  if (ending.joinable()) ending.join();
}

void DeliveryWorker::Run() {
  while (!stopping) {
    std::optional<Wakeup::Time> until;
    try {
      until = Step();
    } catch (const std::exception& error) {
      KorFrameworkLog().ErrorWithNL("The delivery from '%S' failed: %s", queue.Folder(),
                                    KorReasonOf(error));
      SetState(State::kRetrying);
      until = nextAttempt = steady_clock::now() + backoff.Next();
    }
    if (!stopping) wakeup.Sleep(until);
  }
}

std::optional<Wakeup::Time> DeliveryWorker::Step() {
  {
    const KorMutexLock lock(mutex);
    wakesSeen = wakes;
    state = State::kBusy;
  }
  // The processes that do not deliver have nothing to look at in the meantime.
  const Result<bool> delivers = queue.BecomeDeliverer();
  if (!delivers.IsOk()) return LookLater(delivers.Reason());
  if (!delivers.Value()) {
    SetState(State::kOtherDelivers);
    return steady_clock::now() + kOtherDeliversSleep;
  }
  const Result<void> refreshed = queue.Refresh();
  if (!refreshed.IsOk()) return LookLater(refreshed.Reason());
  if (steady_clock::now() < nextAttempt) {
    SetState(State::kRetrying);
    return nextAttempt;
  }
  const time_t now = std::time(nullptr);
  const bool isOpen = windows.IsOpen(now);
  const std::optional<QueuedItem> item = queue.Peek(!isOpen);
  if (item) {
    DeliverOne(*item);
    return steady_clock::now();
  }
  if (queue.Count() == 0) {
    ForgetFailure();
    SetState(State::kIdle);
    return std::nullopt;
  }
  SetState(State::kWaitingForWindow);
  const std::chrono::seconds wait(windows.NextOpening(now) - now);
  return steady_clock::now() + std::min(wait, kLongestWindowSleep);
}

void DeliveryWorker::DeliverOne(const QueuedItem& item) {
  DeliveryResult result = upstream->Deliver(item);
  if (stopping && result.verdict != DeliveryResult::Verdict::kDelivered) return;
  Result<void> removed;
  if (result.verdict == DeliveryResult::Verdict::kDelivered) {
    KorFrameworkLog().DetailWithNL("Delivered %s", item.id);
    removed = queue.Done(item.id);
  } else if (result.verdict == DeliveryResult::Verdict::kRefused) {
    KorFrameworkLog().WarningWithNL("The delivery %s was refused: %S; it is kept in '%S/parked'",
                                    item.id, result.reason, queue.Folder());
    removed = queue.Park(item.id, result.reason);
  } else {
    return HoldUp(item, result);
  }
  if (!removed.IsOk()) return HoldUp(item, {DeliveryResult::Verdict::kRetry, removed.Reason()});
  ForgetFailure();
}

void DeliveryWorker::TellUnusable(const KorString& reason) {
  SetFailure(reason);
  if (!loggedFailure.IsNew(reason)) return;
  KorFrameworkLog().ErrorWithNL("Nothing can be delivered from '%S': %S", queue.Folder(), reason);
}

Wakeup::Time DeliveryWorker::LookLater(const KorString& reason) {
  TellUnusable(reason);
  SetState(State::kRetrying);
  return steady_clock::now() + backoff.Next();
}

void DeliveryWorker::ForgetFailure() {
  backoff.Reset();
  loggedFailure.Reset();
  SetFailure(KorString());
}

void DeliveryWorker::HoldUp(const QueuedItem& item, const DeliveryResult& result) {
  const std::chrono::milliseconds wait = backoff.Next(result.retryAfter);
  nextAttempt = steady_clock::now() + wait;
  const auto seconds = static_cast<unsigned long>((wait.count() + 999) / 1000);
  // A server that is away for days must not fill the log.
  if (loggedFailure.IsNew(result.reason)) {
    KorFrameworkLog().DetailWithNL("The delivery %s has to wait %gu s: %S", item.id, seconds,
                                   result.reason);
  } else {
    KorFrameworkLog().TraceWithNL("The delivery %s has to wait %gu s more: %S", item.id, seconds,
                                  result.reason);
  }
  SetFailure(result.reason);
}

void DeliveryWorker::SetState(State newState) {
  const KorMutexLock lock(mutex);
  state = newState;
  changed.NotifyAll();
}

void DeliveryWorker::SetFailure(const KorString& reason) {
  const KorMutexLock lock(mutex);
  failure = reason;
}

bool DeliveryWorker::MayChangeSoon() {
  if (stopping || !thread.joinable()) return false;
  return wakesSeen != wakes || state == State::kBusy || state == State::kRetrying;
}

size_t DeliveryWorker::DrainFor(std::chrono::milliseconds time) {
  const Wakeup::Time end = steady_clock::now() + time;
  {
    const KorMutexLock lock(mutex);
    while (MayChangeSoon() && changed.WaitUntil(mutex, end)) {
    }
  }
  return queue.Count();
}

KorString DeliveryWorker::LastFailure() {
  const KorMutexLock lock(mutex);
  return failure;
}

}  // namespace agent
