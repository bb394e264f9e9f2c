// Runs inventories with their uploads in one process, as a service does over months, and looks
// whether it grows.
//
// usage: soak --module FILE --machines FOLDER [--runs N] [--growth KIB]
//   --module    the inventory module
//   --machines  tests/machines
//   --runs      10000 by default; the first tenth, 50 at least, is for warming up
//   --growth    how much more memory may be resident at the end than after the warm-up; without it,
//               as with a sanitizer, whose memory tells nothing, only descriptors are looked at

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

#include "process_sample.h"
#include "soak_home.h"
#include "support/work_folder.h"

namespace {

constexpr size_t kShortestWarmUp = 50;
constexpr size_t kEarlySample = 100;
constexpr size_t kLines = 20;

struct Options {
  std::string module;
  std::string machines;
  size_t runs = 10000;
  std::optional<size_t> growthKib;
};

void Print(size_t run, const ProcessSample& sample) {
  std::printf("%6zu runs: %zu KiB resident, %zu descriptors\n", run, sample.residentKib,
              sample.descriptors);
  std::fflush(stdout);
}

void RunOne(SoakHome& home) {
  home.Run(true);
  if (home.TakeDelivered() != 1) throw std::runtime_error("not one upload for one run");
}

void Soak(const Options& options) {
  const WorkFolder work;
  const std::string folder = options.machines + "/";
  SoakHome home(work.Path(), options.module,
                {folder + "classic_server.machine", folder + "several_nics.machine",
                 folder + "modern_nvme.machine"},
                "");
  const size_t warmUp = std::max(options.runs / 10, kShortestWarmUp);
  const size_t step = std::max(options.runs / kLines, size_t{1});
  ProcessSample warm;
  for (size_t run = 1; run <= options.runs; ++run) {
    RunOne(home);
    if (run % step != 0 && run != kEarlySample && run != warmUp && run != options.runs) continue;
    const ProcessSample sample = ProcessSample::Now();
    Print(run, sample);
    if (run == warmUp) warm = sample;
    if (run <= warmUp) continue;
    if (sample.descriptors != warm.descriptors) throw std::runtime_error("descriptors are lost");
    if (options.growthKib && sample.residentKib > warm.residentKib + *options.growthKib) {
      throw std::runtime_error("the memory grows");
    }
  }
}

bool Take(Options& options, std::string_view name, const char* value) {
  if (name == "--module") {
    options.module = value;
  } else if (name == "--machines") {
    options.machines = value;
  } else if (name == "--runs") {
    options.runs = std::strtoul(value, nullptr, 10);
  } else if (name == "--growth") {
    options.growthKib = std::strtoul(value, nullptr, 10);
  } else {
    return false;
  }
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  Options options;
  bool isUnderstood = argc % 2 == 1;
  for (int index = 1; isUnderstood && index + 1 < argc; index += 2) {
    isUnderstood = Take(options, argv[index], argv[index + 1]);
  }
  if (!isUnderstood || options.module.empty() || options.machines.empty() ||
      options.runs <= kShortestWarmUp) {
    std::fputs("usage: soak --module FILE --machines FOLDER [--runs N] [--growth KIB]\n", stderr);
    return 2;
  }
  try {
    Soak(options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "soak: %s\n", error.what());
    return 1;
  }
}
