#include "soak_home.h"

#include <chrono>
#include <fstream>
#include <stdexcept>
#include <utility>

#include "kor/container.h"
#include "kor/machine.h"
#include "kor/thread.h"
#include "korcore/action_db.h"
#include "korcore/agent_context.h"
#include "korcore/obj_inv.h"

namespace {

namespace fs = std::filesystem;

constexpr uint32_t kLongestRun = 120'000;
constexpr std::chrono::seconds kLongestDelivery{60};

constexpr const char* kRules = R"(<?xml version="1.0" encoding="UTF-8"?>
<HWINVCONFIG>
  <TRANSLATEHWLIST maxpass="3">
    <TRANSLATEHW label="Addresses stay at home">
      <MATCHHW><ATTRNAME>*Address*</ATTRNAME></MATCHHW>
      <ACTION>Reject</ACTION>
    </TRANSLATEHW>
    <TRANSLATEHW label="Marked">
      <MATCHHW><ATTRVALUE value="regex">^[A-Z]+$</ATTRVALUE></MATCHHW>
      <ACTION>Accept</ACTION>
      <MODIFYHW><ATTRVALUE value="regex" match="^([A-Z]+)$" case="yes">$1 (marked)</ATTRVALUE></MODIFYHW>
    </TRANSLATEHW>
  </TRANSLATEHWLIST>
</HWINVCONFIG>
)";

void WriteFile(const fs::path& path, const std::string& text) {
  std::ofstream file(path, std::ios::binary);
  file << text;
  if (!file.flush()) throw std::runtime_error("cannot write " + path.string());
}

void Invoke(const char* action, KorContainer& container) {
  const uint32_t result = ActionDbInvokeContainer("", action, container, 0, -1, -1, 0);
  if (result == ACTIONDB_ERROR_SUCCESS) return;
  throw std::runtime_error(std::string(action) + " failed: " + std::to_string(result));
}

bool HoldsSomething(const fs::path& path) {
  ObjInv document(nullptr);
  if (!document.Parse(KorString(path.string()), nullptr)) {
    throw std::runtime_error(path.string() + ": no inventory");
  }
  return document.Objects().Count() > 0;
}

}  // namespace

SoakHome::SoakHome(const fs::path& folder, const std::string& module,
                   const std::vector<std::string>& recordings, const std::string& settings)
    : home(folder / "home") {
  for (const std::string& path : recordings) {
    KorRecording recording;
    KorString error;
    if (!recording.Load(KorString(path), error)) throw std::runtime_error(error.Str());
    machines.push_back(std::make_unique<KorReplayMachine>(recording));
  }
  for (const char* part : {"config", "data"}) {
    fs::create_directories(home / part);
    fs::permissions(home / part, fs::perms::owner_all);
  }
  fs::permissions(home, fs::perms::owner_all);
  WriteFile(home / "config/rules.xml", kRules);
  WriteFile(home / "config/HardwareInventory.ini",
            "[HardwareInventory]\nTranslationFile = rules.xml\n" + settings);
  agent::HostOptions options;
  options.home = KorString(home.string());
  options.modules = {KorString(module)};
  auto opened = agent::Host::Open(options);
  if (!opened.IsOk()) throw std::runtime_error(opened.Reason().Str());
  host = std::move(opened.Value());
}

SoakHome::~SoakHome() {
  host.reset();
  KorMachine::SetCurrent(nullptr);
}

void SoakHome::Run(bool upload) {
  KorMachine::SetCurrent(machines[next++ % machines.size()].get());
  KorContainer parameters;
  parameters.SetBool("UploadAfterUpdate", upload);
  Invoke("HardwareStartInventory", parameters);
  if (!KorThread::WaitUntilNoneRuns(kLongestRun)) throw std::runtime_error("a run does not end");
  KorContainer answer;
  Invoke("HardwareInventoryWithError", answer);
  // The name notwithstanding, the answer is true when the run ended well.
  bool endedWell = false;
  answer.GetBool("WithError", endedWell);
  if (!endedWell) throw std::runtime_error("a run failed");
}

size_t SoakHome::TakeDelivered() {
  const agent::DeliveryStatus status = host->Delivery().DeliverFor(kLongestDelivery);
  if (status.files + status.actions + status.parked > 0) {
    throw std::runtime_error("not everything was delivered: " + status.lastFailure.Str());
  }
  size_t count = 0;
  const fs::path upstream = home / "data/upstream";
  if (!fs::exists(upstream)) return 0;
  for (const fs::directory_entry& entry : fs::directory_iterator(upstream)) {
    if (entry.path().extension() == ".data" && HoldsSomething(entry.path())) ++count;
  }
  fs::remove_all(upstream);
  return count;
}
