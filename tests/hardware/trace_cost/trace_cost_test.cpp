// What telling costs when nobody listens. A program of its own: it counts all allocations.

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "hardware/filter/hw_filter_codes.h"
#include "hardware/filter/rule_trace.h"
#include "hardware/scan/toolkit.h"
#include "kor/trace.h"

namespace {

size_t allocations = 0;

}  // namespace

void* operator new(size_t size) {
  ++allocations;
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  return memory;
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
  std::free(memory);
}

namespace {

using HardwareInventory::Printed;

const KorString kText("a text that is too long to be stored without memory of its own\n");
constexpr const char* kPattern = "^a (pattern) that is too long to be stored without memory$";

TEST(TraceCost, NothingIsAllocatedWithoutAListener) {
  ObjInv inventory(nullptr);
  ObjType& type = *inventory.Ensure("Class");
  ObjInst& instance = *HardwareInventory::EnsureInstance(type, "0");
  const KorString name("Attribute");
  HardwareInventory::SetValue(instance, name, kText, {});
  HardwareInventory::HwFilterAttr rule;
  rule.GetFlags() = HardwareInventory::kFilterHasMatch | HardwareInventory::kFilterHasMatchName;
  const Printed printed{"a command that is too long to be stored without memory", kText};
  const size_t before = allocations;

  HardwareInventory::EnsureInstance(type, type.Instances().Get("0")->GetName());
  HardwareInventory::SetValue(instance, name, kText, {printed.Whole()}, "how");
  HardwareInventory::TellAbsent(instance, "Other", {printed.Searched(kPattern, 0)});
  HardwareInventory::TellTextSkipped(type, printed.SearchedThroughout(kPattern));
  HardwareInventory::TellClassSkipped("Other", "why");
  const HardwareInventory::RuleTrace trace(rule, *instance.Attributes().Get("Attribute"));
  trace.Done(name);
  trace.Rejected();

  EXPECT_EQ(allocations, before);
}

TEST(TraceCost, AListenerIsWhatItCosts) {
  KorTrace listener;
  KorTrace::SetCurrent(&listener);
  ObjInv inventory(nullptr);
  ObjInst& instance = *inventory.Ensure("Class")->Ensure("0");
  HardwareInventory::SetValue(instance, "Attribute", kText, {});
  const HardwareInventory::HwFilterAttr rule;
  const size_t before = allocations;

  const HardwareInventory::RuleTrace trace(rule, *instance.Attributes().Get("Attribute"));

  EXPECT_GT(allocations, before);
  KorTrace::SetCurrent(nullptr);
}

}  // namespace
