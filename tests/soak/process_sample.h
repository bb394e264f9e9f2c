// What this process holds at an instant.

#pragma once

#include <unistd.h>

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>

struct ProcessSample {
  size_t residentKib = 0;
  size_t descriptors = 0;

  static ProcessSample Now() {
    ProcessSample sample;
    size_t pages = 0;
    size_t residentPages = 0;
    std::ifstream("/proc/self/statm") >> pages >> residentPages;
    sample.residentKib = residentPages * static_cast<size_t>(sysconf(_SC_PAGESIZE)) / 1024;
    const std::filesystem::directory_iterator entries("/proc/self/fd");
    // Without the one that looks.
    sample.descriptors = static_cast<size_t>(std::distance(begin(entries), end(entries))) - 1;
    return sample;
  }
};
