// The module while memory cannot be had.

#include "hardware/inventory/hardware_thread.h"
#include "hardware/memory/refused_memory.h"
#include "hardware/module/module_fixture.h"

#include <array>
#include <new>

namespace {

class ModuleWithoutMemory : public ModuleFixture {};

TEST_F(ModuleWithoutMemory, ItDoesNotInitialise) {
  ASSERT_EQ(ModuleMain(1, 0, Handle()), 1u);
  ASSERT_TRUE(HardwareInventory::hwConfig.Synchronize(false));
  HardwareInventory::hwConfig.SetDebugContext(&log);
  {
    const RefusedMemory refused(sizeof(KorMutex));
    EXPECT_EQ(ModuleMain(3, 0, nullptr), 2u);
  }
  EXPECT_TRUE(log.Has("error: Memory error"));
  EXPECT_TRUE(log.Has("error: Failed to make the configuration object thread safe"));
  EXPECT_FALSE(log.Has("warning: Failed to reload the configuration"));
}

TEST_F(ModuleWithoutMemory, ItsConfigurationIsMadeThreadSafeOnce) {
  HardwareInventory::HardwareConfig config;
  ASSERT_TRUE(config.Synchronize(true));
  const RefusedMemory refused(sizeof(KorMutex));
  EXPECT_TRUE(config.Synchronize(true));
}

TEST_F(ModuleWithoutMemory, ARunThatCannotStartLeavesTheWayFree) {
  StartModule();
  int refusals = 0;
  for (size_t size = 8; size <= 512; size += 8) {
    try {
      const RefusedMemory refused(size);
      HardwareInventory::threadInv.StartInventory(100, false, false, false, true);
    } catch (const std::bad_alloc&) {
      ++refusals;
      EXPECT_FALSE(HardwareInventory::IsInventoryRunning()) << size;
      EXPECT_FALSE(HardwareInventory::threadInv.IsThreadRunning()) << size;
    }
    ASSERT_TRUE(HardwareInventory::threadInv.Cancel(kWatchdogMilliseconds, false));
  }
  EXPECT_GT(refusals, 0);
}

TEST_F(ModuleWithoutMemory, NoExceptionLeavesACommand) {
  StartModule();
  std::array<char, 200> version = {};
  HardwareInventory::debugInv.SetContext(&log);
  testing::internal::CaptureStderr();
  uint64_t answer = 0;
  {
    const RefusedMemory refused(RefusedMemory::kAnySize);
    answer = ModuleMain(7, 0, version.data());
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "error HardwareInventory: Command %u failed: %s (the message lacks its values: not "
            "enough memory)\n");
  EXPECT_EQ(answer, 2u);
  EXPECT_STREQ(version.data(), "");
}

}  // namespace
