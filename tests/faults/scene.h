// What the runs of the agent with a failure begin from, and what they must come to.

#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "agent_run.h"

struct Programs {
  std::string agent;
  std::string module;
  std::filesystem::path library;
};

class Scene {
 public:
  // Runs inventories with their uploads of that recording, of this machine when it is empty. The
  // home to begin from, which none need be, is copied for each run. Throws std::runtime_error when
  // the run without any failure does not end well.
  Scene(const Programs& usedPrograms, const std::filesystem::path& workFolder,
        const std::filesystem::path& firstHome, const std::filesystem::path& usedRecording);

  // Counts the calls, and notes their places when the fault has a depth.
  AgentRun Count(const Fault& fault) const;

  struct Trial {
    AgentRun run;
    std::vector<std::string> complaints;
    bool isNamed = false;  // the failure, by the agent
  };

  // A run with the failure and the good one after it. Nothing is complained of when the failure did
  // not come.
  Trial Try(const Fault& fault) const;

 private:
  using Complain = std::function<void(const std::string&)>;

  void CopyHome() const;
  AgentRun Run(const Fault& fault, const std::filesystem::path& library) const;
  std::string Log() const;
  std::string Sent() const;
  bool IsNamed(const AgentRun& run, const Fault& fault) const;
  void CheckEnd(const AgentRun& run, const Complain& complain) const;
  void CheckAnswer(const Trial& trial, const Fault& fault, const Complain& complain) const;
  void CheckResult(const AgentRun& run, const Complain& complain) const;
  void Heal(const Complain& complain) const;

  const Programs& programs;
  std::filesystem::path work;
  std::filesystem::path first;
  std::filesystem::path recording;
  std::filesystem::path home;
  std::string logBefore;
  // Of the run without a failure.
  std::string rightOutput;
  std::string rightSent;
};
