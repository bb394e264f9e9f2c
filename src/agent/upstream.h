// Where deliveries go, and where what the server has for this device comes from.

#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "agent/delivery_queue.h"
#include "agent/result.h"
#include "kor/string.h"

namespace agent {

struct DeliveryResult {
  enum class Verdict {
    kDelivered,
    kRetry,    // not now; the same again later
    kRefused,  // never: a person has to look at it
  };
  Verdict verdict = Verdict::kDelivered;
  KorString reason;
  std::chrono::seconds retryAfter{0};  // as the server asked for; 0: it did not
};

// One thing that waits at the server.
struct InboxEntry {
  std::string id;
  std::string item;  // JSON, as in the inbox folder
  std::optional<uint64_t> size;
  KorString md5;  // empty: not given
};

// Each object is used by one thread; only Abort() may come from any.
class Upstream {
 public:
  virtual ~Upstream() = default;

  // May be asked for the same id again, which then must not count twice.
  virtual DeliveryResult Deliver(const QueuedItem& item) = 0;

  virtual Result<std::vector<InboxEntry>> ListInbox() = 0;
  // Puts the entry's file there, whole or not at all.
  virtual Result<void> FetchInboxFile(const InboxEntry& entry, const KorString& target) = 0;
  // The entry has been dealt with. The reason is empty when it was taken.
  virtual Result<void> Acknowledge(const std::string& id, const KorString& reasonOfRefusal) = 0;

  // Ends what is going on, and all that comes later, at once.
  virtual void Abort() = 0;
};

}  // namespace agent
