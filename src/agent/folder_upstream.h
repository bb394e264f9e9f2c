// Deliveries into a folder: <id>.data and <id>.json (docs/upstream.md).

#pragma once

#include <cstdint>

#include "agent/upstream.h"

namespace agent {

class FolderUpstream : public Upstream {
 public:
  // What is in the folder takes no more bytes than the limit; what comes then has to wait.
  FolderUpstream(const KorString& targetFolder, uint64_t byteLimit)
      : folder(targetFolder), limit(byteLimit) {}

  DeliveryResult Deliver(const QueuedItem& item) override;

  // A folder has nothing for the device: there is the inbox folder for that.
  Result<std::vector<InboxEntry>> ListInbox() override;
  Result<void> FetchInboxFile(const InboxEntry& entry, const KorString& target) override;
  Result<void> Acknowledge(const std::string& id, const KorString& reasonOfRefusal) override;

  void Abort() override {}

 private:
  const KorString folder;
  const uint64_t limit;
};

}  // namespace agent
