// The container, and an action invoked through the database.

#include <benchmark/benchmark.h>

#include <map>
#include <stdexcept>
#include <string>

#include "kor/container.h"
#include "korcore/action_db.h"
#include "ratios.h"
#include "table.h"

namespace {

constexpr int kRepeats = 100'000;
constexpr const char* kKeys[] = {"UploadInterval", "UploadGap", "DifferentialUpload",
                                 "TranslationFile"};

uint32_t Nothing(KorContainer* container) {
  benchmark::DoNotOptimize(container);
  return ACTIONDB_ERROR_SUCCESS;
}

void PrintNanoseconds(const char* name, const bench::Pairs& pairs, double target) {
  bench::PrintRow(name, bench::TimeText(pairs.Ours() / kRepeats),
                  bench::TimeText(pairs.Other() / kRepeats), pairs.Ours() / kRepeats * 1e9, target);
}

void ContainerRow() {
  const KorString value("8589934592");
  const auto ours = [&] {
    for (int n = 0; n < kRepeats / 4; ++n) {
      KorContainer container;
      for (const char* key : kKeys) container.SetString(key, value);
      KorString out;
      for (const char* key : kKeys) benchmark::DoNotOptimize(container.GetString(key, out));
    }
  };
  const auto other = [&] {
    for (int n = 0; n < kRepeats / 4; ++n) {
      std::map<std::string, std::string> map;
      for (const char* key : kKeys) map[key] = value.Str();
      std::string out;
      for (const char* key : kKeys) benchmark::DoNotOptimize(out = map.find(key)->second);
    }
  };
  PrintNanoseconds("container, a value set and read / std::map, in ns",
                   bench::ThreadTimes(ours, other), 1000);
}

void ActionRow() {
  const int module = 0;
  if (ActionDbRegisterAction("BenchNothing ()", Nothing, &module) != ACTIONDB_ERROR_SUCCESS) {
    throw std::runtime_error("the action cannot be registered");
  }
  const KorString target;
  const KorString action("BenchNothing");
  const auto ours = [&] {
    KorContainer container;
    for (int n = 0; n < kRepeats; ++n) {
      benchmark::DoNotOptimize(ActionDbInvokeContainer(target, action, container, 0, -1, -1, 0));
    }
  };
  const ActionHandler handler = Nothing;
  const auto other = [&] {
    KorContainer container;
    for (int n = 0; n < kRepeats; ++n) benchmark::DoNotOptimize(handler(&container));
  };
  PrintNanoseconds("action invoked through the database / called, in ns",
                   bench::ThreadTimes(ours, other), 1000);
  ActionDbDropModule(&module);
}

}  // namespace

void bench::FrameworkRows() {
  ContainerRow();
  ActionRow();
}
