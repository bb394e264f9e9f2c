// Subscriptions of actions to events that other modules raise.

#pragma once

#include <cstdint>
#include <vector>

#include "kor/container.h"
#include "kor/string.h"

// Subscribes the action of that signature to the event. 0 when done, ACTIONDB_ERROR_ACTIONDUPLICATE
// when that subscription exists. The trailing argument is ignored.
uint32_t CallbackDbRegisterAction(const KorString& event, const KorString& actionSignature,
                                  const KorString& target, int unused = 0);

// Removes the subscription. 0 when done, ACTIONDB_ERROR_ACTIONNOTFOUND when there was none.
uint32_t CallbackDbDeleteAction(const KorString& event, const KorString& actionSignature,
                                const KorString& target);

// Names of the actions that are subscribed to the event, in the order of subscription.
std::vector<KorString> CallbackDbActions(const KorString& event);

// Queues the event's actions, each with a copy of the parameters, on the host's worker
// (korcore/host_worker.h): never on the caller's stack.
void CallbackDbRaise(const KorString& event, const KorContainer& parameters);
