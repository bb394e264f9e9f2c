// The module while memory for its configuration's lock cannot be had.

#include "hardware/memory/refused_memory.h"
#include "hardware/module/module_fixture.h"

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

}  // namespace
