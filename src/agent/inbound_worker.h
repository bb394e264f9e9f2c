// The thread that looks for what there is for this device: in the inbox folder and at the server.

#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <optional>
#include <thread>

#include "agent/backoff.h"
#include "agent/inbound_item.h"
#include "agent/inbox.h"
#include "agent/inbox_poll.h"
#include "agent/received_folder.h"
#include "agent/repeated_reason.h"
#include "agent/upstream.h"
#include "agent/wakeup.h"
#include "kor/string.h"

namespace agent {

struct InboundOptions {
  KorString inboxFolder;
  KorString receivedFolder;
  std::chrono::seconds pollInterval{0};  // 0: the server is not asked
  std::chrono::seconds patience{5};
  RetryLimits retryLimits;
};

// The modules' handlers run on the host's worker, which must be running for anything to happen.
class InboundWorker {
 public:
  InboundWorker(std::unique_ptr<Upstream> server, const InboundOptions& inboundOptions);
  ~InboundWorker();
  InboundWorker(const InboundWorker&) = delete;
  InboundWorker& operator=(const InboundWorker&) = delete;

  // Once.
  void Start();
  // What is in progress is left for the next start.
  void Stop();

 private:
  void Run();
  void Poll();
  std::optional<Wakeup::Time> Step();

  const InboundOptions options;
  const std::unique_ptr<Upstream> upstream;
  InboundDispatcher dispatcher;
  const ReceivedFolder received;
  Inbox inbox;
  InboxPoll poll;
  Backoff backoff;
  Wakeup::Time nextPoll;
  RepeatedReason loggedFailure;
  Wakeup wakeup;
  std::atomic<bool> stopping = false;
  std::thread thread;
};

}  // namespace agent
