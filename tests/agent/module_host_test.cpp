#include "agent/module_host.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "kor/container.h"
#include "kor/thread.h"
#include "korcore/action_db.h"
#include "korcore/agent_context.h"
#include "support/temporary_folder.h"

namespace {

// KOR_TEST_MODULE_FOLDER is where the modules of tests/agent/modules are.
KorString TestModule(const char* name) {
  return KorString(KOR_TEST_MODULE_FOLDER "/") + name + ".so";
}

class ModuleHost : public testing::Test {
 protected:
  ModuleHost() {
    KorAgentSetConfigDir(folder.Path() + "/");
    KorAgentSetDataDir(folder.Path() + "/");
  }

  KorString ReasonOf(const KorString& path) {
    const auto module = agent::Module::Load(path);
    EXPECT_FALSE(module.IsOk());
    return module.IsOk() ? KorString() : module.Reason();
  }

  const TemporaryFolder folder;
};

TEST_F(ModuleHost, MissingFileIsToldInOneLine) {
  KorString expected;
  expected.Printf(
      "the module '%S' cannot be loaded: cannot open shared object file: No such file or directory",
      folder.Path("no.so"));
  EXPECT_EQ(expected, ReasonOf(folder.Path("no.so")));
}

TEST_F(ModuleHost, FileThatIsNoLibraryIsToldInOneLine) {
  const KorString path = folder.Write("text.so", std::string(1000, 'x'));
  KorString expected;
  expected.Printf("the module '%S' cannot be loaded: invalid ELF header", path);
  EXPECT_EQ(expected, ReasonOf(path));
}

TEST_F(ModuleHost, LibraryWithoutEntryPointIsToldInOneLine) {
  const KorString path = TestModule("no_entry_point");
  KorString expected;
  expected.Printf("the module '%S' cannot be loaded: it is not a module (it has no ModuleMain)",
                  path);
  EXPECT_EQ(expected, ReasonOf(path));
  EXPECT_EQ(0U, folder.CountEntries());
}

TEST_F(ModuleHost, FailedInitialisationIsToldInOneLine) {
  const KorString path = TestModule("init_fails");
  KorString expected;
  expected.Printf("the module '%S' cannot be loaded: its initialisation failed (result 2)", path);
  EXPECT_EQ(expected, ReasonOf(path));
}

TEST_F(ModuleHost, LifeIsRegisterInitialiseCleanUpUnregister) {
  { ASSERT_TRUE(agent::Module::Load(TestModule("slow_run")).IsOk()); }
  EXPECT_EQ("1 7 3 5 2 ", folder.Read("life"));
}

TEST_F(ModuleHost, UnloadingForgetsTheActions) {
  {
    const auto module = agent::Module::Load(TestModule("slow_run"));
    ASSERT_TRUE(module.IsOk());
    EXPECT_EQ(2U, ActionDbActions().size());
  }
  EXPECT_TRUE(ActionDbActions().empty());
}

TEST_F(ModuleHost, UnloadingEndsTheRunInProgress) {
  {
    const auto module = agent::Module::Load(TestModule("slow_run"));
    ASSERT_TRUE(module.IsOk());
    KorContainer container;
    ActionDbInvokeContainer("", "HardwareStartInventory", container, 0, -1, -1, 0);
    EXPECT_FALSE(KorThread::WaitUntilNoneRuns(10));
  }
  EXPECT_TRUE(KorThread::WaitUntilNoneRuns(0));
}

TEST_F(ModuleHost, SettingsFileIsCreatedWithAComment) {
  { ASSERT_TRUE(agent::Module::Load(TestModule("slow_run")).IsOk()); }
  EXPECT_EQ("; Settings of slow_run. What is not set has its default.\n",
            folder.Read("slow_run.ini"));
}

TEST_F(ModuleHost, SettingsThatAreThereStayAsTheyAre) {
  folder.Write("slow_run.ini", "[slow_run]\nKey = 1\n");
  { ASSERT_TRUE(agent::Module::Load(TestModule("slow_run")).IsOk()); }
  EXPECT_EQ("[slow_run]\nKey = 1\n", folder.Read("slow_run.ini"));
}

TEST_F(ModuleHost, SettingsThatCannotBeLookedAtStayAndAreToldInOneLine) {
  const KorString file = folder.Path("slow_run.ini");
  std::filesystem::create_symlink("slow_run.ini", file.Str());
  EXPECT_EQ(ReasonOf(TestModule("slow_run")),
            "the settings file '" + file + "' cannot be read: Too many levels of symbolic links");
  EXPECT_TRUE(std::filesystem::is_symlink(file.Str()));
}

}  // namespace
