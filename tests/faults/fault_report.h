// What the fault library and the program that uses it tell each other: the environment and one
// file, mapped into both, which also a process that crashes leaves behind.

#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

// The environment. Without a report the library does nothing.
inline constexpr const char* kFaultReport = "KOR_FAULT_REPORT";  // an empty file, to be filled
inline constexpr const char* kFaultKind = "KOR_FAULT_KIND";      // the name of a kind
inline constexpr const char* kFaultNumber =
    "KOR_FAULT_NUMBER";                                        // which call fails, from 1; 0: none
inline constexpr const char* kFaultError = "KOR_FAULT_ERROR";  // the errno that it fails with
// How many callers tell one place of the program from another; when not set, places are not noted.
inline constexpr const char* kFaultDepth = "KOR_FAULT_DEPTH";

struct FaultPlace {
  std::atomic<uint64_t> key = 0;        // of the callers; 0: no place
  std::atomic<uint64_t> firstCall = 0;  // its first call, from 1
};

struct FaultReport {
  std::atomic<uint64_t> calls = 0;  // of the kind, since main began
  std::atomic<bool> failed = false;
  std::array<char, 512> what = {};    // of the call that failed: its name, and which file
  std::array<char, 8192> trace = {};  // and its callers
  // A hash table; in a run without a failure, where each place was first reached.
  std::array<FaultPlace, size_t{1} << 16> places;
};
