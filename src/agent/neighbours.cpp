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

Neighbours::Neighbours(const Home& home, const Settings& agentSettings,
                       const RetryLimits& retryLimits)
    : settings(agentSettings),
      limits(retryLimits),
      inboundOptions(MakeInboundOptions(home, settings, limits)),
      files(home.DataDir() + "queue/files", settings.queueLimitBytes),
      actions(home.DataDir() + "queue/actions", settings.queueLimitBytes),
      fileWorker(files, MakeUpstream(), settings.transferWindows, limits),
      actionWorker(actions, MakeUpstream(), settings.transferWindows, limits),
      fileStore(files, [this] { fileWorker.Wake(); }),
      asyncActions(actions, [this] { actionWorker.Wake(); }) {}

Neighbours::~Neighbours() {
  Stop();
}

std::unique_ptr<Upstream> Neighbours::MakeUpstream() const {
  if (settings.upstreamUrl.IsEmpty()) {
    return std::make_unique<FolderUpstream>(settings.upstreamFolder);
  }
  HttpSettings http;
  http.token = settings.upstreamToken;
  http.certificate = settings.upstreamCertificate;
  http.key = settings.upstreamKey;
  http.caFile = settings.upstreamCaFile;
  return std::make_unique<HttpsUpstream>(settings.upstreamUrl, http);
}

void Neighbours::StartDelivery() {
  if (delivering) return;
  delivering = true;
  fileWorker.Start();
  actionWorker.Start();
}

void Neighbours::StartService() {
  StartDelivery();
  if (inbound) return;
  inbound = std::make_unique<InboundWorker>(MakeUpstream(), inboundOptions);
  inbound->Start();
}

DeliveryStatus Neighbours::DeliverFor(std::chrono::milliseconds time) {
  StartDelivery();
  const auto end = std::chrono::steady_clock::now() + time;
  fileWorker.DrainFor(time);
  actionWorker.DrainFor(std::chrono::duration_cast<std::chrono::milliseconds>(
      end - std::chrono::steady_clock::now()));
  return Status();
}

void Neighbours::Stop() {
  if (inbound) inbound->Stop();
  fileWorker.Stop();
  actionWorker.Stop();
}

DeliveryStatus Neighbours::Status() {
  DeliveryStatus status;
  status.files = files.Count();
  status.actions = actions.Count();
  status.parked = files.CountParked() + actions.CountParked();
  status.lastFailure = fileWorker.LastFailure();
  if (status.lastFailure.IsEmpty()) status.lastFailure = actionWorker.LastFailure();
  return status;
}

}  // namespace agent
