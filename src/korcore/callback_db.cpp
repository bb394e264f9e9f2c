#include "korcore/callback_db.h"

#include "kor/debug.h"
#include "kor/mutex.h"
#include "korcore/action_db.h"
#include "korcore/host_worker.h"

namespace {

struct Subscription {
  KorString event;
  KorString signature;
  KorString target;
  KorString action;

  bool Is(const Subscription& other) const {
    return event == other.event && signature == other.signature && target == other.target;
  }
};

struct Subscriptions {
  KorMutex mutex;
  std::vector<Subscription> list KOR_GUARDED_BY(mutex);

  std::vector<Subscription> Of(const KorString& event) KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    std::vector<Subscription> found;
    for (const Subscription& subscription : list) {
      if (subscription.event == event) found.push_back(subscription);
    }
    return found;
  }
};

Subscriptions& TheSubscriptions() {
  static Subscriptions subscriptions;
  return subscriptions;
}

void Deliver(const Subscription& subscription, KorContainer parameters) {
  const uint32_t result =
      ActionDbInvokeContainer(subscription.target, subscription.action, parameters, 0, -1, -1, 0);
  KorFrameworkLog().DetailWithNL("The event '%S' was delivered to '%S' (result %u)",
                                 subscription.event, subscription.action, result);
}

}  // namespace

uint32_t CallbackDbRegisterAction(const KorString& event, const KorString& actionSignature,
                                  const KorString& target, int) {
  ActionDescription description;
  if (!ActionDbParseSignature(actionSignature, description)) return ACTIONDB_ERROR_BADPARAM;
  const Subscription added{event, actionSignature, target, description.name};
  Subscriptions& subscriptions = TheSubscriptions();
  KorMutexLock lock(subscriptions.mutex);
  for (const Subscription& present : subscriptions.list) {
    if (present.Is(added)) return ACTIONDB_ERROR_ACTIONDUPLICATE;
  }
  subscriptions.list.push_back(added);
  return ACTIONDB_ERROR_SUCCESS;
}

uint32_t CallbackDbDeleteAction(const KorString& event, const KorString& actionSignature,
                                const KorString& target) {
  const Subscription removed{event, actionSignature, target, KorString()};
  Subscriptions& subscriptions = TheSubscriptions();
  KorMutexLock lock(subscriptions.mutex);
  const size_t count = std::erase_if(
      subscriptions.list, [&removed](const Subscription& present) { return present.Is(removed); });
  return count > 0 ? ACTIONDB_ERROR_SUCCESS : ACTIONDB_ERROR_ACTIONNOTFOUND;
}

std::vector<KorString> CallbackDbActions(const KorString& event) {
  std::vector<KorString> actions;
  for (const Subscription& subscription : TheSubscriptions().Of(event)) {
    actions.push_back(subscription.action);
  }
  return actions;
}

void CallbackDbRaise(const KorString& event, const KorContainer& parameters) {
  for (const Subscription& subscription : TheSubscriptions().Of(event)) {
    HostWorkerQueue([subscription, parameters] { Deliver(subscription, parameters); });
  }
}
