// How the cost of a scan grows with the machine: the commands' output is in memory, so that only
// our own work is measured.

#include <benchmark/benchmark.h>

#include <string>

#include "hardware/module/globals.h"
#include "hardware/scan/scanners.h"
#include "kor/machine.h"
#include "korcore/obj_inv.h"

namespace {

// One command with an output, all others without one.
class MachineWithOneCommand : public KorMachine {
 public:
  MachineWithOneCommand(const char* knownCommand, std::string itsOutput)
      : command(knownCommand), output(std::move(itsOutput)), previous(SetCurrent(this)) {}
  ~MachineWithOneCommand() override { SetCurrent(previous); }
  MachineWithOneCommand(const MachineWithOneCommand&) = delete;
  MachineWithOneCommand& operator=(const MachineWithOneCommand&) = delete;

  KorCommandResult RunCommand(const KorString& asked) override {
    return {KorCommandResult::Outcome::kExited, 0, asked == command ? output : std::string()};
  }
  bool FileExists(const KorString&) override { return false; }
  KorString HostName() override { return "bench"; }
  KorString DistributionName() override { return "Bench"; }

 private:
  const KorString command;
  const std::string output;
  KorMachine* const previous;
};

std::string Processors(int64_t count) {
  std::string text;
  for (int64_t i = 0; i < count; ++i) {
    text += "processor\t: " + std::to_string(i) +
            "\nvendor_id\t: GenuineExample\ncpu family\t: 6\nmodel\t\t: 45\n"
            "model name\t: Example CPU 2.00GHz\nstepping\t: 7\ncpu MHz\t\t: 2000.000\n"
            "physical id\t: " +
            std::to_string(i / 64) + "\nflags\t\t: " + std::string(1200, 'f') + "\n\n";
  }
  return text;
}

std::string Mounts(int64_t count) {
  std::string text = "Filesystem Type 1kB-blocks Used Available Capacity Mounted on\n";
  for (int64_t i = 0; i < count; ++i) {
    text += "/dev/sd" + std::string(1, static_cast<char>('a' + i % 26)) +
            std::to_string(i / 26 + 1) + " ext4 5000000 1000000 4000000 20% /mnt/" +
            std::to_string(i) + "\n";
  }
  return text;
}

std::string Interfaces(int64_t count) {
  std::string text;
  for (int64_t i = 0; i < count; ++i) {
    text += "eth" + std::to_string(i) +
            "    Link encap:Ethernet  HWaddr 00:1a:2b:3c:4d:5e\n"
            "          inet addr:10.0.0.7  Bcast:10.255.255.255  Mask:255.0.0.0\n"
            "          UP BROADCAST  MTU:1500  Metric:1\n\n";
  }
  return text;
}

void Scan(benchmark::State& state, bool (*scan)(ObjInv&), const char* command,
          std::string (*output)(int64_t)) {
  const MachineWithOneCommand machine(command, output(state.range(0)));
  for (auto _ : state) {
    ObjInv document(nullptr);
    benchmark::DoNotOptimize(scan(document));
  }
  state.SetComplexityN(state.range(0));
}

void BM_ScanProcessor(benchmark::State& state) {
  Scan(state, HardwareInventory::ScanProcessor, "cat /proc/cpuinfo", Processors);
}
void BM_ScanLogicalDisk(benchmark::State& state) {
  Scan(state, HardwareInventory::ScanLogicalDisk, "/bin/df -TP -B 1000", Mounts);
}
void BM_ScanPhysicalDisk(benchmark::State& state) {
  Scan(state, HardwareInventory::ScanPhysicalDisk, "/bin/df -TP -B 1000", Mounts);
}
void BM_ScanNetworkAdapter(benchmark::State& state) {
  Scan(state, HardwareInventory::ScanNetworkAdapter, "/sbin/ifconfig -a", Interfaces);
}

BENCHMARK(BM_ScanProcessor)->Arg(512)->Arg(4096)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ScanLogicalDisk)->Arg(250)->Arg(2000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ScanPhysicalDisk)->Arg(250)->Arg(2000)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ScanNetworkAdapter)->Arg(63)->Arg(504)->Unit(benchmark::kMicrosecond);

}  // namespace

BENCHMARK_MAIN();
