#include "hardware/inventory/hardware_thread.h"

#include <sys/resource.h>

#include <stdexcept>

#include "hardware/filter/hw_filter.h"
#include "hardware/inventory/scan_run.h"
#include "hardware/module/module_fixture.h"
#include "kor/shortage.h"

namespace {

using HardwareInventory::IsInventoryRunning;
using HardwareInventory::threadInv;

class HardwareThreadTest : public ModuleFixture {
 protected:
  void SetUp() override { StartModule(); }

  // One run to its end.
  void Run(bool upload = false, bool force = false, bool bypass = false, bool differential = true) {
    threadInv.StartInventory(0, upload, force, bypass, differential);
    ASSERT_TRUE(WaitForRunEnd());
  }

  std::string LastPath() { return DataFile("HardwareInventoryLast.xml").Str(); }
  std::string DumpPath() { return DataFile("HardwareInventoryLast.sqlite3").Str(); }
};

// The messages that tell the course of a run.
std::vector<std::string> CourseOf(const HostLog& log) {
  std::vector<std::string> course;
  for (const std::string& line : log.Lines()) {
    for (const char* part : {"hardware inventory", "Inventory starting", "Using translation",
                             "Failed to scan", "Hardware Inventory finished"}) {
      if (line.find(part) == std::string::npos) continue;
      course.push_back(line);
      break;
    }
  }
  return course;
}

TEST_F(HardwareThreadTest, ARunWhoseScannersFailStoresAnInventory) {
  Run();
  EXPECT_TRUE(LastRunSucceeded());
  ObjInv stored(nullptr);
  ASSERT_TRUE(stored.Parse(KorString(LastPath()), nullptr));
  EXPECT_EQ(stored.GetName(), "HWINVENTORY");
  EXPECT_EQ(stored.GetType(), 0u);
  EXPECT_TRUE(FileExists(KorString(DumpPath())));
  EXPECT_TRUE(neighbours.files.empty());
}

TEST_F(HardwareThreadTest, FailuresOfScannersAreTracedInOrder) {
  Run();
  const std::vector<std::string> course = CourseOf(log);
  ASSERT_GE(course.size(), 4u);
  EXPECT_EQ(course[0], "trace: Starting a new hardware inventory");
  EXPECT_EQ(course[1], "print: Inventory starting");
  EXPECT_EQ(course[2], "print: Using translation file '" + DataFile("hwinvcfg.xml").Str() + "'");
  EXPECT_EQ(course.back(), "trace: Hardware Inventory finished");
  EXPECT_TRUE(log.Has("trace: Failed to scan desktop monitor"));
  EXPECT_TRUE(log.Has("trace: Failed to scan processor"));
}

TEST(ScannerTable, HasTheOrderAndTheMessagesOfARun) {
  std::vector<std::string> failures;
  for (const HardwareInventory::Scanner& scanner : HardwareInventory::Scanners()) {
    failures.emplace_back(scanner.failure);
  }
  EXPECT_EQ(failures, (std::vector<std::string>{
                          "Failed to scan system", "Failed to scan keyboard",
                          "Failed to scan logical disk", "Failed to scan physical disk",
                          "Failed to scan network adapter", "Failed to scan desktop monitor",
                          "Failed to scan video controller", "Failed to scan pointing device",
                          "Failed to scan physical memory", "Failed to scan processor"}));
}

TEST_F(HardwareThreadTest, TheScannersAnnounceThemselvesInOrder) {
  Run();
  std::vector<std::string> scans;
  for (const std::string& line : log.Lines()) {
    if (line.starts_with("print: Scanning ")) scans.push_back(line.substr(16));
  }
  EXPECT_EQ(scans, (std::vector<std::string>{"system", "keyboard", "logical disk", "disk drive",
                                             "network adapter", "video controller",
                                             "pointing device", "physical memory", "processor"}));
}

TEST_F(HardwareThreadTest, TheFirstRunIsAskedForAsConfigured) {
  using HardwareInventory::FirstInventory;
  using HardwareInventory::hwConfig;
  using HardwareInventory::InventoryRequest;
  EXPECT_EQ(FirstInventory(), (InventoryRequest{100, true, false, false, true}));
  hwConfig.SetUploadOnStartup(false, true);
  EXPECT_EQ(FirstInventory(), (InventoryRequest{100, false, false, false, true}));
  hwConfig.SetDifferentialUpload(false, true);
  EXPECT_EQ(FirstInventory(), (InventoryRequest{100, false, false, false, false}));
}

TEST_F(HardwareThreadTest, WithoutGuidARunIsPostponed) {
  neighbours.guid = "";
  threadInv.StartInventory(0, true, true, true, true);
  EXPECT_FALSE(IsInventoryRunning());
  EXPECT_FALSE(threadInv.IsThreadRunning());
  EXPECT_EQ(log.Lines(),
            std::vector<std::string>{"trace: Postponing the inventory startup (no GUID)"});
}

TEST_F(HardwareThreadTest, AGuidCountsWhateverTheCallAnswers) {
  neighbours.identityResult = 1;
  Run();
  EXPECT_TRUE(LastRunSucceeded());
}

TEST_F(HardwareThreadTest, ASecondRequestIsDroppedInSilence) {
  threadInv.StartInventory(100, false, false, false, true);
  ASSERT_TRUE(WaitFor([&] { return !log.Lines().empty(); }));
  const std::vector<std::string> before = log.Lines();
  threadInv.StartInventory(0, true, true, true, false);
  EXPECT_TRUE(IsInventoryRunning());
  EXPECT_EQ(log.Lines(), before);
  ModuleMain(5, 0, nullptr);
  EXPECT_FALSE(IsInventoryRunning());
}

TEST_F(HardwareThreadTest, TheFlagsOfADroppedRequestAreLost) {
  std::atomic<bool> release = false;
  machine.Play([&](const KorString&) -> KorCommandResult {
    WaitFor([&] { return release.load(); });
    return {KorCommandResult::Outcome::kExited, 127, ""};
  });
  threadInv.StartInventory(0, false, false, false, true);
  ASSERT_TRUE(WaitFor([&] { return machine.commands > 0; }));
  threadInv.StartInventory(0, true, true, true, true);
  release = true;
  ASSERT_TRUE(WaitForRunEnd());
  EXPECT_TRUE(neighbours.files.empty());
}

TEST_F(HardwareThreadTest, ARunMayFollowACancelledOne) {
  threadInv.StartInventory(100, false, false, false, true);
  ModuleMain(5, 0, nullptr);
  EXPECT_FALSE(LastRunSucceeded());
  Run();
  EXPECT_TRUE(LastRunSucceeded());
}

TEST_F(HardwareThreadTest, ACancelInThePauseEndsTheRunUnscanned) {
  Run();
  ASSERT_TRUE(LastRunSucceeded());
  const int commands = machine.commands;
  log.Clear();
  threadInv.StartInventory(100, true, false, false, true);
  EXPECT_TRUE(threadInv.Cancel(kWatchdogMilliseconds, false));
  EXPECT_FALSE(IsInventoryRunning());
  EXPECT_FALSE(LastRunSucceeded());
  EXPECT_EQ(machine.commands, commands);
  EXPECT_FALSE(log.Has("print: Inventory starting"));
}

TEST_F(HardwareThreadTest, AForcedCancelEndsAHangingCommand) {
  KorLiveMachine live;
  machine.Play([&](const KorString&) { return live.RunCommand("sleep 1000"); });
  threadInv.StartInventory(0, true, false, false, true);
  ASSERT_TRUE(WaitFor([&] { return machine.commands > 0; }));
  EXPECT_TRUE(threadInv.Cancel(100, true) || threadInv.Cancel(kWatchdogMilliseconds, true));
  EXPECT_FALSE(IsInventoryRunning());
  EXPECT_FALSE(LastRunSucceeded());
  EXPECT_FALSE(FileExists(KorString(LastPath())));
  EXPECT_TRUE(neighbours.files.empty());
  machine.Play(nullptr);
  Run();
  EXPECT_TRUE(LastRunSucceeded());
}

// The command is not waited for, neither by the module's end nor by that of the object.
TEST_F(HardwareThreadTest, TheEndOfTheModuleEndsAHangingCommand) {
  KorLiveMachine live;
  machine.Play([&](const KorString&) { return live.RunCommand("sleep 1000"); });
  threadInv.StartInventory(0, false, false, false, true);
  ASSERT_TRUE(WaitFor([&] { return machine.commands > 0; }));
  ModuleMain(5, 0, nullptr);
  EXPECT_TRUE(WaitForRunEnd());
}

TEST_F(HardwareThreadTest, TheEndOfTheObjectEndsAHangingCommand) {
  KorLiveMachine live;
  machine.Play([&](const KorString&) { return live.RunCommand("sleep 1000"); });
  {
    HardwareInventory::HardwareThread thread;
    thread.StartInventory(0, false, false, false, true);
    ASSERT_TRUE(WaitFor([&] { return machine.commands > 0; }));
  }
  EXPECT_FALSE(IsInventoryRunning());
  EXPECT_FALSE(LastRunSucceeded());
}

TEST_F(HardwareThreadTest, ARunThatThrowsEndsAsFailed) {
  machine.Play([](const KorString&) -> KorCommandResult { throw std::runtime_error("broken"); });
  Run();
  EXPECT_FALSE(LastRunSucceeded());
  EXPECT_TRUE(log.Has("error: The inventory run failed: broken"));
}

// A lost flag is put right by the next request.
TEST_F(HardwareThreadTest, AThreadThatRunsIsARunWhateverTheFlagSays) {
  threadInv.StartInventory(100, false, false, false, true);
  SetRunning(false);
  threadInv.StartInventory(0, false, false, false, true);
  EXPECT_TRUE(IsInventoryRunning());
  EXPECT_TRUE(threadInv.Cancel(kWatchdogMilliseconds, false));
  EXPECT_FALSE(log.Has("print: Inventory starting"));
  EXPECT_FALSE(log.Has("error: Failed to start the inventory thread"));
}

// While it lives, nothing can be opened.
class NoMoreFiles {
 public:
  NoMoreFiles() {
    getrlimit(RLIMIT_NOFILE, &before);
    const rlimit none = {0, before.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  ~NoMoreFiles() { setrlimit(RLIMIT_NOFILE, &before); }
  NoMoreFiles(const NoMoreFiles&) = delete;
  NoMoreFiles& operator=(const NoMoreFiles&) = delete;

 private:
  rlimit before = {};
};

TEST_F(HardwareThreadTest, ARunThatCannotStartLeavesTheWayFree) {
  {
    const NoMoreFiles noMoreFiles;
    threadInv.StartInventory(0, false, false, false, true);
  }
  EXPECT_TRUE(log.Has("error: Failed to start the inventory thread"));
  EXPECT_FALSE(IsInventoryRunning());
  Run();
  EXPECT_TRUE(LastRunSucceeded());
}

TEST_F(HardwareThreadTest, AnEarlierRequestUploads) {
  {
    const KorMutexLock lock(HardwareInventory::mutexInv);
    HardwareInventory::fUploadRequested = true;
  }
  Run(false);
  EXPECT_EQ(neighbours.files.size(), 1u);
  EXPECT_FALSE(IsUploadRequested());
}

TEST_F(HardwareThreadTest, TheUploadsResultIsNotTheRuns) {
  neighbours.fileStoreResult = 1;
  Run(true);
  EXPECT_EQ(neighbours.files.size(), 1u);
  EXPECT_TRUE(LastRunSucceeded());
}

TEST_F(HardwareThreadTest, WithoutTranslationFileARunFails) {
  HardwareInventory::hwConfig.SetTranslationFile("/nowhere/at/all.xml", true);
  Run();
  EXPECT_FALSE(LastRunSucceeded());
  EXPECT_TRUE(log.Has("error: Failed to get the translation file"));
  EXPECT_EQ(machine.commands, 0);
}

TEST_F(HardwareThreadTest, WithADamagedTranslationFileARunFails) {
  HardwareInventory::hwConfig.SetTranslationFile(folder.Write("broken.xml", "<broken"), true);
  Run();
  EXPECT_FALSE(LastRunSucceeded());
  EXPECT_TRUE(log.Has("error: Failed to load the inventory filter"));
  EXPECT_EQ(machine.commands, 0);
}

// Half translated, it would hold what the rules were to take out.
TEST_F(HardwareThreadTest, ATranslationThatIsGivenUpFailsTheRun) {
  HardwareInventory::hwConfig.SetTranslationFile(
      folder.Write("large.xml",
                   "<HWINVCONFIG><TRANSLATEHWLIST maxpass='1'><TRANSLATEHW><MATCHHW><ATTRNAME>*"
                   "</ATTRNAME></MATCHHW><ACTION>Accept</ACTION><MODIFYHW><ATTRVALUE>" +
                       std::string(1'000'000, 'x') +
                       "</ATTRVALUE></MODIFYHW></TRANSLATEHW></TRANSLATEHWLIST></HWINVCONFIG>"),
      true);
  machine.Play([](const KorString& command) {
    std::string disks;
    for (int n = 0; n < 150; ++n) {
      disks += "/dev/sda" + std::to_string(n) + " ext3 1000 400 600 40% /mnt/" + std::to_string(n) +
               "\n";
    }
    if (!command.StartsWith("/bin/df", true)) disks.clear();
    return KorCommandResult{KorCommandResult::Outcome::kExited, 0, disks};
  });
  SaveInventory(KorString(LastPath()), "the one before");

  Run();

  EXPECT_FALSE(LastRunSucceeded());
  EXPECT_TRUE(
      log.Has("error: The inventory run failed: the translation makes the inventory larger than "
              "268435456 bytes and is given up in pass 1"));
  ObjInv stored(nullptr);
  ASSERT_TRUE(stored.Parse(KorString(LastPath()), nullptr));
  EXPECT_NE(stored.Objects().Get("Machine"), nullptr);
}

// A part of the machine would be told for the whole.
TEST_F(HardwareThreadTest, ARunThatLeftSomethingOutForWantOfMemoryFails) {
  machine.Play([](const KorString&) -> KorCommandResult {
    KorNoteShortage();
    return {KorCommandResult::Outcome::kExited, 127, ""};
  });
  SaveInventory(KorString(LastPath()), "the one before");
  const KorString before = FileMd5(KorString(LastPath()));

  Run(true);

  EXPECT_FALSE(LastRunSucceeded());
  EXPECT_TRUE(log.Has("error: The inventory run failed: not enough memory"));
  EXPECT_EQ(FileMd5(KorString(LastPath())), before);
  EXPECT_TRUE(neighbours.files.empty());
}

TEST_F(HardwareThreadTest, ALastFileThatCannotBeRemovedFailsTheRun) {
  ASSERT_TRUE(PathCreate(KorString(LastPath()) + "/inner"));
  Run();
  EXPECT_FALSE(LastRunSucceeded());
  EXPECT_TRUE(log.Has("error: Failed to remove file '" + LastPath() + "'"));
  EXPECT_FALSE(log.Has("error: Failed to write inventory '" + LastPath() + "'"));
}

TEST_F(HardwareThreadTest, ALastFileThatCannotBeWrittenFailsTheRun) {
  const KorString path = folder.Path("nowhere/Last.xml");
  HardwareInventory::strModuleLastDataFile = path;
  Run();
  EXPECT_FALSE(LastRunSucceeded());
  EXPECT_TRUE(log.Has("error: Failed to write inventory '" + path.Str() + "'"));
}

TEST_F(HardwareThreadTest, ADumpThatCannotBeWrittenIsWarnedOf) {
  ASSERT_TRUE(PathCreate(KorString(DumpPath()) + "/inner"));
  Run();
  EXPECT_TRUE(LastRunSucceeded());
  EXPECT_TRUE(log.Has("warning: Failed to dump inventory '" + DumpPath() + "'"));
  EXPECT_TRUE(FileExists(KorString(LastPath())));
}

// The upload takes its flags in another order than the start: each has to arrive in its place.
TEST_F(HardwareThreadTest, EveryFlagReachesTheUpload) {
  SaveInventory(DataFile("HardwareInventorySent.xml"), "old");
  Run(true, false, true, true);
  ASSERT_EQ(neighbours.files.size(), 1u);
  bool bypass = false;
  EXPECT_TRUE(neighbours.files[0].GetBool("Bypass", bypass));
  EXPECT_TRUE(bypass);
  ObjInv uploaded(nullptr);
  ASSERT_TRUE(uploaded.Parse(DataFile("HardwareInventoryUpld.xml"), nullptr));
  EXPECT_EQ(uploaded.GetType(), 2u);

  // Unchanged: only force sends it.
  Run(true, false, true, true);
  EXPECT_EQ(neighbours.files.size(), 1u);
  Run(true, true, false, false);
  ASSERT_EQ(neighbours.files.size(), 2u);
  EXPECT_TRUE(neighbours.files[1].GetBool("Bypass", bypass));
  EXPECT_FALSE(bypass);
  ASSERT_TRUE(uploaded.Parse(DataFile("HardwareInventoryUpld.xml"), nullptr));
  EXPECT_EQ(uploaded.GetType(), 1u);
}

TEST_F(HardwareThreadTest, CommandsRunBelowNormalPriority) {
  std::atomic<int> nice = -100;
  machine.Play([&](const KorString&) -> KorCommandResult {
    nice = getpriority(PRIO_PROCESS, 0);
    return {KorCommandResult::Outcome::kExited, 127, ""};
  });
  const int ours = getpriority(PRIO_PROCESS, 0);
  Run();
  EXPECT_EQ(nice, std::max(ours, 10));
}

// A request that meets the end of a run either starts another or is dropped; the right to start is
// never lost.
TEST_F(HardwareThreadTest, ARequestAtTheEndOfARunNeverBlocksTheNext) {
  for (int round = 0; round < 40; ++round) {
    log.Clear();
    std::atomic<bool> stop = false;
    std::thread requester([&] {
      while (!stop) threadInv.StartInventory(0, false, false, false, true);
    });
    const bool ranTwice =
        WaitFor([&] { return log.Count("trace: Hardware Inventory finished") >= 2; });
    stop = true;
    requester.join();
    ASSERT_TRUE(ranTwice);
    ASSERT_TRUE(WaitForRunEnd());
    log.Clear();
    threadInv.StartInventory(0, false, false, false, true);
    ASSERT_TRUE(WaitFor([&] { return log.Has("trace: Hardware Inventory finished"); }));
    ASSERT_TRUE(WaitForRunEnd());
  }
}

TEST_F(HardwareThreadTest, ManyThreadsMayAskAtOnce) {
  ASSERT_NO_FATAL_FAILURE(Run());
  std::atomic<bool> stop = false;
  std::atomic<int> filters = 0;
  std::vector<std::thread> threads;
  for (int number = 0; number < 8; ++number) {
    threads.emplace_back([&, number] {
      while (!stop) {
        threadInv.StartInventory(0, number % 2 == 0, true, false, number % 3 == 0);
        KorContainer container;
        Invoke("HardwareInventoryWithError", container);
        IsInventoryRunning();
        Invoke(number % 2 == 0 ? "HardwareUploadInventory" : "HardwareGetValues");
        HardwareInventory::HwFilter filter;
        if (HardwareInventory::LoadInventoryFilter(filter)) ++filters;
      }
    });
  }
  EXPECT_TRUE(WaitFor([&] { return log.Count("trace: Hardware Inventory finished") >= 20; }));
  stop = true;
  for (std::thread& thread : threads) thread.join();
  ASSERT_TRUE(WaitForRunEnd());
  EXPECT_GT(filters, 0);
  Run();
  EXPECT_TRUE(LastRunSucceeded());
}

}  // namespace
