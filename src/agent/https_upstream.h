// Deliveries to a server and what it has for this device, over https (docs/upstream.md).

#pragma once

#include "agent/http_client.h"
#include "agent/upstream.h"

namespace agent {

class HttpsUpstream : public Upstream {
 public:
  // The URL as CheckServerUrl() gives it.
  HttpsUpstream(const KorString& serverUrl, const HttpSettings& httpSettings)
      : url(serverUrl), client(httpSettings) {}

  DeliveryResult Deliver(const QueuedItem& item) override;
  Result<std::vector<InboxEntry>> ListInbox() override;
  Result<void> FetchInboxFile(const InboxEntry& entry, const KorString& target) override;
  Result<void> Acknowledge(const std::string& id, const KorString& reasonOfRefusal) override;
  void Abort() override { client.Abort(); }

 private:
  const KorString url;
  HttpClient client;
};

}  // namespace agent
