#include "agent/neighbours.h"

#include "agent/folder_upstream.h"
#include "agent/https_upstream.h"

namespace agent {
namespace {

InboundOptions MakeInboundOptions(const Home& home, const Settings& settings,
                                  const RetryLimits& limits) {
  InboundOptions options;
  options.inboxFolder = home.DataDir() + "inbox";
  options.receivedFolder = home.DataDir() + "received";
  if (!settings.upstreamUrl.IsEmpty()) {
    options.pollInterval = std::chrono::seconds(settings.pollSeconds);
  }
  options.retryLimits = limits;
  return options;
}

}  // namespace

Neighbours::Neighbours(const Home& agentHome, const Settings& agentSettings,
                       const RetryLimits& retryLimits)
    : home(agentHome),
      settings(agentSettings),
      limits(retryLimits),
      files(home.DataDir() + "queue/files", settings.queueLimitBytes),
      actions(home.DataDir() + "queue/actions", settings.queueLimitBytes),
      workers(MakeWorkers()),
      fileStore(files, [this] { CurrentWorkers()->files.Wake(); }),
      asyncActions(actions, [this] { CurrentWorkers()->actions.Wake(); }) {}

Neighbours::~Neighbours() {
  Stop();
}

std::unique_ptr<Upstream> Neighbours::MakeUpstream() const {
  if (settings.upstreamUrl.IsEmpty()) {
    return std::make_unique<FolderUpstream>(settings.upstreamFolder, settings.queueLimitBytes);
  }
  HttpSettings http;
  http.token = settings.upstreamToken;
  http.certificate = settings.upstreamCertificate;
  http.key = settings.upstreamKey;
  http.caFile = settings.upstreamCaFile;
  return std::make_unique<HttpsUpstream>(settings.upstreamUrl, http);
}

std::shared_ptr<Neighbours::Workers> Neighbours::MakeWorkers() {
  return std::shared_ptr<Workers>(
      new Workers{{files, MakeUpstream(), settings.transferWindows, limits},
                  {actions, MakeUpstream(), settings.transferWindows, limits}});
}

std::shared_ptr<Neighbours::Workers> Neighbours::CurrentWorkers() {
  const KorMutexLock lock(mutex);
  return workers;
}

void Neighbours::Reload(const Settings& newSettings) {
  Stop();
  inbound.reset();
  delivering = false;
  settings = newSettings;
  files.SetLimit(settings.queueLimitBytes);
  actions.SetLimit(settings.queueLimitBytes);
  const std::shared_ptr<Workers> made = MakeWorkers();
  const KorMutexLock lock(mutex);
  workers = made;
}

void Neighbours::StartDelivery() {
  if (delivering) return;
  delivering = true;
  CurrentWorkers()->files.Start();
  CurrentWorkers()->actions.Start();
}

void Neighbours::StartService() {
  StartDelivery();
  if (inbound) return;
  inbound =
      std::make_unique<InboundWorker>(MakeUpstream(), MakeInboundOptions(home, settings, limits));
  inbound->Start();
}

DeliveryStatus Neighbours::DeliverFor(std::chrono::milliseconds time) {
  StartDelivery();
  const auto end = std::chrono::steady_clock::now() + time;
  const std::shared_ptr<Workers> current = CurrentWorkers();
  current->files.DrainFor(time);
  current->actions.DrainFor(std::chrono::duration_cast<std::chrono::milliseconds>(
      end - std::chrono::steady_clock::now()));
  return Status();
}

void Neighbours::Stop() {
  if (inbound) inbound->Stop();
  CurrentWorkers()->files.Stop();
  CurrentWorkers()->actions.Stop();
}

DeliveryStatus Neighbours::Status() {
  const std::shared_ptr<Workers> current = CurrentWorkers();
  DeliveryStatus status;
  status.files = files.Count();
  status.actions = actions.Count();
  status.lastFailure = current->files.LastFailure();
  if (status.lastFailure.IsEmpty()) status.lastFailure = current->actions.LastFailure();
  for (const DeliveryQueue* queue : {&files, &actions}) {
    const Result<size_t> parked = queue->CountParked();
    if (parked.IsOk()) {
      status.parked += parked.Value();
    } else if (status.lastFailure.IsEmpty()) {
      status.lastFailure = parked.Reason();
    }
  }
  return status;
}

}  // namespace agent
