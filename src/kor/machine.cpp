#include "kor/machine.h"

#include <atomic>
#include <memory>

namespace {

// Null stands for the live machine.
std::atomic<KorMachine*> currentMachine = nullptr;

KorMachine& LiveMachine() {
  // Never destroyed: threads may still ask while the process ends.
  static KorMachine* const machine = std::make_unique<KorLiveMachine>().release();
  return *machine;
}

}  // namespace

KorMachine& KorMachine::Current() {
  KorMachine* const machine = currentMachine.load(std::memory_order_acquire);
  return machine == nullptr ? LiveMachine() : *machine;
}

KorMachine* KorMachine::SetCurrent(KorMachine* machine) {
  return currentMachine.exchange(machine, std::memory_order_acq_rel);
}
