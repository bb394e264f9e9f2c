// The neighbour that carries actions to the server, whenever it can be reached.

#pragma once

#include <functional>

#include "agent/delivery_queue.h"
#include "kor/container.h"

namespace agent {

// While it lives, answers the action "AsynchronousActionsCall": the call is put into the queue. 0
// only when it is durable there; 13 when ActionName or TargetsAsString is missing or a parameter is
// of the wrong type; 1 when it cannot be accepted, with the reason in the log.
class AsyncActions {
 public:
  // The queue must outlive the object; `added` is called after each call that was accepted.
  AsyncActions(DeliveryQueue& actionQueue, std::function<void()> added);
  ~AsyncActions();
  AsyncActions(const AsyncActions&) = delete;
  AsyncActions& operator=(const AsyncActions&) = delete;

 private:
  uint32_t Call(const KorContainer& parameters);

  DeliveryQueue& queue;
  const std::function<void()> onAdded;
};

}  // namespace agent
