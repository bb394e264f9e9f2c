// The neighbours that carry things between the modules and the server.

#pragma once

#include <chrono>
#include <cstddef>
#include <memory>

#include "agent/async_actions.h"
#include "agent/delivery_queue.h"
#include "agent/delivery_worker.h"
#include "agent/file_store.h"
#include "agent/home.h"
#include "agent/inbound_worker.h"
#include "agent/settings.h"
#include "kor/mutex.h"
#include "kor/string.h"

namespace agent {

struct DeliveryStatus {
  size_t files = 0;  // that wait
  size_t actions = 0;
  size_t parked = 0;
  KorString lastFailure;  // why the oldest one waits; empty when nothing has failed
};

// Registers the file store and the asynchronous actions while it lives. What they accept waits in
// the home's data/queue until somebody delivers it: this object, once it is told to, or the next.
class Neighbours {
 public:
  Neighbours(const Home& home, const Settings& settings, const RetryLimits& retryLimits = {});
  ~Neighbours();
  Neighbours(const Neighbours&) = delete;
  Neighbours& operator=(const Neighbours&) = delete;

  // For the service: delivers from now on, watches the inbox and asks the server. The host's worker
  // (korcore/host_worker.h) must be running for what comes in.
  void StartService();

  // For a single command: delivers for that long at most. What is left stays in the queue.
  DeliveryStatus DeliverFor(std::chrono::milliseconds time);

  // Goes on with other settings. The actions are there all the while; deliveries and the watch over
  // the inbox are to be started again.
  void Reload(const Settings& newSettings);

  // Ends transfers in progress; their items stay in the queue.
  void Stop();

  DeliveryStatus Status();

 private:
  struct Workers {
    DeliveryWorker files;
    DeliveryWorker actions;
  };

  std::unique_ptr<Upstream> MakeUpstream() const;
  std::shared_ptr<Workers> MakeWorkers();
  std::shared_ptr<Workers> CurrentWorkers() KOR_EXCLUDES(mutex);
  void StartDelivery();

  const Home home;
  Settings settings;
  const RetryLimits limits;
  DeliveryQueue files;
  DeliveryQueue actions;
  KorMutex mutex;
  // Woken by actions while they are replaced.
  std::shared_ptr<Workers> workers KOR_GUARDED_BY(mutex);
  FileStore fileStore;
  AsyncActions asyncActions;
  std::unique_ptr<InboundWorker> inbound;
  bool delivering = false;
};

}  // namespace agent
