// The thread that brings what waits in a queue to the server.

#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <thread>

#include "agent/backoff.h"
#include "agent/delivery_queue.h"
#include "agent/repeated_reason.h"
#include "agent/transfer_windows.h"
#include "agent/upstream.h"
#include "agent/wakeup.h"
#include "kor/condition.h"
#include "kor/mutex.h"

namespace agent {

// In the queue's order, one item at a time: an item that has to be tried again later holds up those
// behind it; one that is refused is parked. Outside of the transfer windows only items that pass
// them are sent, in their order. Sleeps while there is nothing to do.
class DeliveryWorker {
 public:
  // The queue must outlive the worker.
  DeliveryWorker(DeliveryQueue& deliveryQueue, std::unique_ptr<Upstream> server,
                 const TransferWindows& transferWindows, const RetryLimits& retryLimits);
  ~DeliveryWorker();
  DeliveryWorker(const DeliveryWorker&) = delete;
  DeliveryWorker& operator=(const DeliveryWorker&) = delete;

  // Once.
  void Start() KOR_EXCLUDES(mutex);

  // Something new is in the queue. Also before Start() and after Stop().
  void Wake() KOR_EXCLUDES(mutex);

  // Ends a transfer in progress; its item stays in the queue. Returns when the thread has ended.
  void Stop() KOR_EXCLUDES(mutex);

  // Waits until everything is delivered or parked, but not for a transfer window or another process
  // that delivers, and no longer than that. The number of items that are still there.
  size_t DrainFor(std::chrono::milliseconds time) KOR_EXCLUDES(mutex);

  // Why the oldest item is still there; empty when nothing has failed.
  KorString LastFailure() KOR_EXCLUDES(mutex);

 private:
  enum class State { kBusy, kIdle, kRetrying, kWaitingForWindow, kOtherDelivers };

  void Run() KOR_EXCLUDES(mutex);
  // Until when there is nothing to do; at once when there may be more.
  std::optional<Wakeup::Time> Step() KOR_EXCLUDES(mutex);
  void DeliverOne(const QueuedItem& item) KOR_EXCLUDES(mutex);
  void HoldUp(const QueuedItem& item, const DeliveryResult& result) KOR_EXCLUDES(mutex);
  void TellUnusable(const KorString& reason) KOR_EXCLUDES(mutex);
  Wakeup::Time LookLater(const KorString& reason) KOR_EXCLUDES(mutex);
  void ForgetFailure() KOR_EXCLUDES(mutex);
  void SetState(State newState) KOR_EXCLUDES(mutex);
  void SetFailure(const KorString& reason) KOR_EXCLUDES(mutex);
  bool MayChangeSoon() KOR_REQUIRES(mutex);

  DeliveryQueue& queue;
  const std::unique_ptr<Upstream> upstream;
  const TransferWindows windows;

  // Of the thread alone.
  Backoff backoff;
  Wakeup::Time nextAttempt;
  RepeatedReason loggedFailure;

  Wakeup wakeup;
  std::atomic<bool> stopping = false;
  KorMutex mutex;
  KorCondition changed;
  std::thread thread KOR_GUARDED_BY(mutex);
  State state KOR_GUARDED_BY(mutex) = State::kIdle;
  uint64_t wakes KOR_GUARDED_BY(mutex) = 0;
  uint64_t wakesSeen KOR_GUARDED_BY(mutex) = 0;
  KorString failure KOR_GUARDED_BY(mutex);
};

}  // namespace agent
