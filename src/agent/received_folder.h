// Where the files of inbound items are while their actions run.

#pragma once

#include "agent/inbound_item.h"
#include "agent/result.h"
#include "kor/string.h"

namespace agent {

// The agent's own: what has been checked here is what the modules read. One thread at a time.
class ReceivedFolder {
 public:
  // Removes what an earlier process has left there: whoever gave it still has it.
  explicit ReceivedFolder(const KorString& ownFolder);

  // Where to put a file of that name. The folder is created when it is needed.
  Result<KorString> PathFor(const KorString& name) const;

  // Hands the item out with the file at that path, if it is not empty, and removes the file.
  static InboundOutcome HandOut(InboundDispatcher& dispatcher, const InboundItem& item,
                                const KorString& path);

 private:
  const KorString folder;
};

}  // namespace agent
