// The module driven as its host drives it: folders of its own, a played machine, neighbours that
// note what they are asked, and a logging context that keeps every message.

#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "hardware/module/globals.h"
#include "hardware/module/module_main.h"
#include "kor/debug.h"
#include "kor/file.h"
#include "kor/machine.h"
#include "korcore/action_db.h"
#include "korcore/agent_context.h"
#include "korcore/module_timer.h"
#include "korcore/obj_inv.h"
#include "support/temporary_folder.h"

// Keeps messages as "level: text".
class HostLog : public KorDebugContext {
 public:
  bool Wants(KorLogLevel) const override { return true; }
  void Write(const KorLogRecord& record) override {
    const std::lock_guard<std::mutex> lock(mutex);
    lines.push_back(std::string(KorLogLevelName(record.level)) + ": " + std::string(record.text));
  }

  std::vector<std::string> Lines() const {
    const std::lock_guard<std::mutex> lock(mutex);
    return lines;
  }
  size_t Count(const std::string& line) const {
    size_t count = 0;
    for (const std::string& candidate : Lines()) count += candidate == line ? 1 : 0;
    return count;
  }
  bool Has(const std::string& line) const { return Count(line) > 0; }
  void Clear() {
    const std::lock_guard<std::mutex> lock(mutex);
    lines.clear();
  }

 private:
  mutable std::mutex mutex;
  std::vector<std::string> lines;
};

// A machine on which every command is unknown, unless the test plays something else.
class PlayedMachine : public KorMachine {
 public:
  using Player = std::function<KorCommandResult(const KorString& command)>;

  // Only while no run goes on.
  void Play(Player newPlayer) { player = std::move(newPlayer); }

  KorCommandResult RunCommand(const KorString& command) override {
    ++commands;
    if (player) return player(command);
    return {KorCommandResult::Outcome::kExited, 127, ""};
  }
  bool FileExists(const KorString&) override { return false; }
  KorString HostName() override { return "played"; }
  KorString DistributionName() override { return "Played Linux"; }

  std::atomic<int> commands = 0;

 private:
  Player player;
};

// The identity module, the file store and the asynchronous actions.
class PlayedNeighbours {
 public:
  void Register() {
    Offer("IdentityGetGUID ()", [this](KorContainer& container) {
      if (!guid.IsEmpty()) container.SetString("GUID", guid);
      return identityResult;
    });
    Offer("IdentityGetDeviceTopology ()", [this](KorContainer& container) {
      if (!topology.IsEmpty()) container.SetString("Topology", topology);
      return topologyResult;
    });
    Offer("FileStoreReceiveFile ()", [this](KorContainer& container) {
      files.push_back(container);
      if (whenGivenFile) whenGivenFile();
      return fileStoreResult;
    });
    Offer("AsynchronousActionsCall ()", [this](KorContainer& container) {
      calls.push_back(container);
      if (whenCalled) whenCalled();
      return callResult;
    });
  }
  void Drop() { ActionDbDropModule(this); }

  // For the test while nothing else uses the neighbours, and through Locked() else.
  KorString guid = "{guid}";
  KorString topology;
  uint32_t identityResult = 0;
  uint32_t topologyResult = 0;
  uint32_t fileStoreResult = 0;
  uint32_t callResult = 0;
  std::vector<KorContainer> files;
  std::vector<KorContainer> calls;
  // Run while the file store and the asynchronous actions are being called.
  std::function<void()> whenGivenFile;
  std::function<void()> whenCalled;

  template <typename Body>
  auto Locked(Body body) {
    const std::lock_guard<std::mutex> lock(mutex);
    return body();
  }

 private:
  void Offer(const char* signature, const std::function<uint32_t(KorContainer&)>& answer) {
    ActionDbRegisterAction(
        signature,
        [this, answer](KorContainer* container) {
          const std::lock_guard<std::mutex> lock(mutex);
          return answer(*container);
        },
        this);
  }

  std::mutex mutex;
};

class ModuleFixture : public testing::Test {
 protected:
  ModuleFixture() {
    PathCreate(folder.Path("config"));
    PathCreate(folder.Path("data"));
    KorAgentSetConfigDir(folder.Path("config") + "/");
    KorAgentSetDataDir(folder.Path("data") + "/");
    KorAgentSetDebugContext(&log);
    KorMachine::SetCurrent(&machine);
    neighbours.Register();
  }

  ~ModuleFixture() override {
    ModuleMain(5, 0, nullptr);
    ModuleMain(2, 0, nullptr);
    ActionDbDropModule(Handle());
    neighbours.Drop();
    KorThread::WaitUntilNoneRuns(kWatchdogMilliseconds);
    ModuleTimersStop();
    KorMachine::SetCurrent(nullptr);
    HardwareInventory::debugInv.SetContext(nullptr);
    KorAgentSetDebugContext(nullptr);
  }

  // Far beyond what anything takes: it ends a test that would hang.
  static constexpr uint32_t kWatchdogMilliseconds = 60000;

  // The host's handle of the module.
  char* Handle() { return handle; }

  // Registers and initialises, with these settings.
  void StartModule(const std::string& settings = "") {
    folder.Write("config/HardwareInventory.ini", "[HardwareInventory]\n" + settings);
    ASSERT_EQ(ModuleMain(1, 0, Handle()), 1u);
    ASSERT_EQ(ModuleMain(3, 0, nullptr), 1u);
    log.Clear();
  }

  uint32_t Invoke(const char* action, KorContainer& container) {
    return ActionDbInvokeContainer("", action, container, 0, -1, -1, 0);
  }
  uint32_t Invoke(const char* action) {
    KorContainer container;
    return Invoke(action, container);
  }

  template <typename Condition>
  static bool WaitFor(Condition condition) {
    const auto end =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(kWatchdogMilliseconds);
    while (!condition()) {
      if (std::chrono::steady_clock::now() > end) return false;
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
  }
  static bool WaitForRunEnd() {
    return WaitFor([] { return !HardwareInventory::IsInventoryRunning(); });
  }

  // Whether the run that is asked for begins at once: a pause is of whole seconds. Of several runs
  // one at least begins sooner than that, however busy the machine is.
  template <typename Request>
  bool RunsAtOnce(Request request) {
    for (int attempt = 0; attempt < 5; ++attempt) {
      log.Clear();
      const auto begin = std::chrono::steady_clock::now();
      request();
      if (!WaitFor([&] { return log.Has("print: Inventory starting"); })) return false;
      const auto taken = std::chrono::steady_clock::now() - begin;
      if (!WaitForRunEnd()) return false;
      if (taken < std::chrono::seconds(1)) return true;
    }
    return false;
  }

  bool LastRunSucceeded() {
    KorContainer container;
    Invoke("HardwareInventoryWithError", container);
    bool value = false;
    EXPECT_TRUE(container.GetBool("WithError", value));
    return value;
  }

  static bool IsUploadRequested() {
    const KorMutexLock lock(HardwareInventory::mutexInv);
    return HardwareInventory::fUploadRequested;
  }
  // Whether any thread, this one included, holds the module's lock.
  static bool IsLocked() {
    return std::async(std::launch::async,
                      [] {
                        std::mutex& mutex = HardwareInventory::mutexInv.Native();
                        if (!mutex.try_lock()) return true;
                        mutex.unlock();
                        return false;
                      })
        .get();
  }
  static void SetRunning(bool value) {
    const KorMutexLock lock(HardwareInventory::mutexInv);
    HardwareInventory::fRunningInv = value;
  }

  // A file in the module's data folder.
  KorString DataFile(const char* name) {
    return folder.Path(std::string("data/HardwareInventory/") + name);
  }

  // A document of one class, one instance and one value, saved at the path.
  static void SaveInventory(const KorString& path, const char* value) {
    ObjInv document(nullptr);
    FillInventory(document, value);
    ASSERT_TRUE(document.Save(path));
  }
  static void FillInventory(ObjInv& document, const char* value) {
    document.SetName("HWINVENTORY");
    ObjType* type = document.Ensure("Machine");
    type->Ensure("Serial", "String");
    type->Ensure("0")->Ensure("Serial")->SetValue(value);
  }

  TemporaryFolder folder;
  HostLog log;
  PlayedMachine machine;
  PlayedNeighbours neighbours;

 private:
  char handle[1] = {};
};
