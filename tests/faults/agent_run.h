// One run of the agent in which one call may be made to fail.

#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

struct Fault {
  std::string kind;     // as the library names it
  int error = 0;        // the errno of the failure
  uint64_t number = 0;  // which call fails, from 1; 0: none, the calls are counted
  int depth = 0;        // for a run without a failure: notes the places, told apart by that many
                        // callers
};

struct AgentRun {
  int status = -1;  // -1 when a signal ended it
  int signal = 0;
  bool isKilled = false;  // since it did not end
  std::string output;
  std::string errors;
  // Of the fault.
  uint64_t calls = 0;
  bool failed = false;
  std::string what;
  std::string trace;
  std::vector<uint64_t> places;  // the first call of each, in order
};

// Runs the command; its output and the report go through files of the folder. Without a library no
// call fails and nothing is reported. Throws std::runtime_error when it cannot be started.
AgentRun RunAgent(std::vector<std::string> command, const Fault& fault,
                  const std::filesystem::path& library, const std::filesystem::path& folder);

// The whole of a file; empty when there is none.
std::string ContentOf(const std::filesystem::path& path);
