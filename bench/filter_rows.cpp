// The translation rules against a bare loop of compiled matches over the same subjects.

#define PCRE2_CODE_UNIT_WIDTH 8
#include <benchmark/benchmark.h>
#include <pcre2.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "hardware/filter/hw_filter.h"
#include "hardware/filter/hw_filter_codes.h"
#include "korcore/obj_inv.h"
#include "ratios.h"
#include "table.h"

namespace {

using HardwareInventory::HwFilter;
using HardwareInventory::HwFilterAttr;

constexpr int kAttributes = 1000;
constexpr int kRules = 100;

std::string Word(int rule) {
  return "Capacity " + std::to_string(rule) + " of the bank";
}

// Rules that apply to nothing: how much is rewritten is the user's choice.
void AddRules(HwFilter& filter, uint32_t method) {
  for (int n = 0; n < kRules; ++n) {
    auto rule = std::make_unique<HwFilterAttr>();
    rule->GetName() = KorString(std::to_string(n));
    rule->GetFlags() = HardwareInventory::kFilterHasMatch | HardwareInventory::kFilterHasMatchName |
                       HardwareInventory::kFilterHasAction;
    rule->MatchName().method = method;
    rule->MatchName().data = KorString(Word(n));
    filter.AttrAdd(rule.release());
  }
  filter.GetHwListMaxPass() = 1;
}

class BareMatches {
 public:
  BareMatches() {
    int error = 0;
    size_t offset = 0;
    for (int n = 0; n < kRules; ++n) {
      const std::string word = Word(n);
      pcre2_code* code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(word.data()), word.size(),
                                       PCRE2_CASELESS, &error, &offset, nullptr);
      if (code == nullptr || pcre2_jit_compile(code, PCRE2_JIT_COMPLETE) != 0) {
        throw std::runtime_error("the library of expressions cannot be used");
      }
      codes.push_back(code);
    }
  }
  ~BareMatches() {
    pcre2_match_data_free(data);
    for (pcre2_code* code : codes) pcre2_code_free(code);
  }
  BareMatches(const BareMatches&) = delete;
  BareMatches& operator=(const BareMatches&) = delete;

  int CountMatches(const ObjInst& instance) const {
    int found = 0;
    for (const ObjInstAttr* attribute : instance.Attributes()) {
      const auto subject = reinterpret_cast<PCRE2_SPTR>(attribute->GetName().CStr());
      for (const pcre2_code* code : codes) {
        found +=
            pcre2_match(code, subject, attribute->GetName().GetLength(), 0, 0, data, nullptr) > 0;
      }
    }
    return found;
  }

 private:
  std::vector<pcre2_code*> codes;
  pcre2_match_data* data = pcre2_match_data_create(1, nullptr);
};

void FilterRow(const char* name, uint32_t method) {
  HwFilter filter;
  AddRules(filter, method);
  ObjInv document(nullptr);
  ObjInst& instance = *document.Ensure("Physical Memory")->Ensure("Physical Memory");
  for (int n = 0; n < kAttributes; ++n) {
    instance.Ensure(KorString("Attribute " + std::to_string(n)))->SetValue("8589934592");
  }
  const BareMatches bare;
  const bench::Pairs pairs =
      bench::ThreadTimes([&] { filter.ProcessAttrs(document); },
                         [&] { benchmark::DoNotOptimize(bare.CountMatches(instance)); });
  bench::PrintTimes(name, pairs, 1.5);
}

}  // namespace

void bench::FilterRows() {
  FilterRow("100,000 rule conditions, regex / bare JIT matches",
            HardwareInventory::kFilterMatchRegex);
  FilterRow("100,000 rule conditions, text / bare JIT matches",
            HardwareInventory::kFilterMatchText);
}
