// A home with an agent in this very process: the host, its module and what it needs.

#pragma once

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "agent/host.h"
#include "kor/recording.h"
#include "kor/string.h"

// Every failure is a std::runtime_error that says what happened.
class SoakHome {
 public:
  // The home is made in that folder; settings are those of the module. The recordings are played in
  // turn. Translation rules change values in each of them.
  SoakHome(const std::filesystem::path& folder, const std::string& module,
           const std::vector<std::string>& recordings, const std::string& settings);
  ~SoakHome();
  SoakHome(const SoakHome&) = delete;
  SoakHome& operator=(const SoakHome&) = delete;

  agent::Host& Host() { return *host; }

  // One inventory of the next machine, to its end.
  void Run(bool upload);

  // Delivers what waits, takes it from the folder upstream and tells how many inventories there
  // were that hold something.
  size_t TakeDelivered();

 private:
  std::filesystem::path home;
  std::vector<std::unique_ptr<KorReplayMachine>> machines;
  size_t next = 0;
  std::unique_ptr<agent::Host> host;
};
