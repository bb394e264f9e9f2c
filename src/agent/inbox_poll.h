// What the server has for this device: asked for, fetched, handed out and acknowledged.

#pragma once

#include <map>
#include <string>

#include "agent/inbound_item.h"
#include "agent/received_folder.h"
#include "agent/result.h"
#include "agent/upstream.h"
#include "kor/string.h"

namespace agent {

// One thread at a time.
class InboxPoll {
 public:
  InboxPoll(Upstream& server, InboundDispatcher& itemDispatcher,
            const ReceivedFolder& receivedFolder);

  // Asks once and deals with all that the server has. A failure when it could not be asked, or when
  // something has to be fetched or acknowledged once more.
  Result<void> Poll();

 private:
  Result<void> Process(const InboxEntry& entry);
  Result<InboundOutcome> Handle(const InboxEntry& entry);

  Upstream& upstream;
  InboundDispatcher& dispatcher;
  const ReceivedFolder& received;
  // Dealt with, but not yet acknowledged: id and reason of the refusal. Their actions must not run
  // again only because the server does not know.
  std::map<std::string, KorString> finished;
};

}  // namespace agent
