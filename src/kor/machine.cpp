#include "kor/machine.h"

#include <atomic>

#include "kor/immortal.h"

namespace {

// Null stands for the live machine.
std::atomic<KorMachine*> currentMachine = nullptr;

KorMachine& LiveMachine() {
  // Never destroyed: threads may still ask while the process ends.
  static KorImmortal<KorLiveMachine> machine;
  return machine.object;
}

}  // namespace

KorMachine& KorMachine::Current() {
  KorMachine* const machine = currentMachine.load(std::memory_order_acquire);
  return machine == nullptr ? LiveMachine() : *machine;
}

KorMachine* KorMachine::SetCurrent(KorMachine* machine) {
  return currentMachine.exchange(machine, std::memory_order_acq_rel);
}
