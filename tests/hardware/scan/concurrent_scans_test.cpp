// An audit may scan while a run scans.

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "hardware/scan/scanners.h"
#include "kor/machine.h"
#include "korcore/obj_inv.h"

namespace {

using Scanner = std::function<bool(ObjInv&)>;

const std::array<Scanner, 10> kScanners = {
    HardwareInventory::ScanSystem,          HardwareInventory::ScanKeyboard,
    HardwareInventory::ScanLogicalDisk,     HardwareInventory::ScanPhysicalDisk,
    HardwareInventory::ScanNetworkAdapter,  HardwareInventory::ScanDesktopMonitor,
    HardwareInventory::ScanVideoController, HardwareInventory::ScanPointingDevice,
    HardwareInventory::ScanPhysicalMemory,  HardwareInventory::ScanProcessor,
};

// Answers the same to everybody, without a lock of its own.
class SteadyMachine : public KorMachine {
 public:
  KorCommandResult RunCommand(const KorString& command) override {
    const auto found = outputs.find(command.Str());
    const std::string output = found == outputs.end() ? "value\n" : found->second;
    return {KorCommandResult::Outcome::kExited, 0, output};
  }
  bool FileExists(const KorString&) override { return true; }
  KorString HostName() override { return "host.example"; }
  KorString DistributionName() override { return "Example Linux"; }

 private:
  const std::map<std::string, std::string> outputs = {
      {"cat /proc/uptime", "354871.53 1401231.10\n"},
      {"/bin/df -TP -B 1000",
       "/dev/sda1 ext3 20158332 3472648 15661684 19% /\n/dev/sdb1 ext3 9000 0 9000 0% /b\n"},
      {"/sbin/ifconfig -a",
       "eth0 Link encap:Ethernet  HWaddr 00:1a\n  UP \n\nlo Link encap:Local\n  UP \n\n"},
      {R"sh(lspci | grep "VGA\|Video")sh", "01:00.0 VGA compatible controller: Illustra 9\n"},
      {"cat /etc/sysconfig/keyboard", "KEYTABLE=\"us\"\nKEYBOARDTYPE=\"pc\"\n"},
      {"cat /proc/meminfo", "MemTotal: 2055148 kB\nSwapTotal: 4194300 kB\n"},
      {"cat /proc/cpuinfo", "processor : 0\nstepping : 7\nx\n\nprocessor : 1\nstepping : 7\nx\n"},
  };
};

void ScanAll(ObjInv& inventory) {
  for (const Scanner& scan : kScanners) scan(inventory);
}

}  // namespace

TEST(ConcurrentScans, EveryScanGivesTheDocumentOfOneAlone) {
  SteadyMachine machine;
  KorMachine* const previous = KorMachine::SetCurrent(&machine);
  ObjInv alone(nullptr);
  ScanAll(alone);
  ASSERT_EQ(alone.Objects().Count(), 14U);

  std::array<bool, 4> same = {};
  std::vector<std::thread> threads;
  threads.reserve(same.size());
  for (bool& result : same) {
    threads.emplace_back([&alone, &result] {
      result = true;
      for (int round = 0; round < 20; ++round) {
        ObjInv inventory(nullptr);
        ScanAll(inventory);
        result = result && SameObjects(alone, inventory);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  KorMachine::SetCurrent(previous);

  EXPECT_EQ(same, (std::array<bool, 4>{true, true, true, true}));
}
