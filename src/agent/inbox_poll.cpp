#include "agent/inbox_poll.h"

#include <set>

#include "kor/debug.h"

namespace agent {

InboxPoll::InboxPoll(Upstream& server, InboundDispatcher& itemDispatcher,
                     const ReceivedFolder& receivedFolder)
    : upstream(server), dispatcher(itemDispatcher), received(receivedFolder) {}

Result<void> InboxPoll::Poll() {
  const Result<std::vector<InboxEntry>> entries = upstream.ListInbox();
  if (!entries.IsOk()) return Failure{entries.Reason()};
  std::set<std::string> listed;
  for (const InboxEntry& entry : entries.Value()) listed.insert(entry.id);
  std::erase_if(finished, [&](const auto& known) { return !listed.contains(known.first); });
  Result<void> result;
  for (const InboxEntry& entry : entries.Value()) {
    const Result<void> processed = Process(entry);
    if (!processed.IsOk()) result = processed;
  }
  return result;
}

Result<void> InboxPoll::Process(const InboxEntry& entry) {
  if (!finished.contains(entry.id)) {
    const Result<InboundOutcome> outcome = Handle(entry);
    if (!outcome.IsOk()) return Failure{outcome.Reason()};
    if (outcome.Value().verdict == InboundOutcome::Verdict::kInterrupted) {
      return Failure{"the agent ends"};
    }
    finished[entry.id] = outcome.Value().reason;
  }
  const KorString& reason = finished[entry.id];
  const Result<void> acknowledged = upstream.Acknowledge(entry.id, reason);
  if (!acknowledged.IsOk()) return acknowledged;
  if (reason.IsEmpty()) {
    KorFrameworkLog().DetailWithNL("The server's item %s was taken", entry.id);
  } else {
    KorFrameworkLog().WarningWithNL("The server's item %s was refused: %S", entry.id, reason);
  }
  return {};
}

Result<InboundOutcome> InboxPoll::Handle(const InboxEntry& entry) {
  const Result<InboundItem> item = ParseInboundItem(entry.item);
  if (!item.IsOk()) return InboundOutcome{InboundOutcome::Verdict::kRefused, item.Reason()};
  if (item.Value().file.IsEmpty()) return dispatcher.Dispatch(item.Value(), KorString());
  const Result<KorString> path = received.PathFor(KorString(entry.id));
  if (!path.IsOk()) return Failure{path.Reason()};
  const Result<void> fetched = upstream.FetchInboxFile(entry, path.Value());
  if (!fetched.IsOk()) return Failure{fetched.Reason()};
  return ReceivedFolder::HandOut(dispatcher, item.Value(), path.Value());
}

}  // namespace agent
