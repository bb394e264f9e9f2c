// Makes the scans of an inventory run and tells what they ran, in order:
//   list_commands lines    each command line, ended by a NUL
//   list_commands times    start and end in milliseconds, a tab, the command line; "scans" is all

#include <cstdio>
#include <string>

#include "hardware/inventory/scan_run.h"
#include "kor/machine.h"
#include "korcore/obj_inv.h"
#include "table.h"

namespace {

class TellingMachine : public KorMachine {
 public:
  explicit TellingMachine(bool tellsTimes) : withTimes(tellsTimes) {}

  KorCommandResult RunCommand(const KorString& command) override {
    const double begin = Milliseconds();
    KorCommandResult result = live.RunCommand(command);
    Tell(begin, command);
    return result;
  }
  bool FileExists(const KorString& path) override { return live.FileExists(path); }
  KorString HostName() override { return live.HostName(); }
  KorString DistributionName() override { return live.DistributionName(); }

  double Milliseconds() const { return (bench::ClockSeconds(CLOCK_MONOTONIC) - start) * 1000; }

  void Tell(double begin, const KorString& command) const {
    if (withTimes) {
      std::printf("%.3f %.3f\t%s\n", begin, Milliseconds(), command.CStr());
    } else {
      std::printf("%s%c", command.CStr(), '\0');
    }
  }

 private:
  const bool withTimes;
  const double start = bench::ClockSeconds(CLOCK_MONOTONIC);
  KorLiveMachine live;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  const bool withTimes = std::string(argv[1]) == "times";
  TellingMachine machine(withTimes);
  KorMachine::SetCurrent(&machine);
  ObjInv document(nullptr);
  for (const HardwareInventory::Scanner& scanner : HardwareInventory::Scanners()) {
    HardwareInventory::RunScanner(scanner, document);
  }
  if (withTimes) machine.Tell(0, "scans");
  KorMachine::SetCurrent(nullptr);
}
