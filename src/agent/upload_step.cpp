#include "agent/upload_step.h"

#include <chrono>
#include <string>
#include <string_view>

#include "agent/stop_signal.h"
#include "agent/terminal_log.h"
#include "kor/file.h"

namespace agent {
namespace {

using std::chrono::steady_clock;

constexpr std::chrono::seconds kLongestDelivery(15);
constexpr std::chrono::milliseconds kSignalCheck(100);
// What the file store says when it has accepted an inventory.
constexpr std::string_view kAcceptedType = "' of type 'HardwareInventory2' waits for delivery as ";

std::string Counted(size_t count, const std::string& what) {
  return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
}

void TellWhatIsLeft(const DeliveryStatus& status, const Home& home) {
  const size_t waiting = status.files + status.actions;
  if (waiting > 0) {
    KorString text(Counted(waiting, "delivery item"));
    text += waiting == 1 ? " waits" : " wait";
    text += " in '" + home.DataDir() + "queue' for the service or the next upload";
    if (!status.lastFailure.IsEmpty()) text += ": " + status.lastFailure;
    Complain(text);
  }
  if (status.parked > 0) {
    Complain(KorString(Counted(status.parked, "refused delivery item") + " kept below '") +
             home.DataDir() + "queue', in the folders 'parked'");
  }
}

}  // namespace

UploadWatch::UploadWatch(Host& watchedHost) : host(watchedHost) {
  listener = host.Log().AddListener(KorLogLevel::kDetail, [this](const KorLogRecord& record) {
    const KorMutexLock lock(mutex);
    if (record.text == "Not sending unchanged hardware inventory") isUnchanged = true;
    if (record.text == "Gap since last inventory sent is too short") isTooEarly = true;
    if (record.text.find(kAcceptedType) != std::string_view::npos) isAccepted = true;
  });
}

UploadWatch::~UploadWatch() {
  host.Log().RemoveListener(listener);
}

UploadWatch::Outcome UploadWatch::Find() {
  // Once accepted, the latest inventory is the one last sent. Without the lock, which what is
  // logged of a file that cannot be looked at takes.
  const KorString folder = host.GetHome().DataDir() + "HardwareInventory/HardwareInventory";
  const bool isSent = FileExists(folder + "Sent.xml") && !FileExists(folder + "Last.xml");
  const KorMutexLock lock(mutex);
  if (isUnchanged) return Outcome::kUnchanged;
  if (isTooEarly) return Outcome::kTooEarly;
  if (isSent) return Outcome::kAccepted;
  return isAccepted ? Outcome::kNotRecorded : Outcome::kNotAccepted;
}

void DeliverForAWhile(Host& host) {
  const steady_clock::time_point end = steady_clock::now() + kLongestDelivery;
  DeliveryStatus status;
  bool mayGoOn = true;
  while (mayGoOn) {
    const steady_clock::time_point start = steady_clock::now();
    status = host.Delivery().DeliverFor(kSignalCheck);
    // What comes back early waits for something else than time.
    const bool isEarly = steady_clock::now() - start < kSignalCheck;
    mayGoOn = status.files + status.actions > 0 && !isEarly && StopSignal::Received() == 0 &&
              steady_clock::now() < end;
  }
  TellWhatIsLeft(status, host.GetHome());
}

}  // namespace agent
