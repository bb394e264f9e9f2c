// Who waits for the configuration's lock while a read of it goes on.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <thread>
#include <utility>
#include <vector>

#include "hardware/inventory/translation_file.h"
#include "hardware/inventory/upload.h"
#include "hardware/module/module_fixture.h"

namespace {

using HardwareInventory::HardwareConfig;
using HardwareInventory::hwConfig;

// Discards everything. For objects that live on: their context cannot be taken back.
class Silence : public KorDebugContext {
 public:
  bool Wants(KorLogLevel) const override { return false; }
  void Write(const KorLogRecord&) override {}
};

// Stops a read in the middle, at its warning about a bad number, and with it holds the lock.
class HeldLock : public KorDebugContext {
 public:
  HeldLock(HardwareConfig& configToHold, KorString settings) : config(configToHold) {
    config.SetDebugContext(this);
    reader = std::thread([this, path = std::move(settings)] {
      config.Read(path, HardwareInventory::kConfigUploadGap);
    });
    reached.get_future().wait();
  }
  ~HeldLock() override {
    static Silence silence;
    released.set_value();
    reader.join();
    config.SetDebugContext(&silence);
  }
  HeldLock(const HeldLock&) = delete;
  HeldLock& operator=(const HeldLock&) = delete;

  bool Wants(KorLogLevel) const override { return true; }
  void Write(const KorLogRecord&) override {
    reached.set_value();
    released.get_future().wait();
  }

 private:
  HardwareConfig& config;
  std::promise<void> reached;
  std::promise<void> released;
  std::thread reader;
};

// Whether that cannot end before the read does. What waits never ends too early, however slow the
// machine is.
bool Waits(HardwareConfig& config, const TemporaryFolder& folder,
           const std::function<void()>& body) {
  const KorString settings = folder.Write("bad.ini", "[HardwareInventory]\nUploadGap = -1\n");
  std::future<void> ended;
  bool waited = false;
  {
    const HeldLock held(config, settings);
    ended = std::async(std::launch::async, body);
    waited = ended.wait_for(std::chrono::milliseconds(30)) == std::future_status::timeout;
  }
  ended.get();
  return waited;
}

TEST(ConfigLock, EveryAccessWaitsForIt) {
  const TemporaryFolder folder;
  HardwareConfig config;
  ASSERT_TRUE(config.Synchronize(true));
  KorContainer container;
  const std::pair<const char*, std::function<void()>> accesses[] = {
      {"GetLastInventorySent", [&] { config.GetLastInventorySent(true); }},
      {"SetLastInventorySent", [&] { config.SetLastInventorySent(1, true); }},
      {"GetTranslationFile", [&] { config.GetTranslationFile(true); }},
      {"SetTranslationFile", [&] { config.SetTranslationFile("f", true); }},
      {"GetUploadInterval", [&] { config.GetUploadInterval(true); }},
      {"SetUploadInterval", [&] { config.SetUploadInterval(1, true); }},
      {"GetUploadOnStartup", [&] { config.GetUploadOnStartup(true); }},
      {"SetUploadOnStartup", [&] { config.SetUploadOnStartup(true, true); }},
      {"GetUploadGap", [&] { config.GetUploadGap(true); }},
      {"SetUploadGap", [&] { config.SetUploadGap(1, true); }},
      {"GetDifferentialUpload", [&] { config.GetDifferentialUpload(true); }},
      {"SetDifferentialUpload", [&] { config.SetDifferentialUpload(true, true); }},
      {"Reset", [&] { config.Reset(); }},
      {"Read of a container", [&] { config.Read(container, 63); }},
      {"Write to a file", [&] { config.Write(folder.Path("out.ini"), 63); }},
      {"Write to a container", [&] { config.Write(container, 63); }},
  };
  for (const auto& [name, access] : accesses) {
    EXPECT_TRUE(Waits(config, folder, access)) << name;
  }
}

// As it is for who holds it already.
TEST(ConfigLock, AccessesThatDoNotTakeItGoOn) {
  const TemporaryFolder folder;
  HardwareConfig config;
  ASSERT_TRUE(config.Synchronize(true));
  const HeldLock held(config, folder.Write("bad.ini", "[HardwareInventory]\nUploadGap = -1\n"));
  config.SetUploadInterval(7, false);
  EXPECT_EQ(config.GetUploadInterval(false), 7U);
}

TEST(ConfigLock, NobodyWaitsOnceItIsGivenUp) {
  const TemporaryFolder folder;
  HardwareConfig config;
  ASSERT_TRUE(config.Synchronize(true));
  ASSERT_TRUE(config.Synchronize(false));
  const HeldLock held(config, folder.Write("bad.ini", "[HardwareInventory]\nUploadGap = -1\n"));
  config.SetUploadInterval(7, true);
  EXPECT_EQ(config.GetUploadInterval(true), 7U);
}

class ConfigLockOfTheModule : public ModuleFixture {
 protected:
  bool Waits(const std::function<void()>& body) { return ::Waits(hwConfig, folder, body); }
};

TEST_F(ConfigLockOfTheModule, EveryActionWaitsForIt) {
  StartModule();
  neighbours.guid = "";
  for (const char* action : {"HardwareSynchronize", "HardwareGetValues", "HardwareSetValues",
                             "HardwareStartInventory", "HardwareUploadInventory"}) {
    EXPECT_TRUE(Waits([&] { Invoke(action); })) << action;
  }
  KorContainer assignment;
  assignment.SetString("AssignmentName", "7");
  assignment.SetString("AssignmentModule", "HardwareInventory");
  assignment.SetString("AssignmentContent", "<HWINVCONFIG/>");
  EXPECT_TRUE(Waits([&] { Invoke("HardwareAssign", assignment); }));
  SaveInventory(DataFile("HardwareInventoryLast.xml"), "last");
  EXPECT_TRUE(Waits([&] { Invoke("HardwareInvGUIDCallback"); }));
}

TEST_F(ConfigLockOfTheModule, TheModuleItselfWaitsForIt) {
  StartModule();
  neighbours.guid = "";
  EXPECT_TRUE(Waits([] { HardwareInventory::FirstInventory(); }));
  EXPECT_TRUE(Waits([] { HardwareInventory::IsTimeToSendInventory(); }));
  EXPECT_TRUE(Waits([] {
    KorString path;
    HardwareInventory::GetTranslationFile(path);
  }));
  EXPECT_TRUE(Waits([] { ModuleMain(4, 0, nullptr); }));
}

}  // namespace
