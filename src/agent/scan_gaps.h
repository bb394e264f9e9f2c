// What a run could not find out, and why, for the user who would otherwise see nothing.

#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "kor/machine.h"
#include "kor/string.h"
#include "kor/trace.h"

namespace agent {

enum class ToolPlace { kOnPath, kForRoot, kMissing };

// What a reason depends on besides the command itself.
struct ScanSurroundings {
  bool isLive = true;  // else a recorded machine, of which nothing else is known
  bool isRoot = true;
  bool hasApt = true;  // whether packages are installed with apt-get
  // Of a command's first word, "/sbin/ifconfig" or "dmidecode"; asked on a live machine only.
  std::function<ToolPlace(std::string_view word)> find;
};

// Those of this process: PATH and the folders of root's programs.
ScanSurroundings ThisProcess(bool isLive);

// Listens to a run on the run's thread while it lives; to be asked when the run is over.
class ScanGaps : public KorTrace {
 public:
  explicit ScanGaps(ScanSurroundings ofTheRun);
  ~ScanGaps() override;
  ScanGaps(const ScanGaps&) = delete;
  ScanGaps& operator=(const ScanGaps&) = delete;

  void OnClasses(std::span<const std::string_view> names) override;
  void OnCommand(const KorString& command, const KorCommandResult& result) override;
  void OnInstance(const void* instance, std::string_view className, std::string_view name) override;

  // "BIOS, Computer System Product: dmidecode is not installed; apt-get install dmidecode", a line
  // for each reason in the order of the run. A command that ran and failed counts only for a class
  // that has no instance after all.
  std::vector<std::string> Reasons() const;

  // The classes that are empty though nothing failed.
  std::vector<std::string> EmptyClasses() const;

 private:
  struct Scanned {
    std::string name;
    bool hasInstances = false;
    std::vector<std::string> missing;   // something could not be run
    std::vector<std::string> failures;  // something ran and failed
  };

  static const std::vector<std::string>& ReasonsOf(const Scanned& scanned);
  Scanned& ClassNamed(std::string_view name);

  const ScanSurroundings surroundings;
  KorTrace* const before;
  std::vector<Scanned> classes;
  std::vector<std::string> currentClasses;
};

}  // namespace agent
