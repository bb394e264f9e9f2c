#include "agent/scan_gaps.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "kor/command.h"

namespace agent {
namespace {

using Outcome = KorCommandResult::Outcome;

constexpr int kCannotExecute = 126;
constexpr int kNotFound = 127;
constexpr int kFirstSignalStatus = 129;

struct KnownTool {
  std::string_view name;
  std::string_view package;
};
constexpr KnownTool kTools[] = {
    {"dmidecode", "dmidecode"}, {"ifconfig", "net-tools"}, {"route", "net-tools"},
    {"lspci", "pciutils"},      {"file", "file"},          {"pgrep", "procps"},
    {"xargs", "findutils"},     {"grep", "grep"},          {"df", "coreutils"},
    {"cat", "coreutils"},       {"uname", "coreutils"},    {"cut", "coreutils"},
    {"tr", "coreutils"},
};

std::string_view BaseName(std::string_view word) {
  return word.substr(word.rfind('/') + 1);
}

const KnownTool* ToolOf(std::string_view word) {
  const auto* const found =
      std::find_if(std::begin(kTools), std::end(kTools),
                   [&](const auto& tool) { return tool.name == BaseName(word); });
  return found == std::end(kTools) ? nullptr : found;
}

std::string_view FirstWord(std::string_view text) {
  const size_t begin = text.find_first_not_of(' ');
  if (begin == std::string_view::npos) return {};
  return text.substr(begin, text.find(' ', begin) - begin);
}

// The first words of what stands between pipes and backquotes. What is cut out of quoted words is
// no tool that anybody knows.
std::vector<std::string_view> Words(std::string_view command) {
  std::vector<std::string_view> words;
  while (!command.empty()) {
    const size_t end = std::min(command.find_first_of("|`"), command.size());
    const std::string_view word = FirstWord(command.substr(0, end));
    if (!word.empty()) words.push_back(word);
    command.remove_prefix(std::min(end + 1, command.size()));
  }
  return words;
}

bool IsOneCommand(std::string_view command) {
  return command.find_first_of("|`") == std::string_view::npos;
}

std::string WithoutBackquoted(std::string_view command) {
  std::string rest;
  bool isWithin = false;
  for (const char character : command) {
    if (character == '`') {
      isWithin = !isWithin;
    } else if (!isWithin) {
      rest += character;
    }
  }
  return rest;
}

// The name of the one whose status is the command's.
std::string LastName(std::string_view command) {
  const std::string pipeline = WithoutBackquoted(command);
  std::string_view last = FirstWord(pipeline);
  for (const std::string_view word : Words(pipeline)) {
    if (ToolOf(word) != nullptr) last = word;
  }
  return std::string(BaseName(last));
}

std::string HowToInstall(const KnownTool* tool, const ScanSurroundings& surroundings) {
  if (tool == nullptr || !surroundings.isLive) return {};
  const std::string package(tool->package);
  return surroundings.hasApt ? "; apt-get install " + package : "; install the package " + package;
}

std::string NotThere(std::string_view word, ToolPlace place, const ScanSurroundings& surroundings) {
  const std::string name(BaseName(word));
  if (place == ToolPlace::kForRoot) return name + " is for root only; run as root";
  if (!surroundings.isLive) return name + " was not there";
  return name + " is not installed" + HowToInstall(ToolOf(word), surroundings);
}

// Why something could not be run; empty when everything could.
std::string WhyNotRun(std::string_view command, const KorCommandResult& result,
                      const ScanSurroundings& surroundings) {
  const std::string name = LastName(command);
  switch (result.outcome) {
    case Outcome::kNotStarted:
      return name + " could not be run: no process or no shell";
    case Outcome::kKilled:
      return name + " was killed by signal " + std::to_string(result.status);
    case Outcome::kTooLong:
      return name + " printed too much and was stopped";
    case Outcome::kExited:
    case Outcome::kStatusLost:
      break;
  }
  if (surroundings.isLive) {
    for (const std::string_view word : Words(command)) {
      if (ToolOf(word) == nullptr) continue;
      const ToolPlace place = surroundings.find(word);
      if (place != ToolPlace::kOnPath) return NotThere(word, place, surroundings);
    }
  }
  if (result.status == kNotFound) {
    return NotThere(name, ToolPlace::kMissing, surroundings);
  }
  if (result.status == kCannotExecute) {
    return name + " may not be executed; check its permissions";
  }
  if (result.status >= kFirstSignalStatus) {
    return name + " was killed by signal " + std::to_string(result.status - kFirstSignalStatus + 1);
  }
  return {};
}

std::string Dmidecode(const std::string& failed, const ScanSurroundings& surroundings) {
  if (!surroundings.isLive) return failed + ": no firmware tables, or not run as root";
  if (!surroundings.isRoot) return failed + ": permission denied; run as root";
  return failed + ": this machine shows no firmware tables, as in most containers";
}

// Why something that ran found nothing; empty where there may have been nothing to find.
std::string WhyFailed(std::string_view command, const KorCommandResult& result,
                      const ScanSurroundings& surroundings) {
  if (result.outcome != Outcome::kExited || result.status == 0) return {};
  const std::string last = LastName(command);
  if (result.status == 1 && (last == "grep" || last == "pgrep")) return {};
  const std::string failed = last + " failed with status " + std::to_string(result.status);
  if (last == "dmidecode") return Dmidecode(failed, surroundings);
  if (last == "cat" && IsOneCommand(command)) {
    return std::string(command.substr(command.rfind(' ') + 1)) + " cannot be read";
  }
  return failed;
}

void AddOnce(const std::string& text, std::vector<std::string>& texts) {
  if (text.empty() || std::find(texts.begin(), texts.end(), text) != texts.end()) return;
  texts.push_back(text);
}

bool IsProgram(const std::string& path) {
  return access(path.c_str(), X_OK) == 0;
}

bool IsInFolders(std::string_view folders, std::string_view name) {
  while (!folders.empty()) {
    const size_t end = std::min(folders.find(':'), folders.size());
    if (IsProgram(std::string(folders.substr(0, end)) + "/" + std::string(name))) return true;
    folders.remove_prefix(std::min(end + 1, folders.size()));
  }
  return false;
}

ToolPlace FindTool(std::string_view word) {
  constexpr std::string_view kFoldersOfRoot = "/usr/local/sbin:/usr/sbin:/sbin";
  if (word.find('/') != std::string_view::npos) {
    return IsProgram(std::string(word)) ? ToolPlace::kOnPath : ToolPlace::kMissing;
  }
  const char* path = std::getenv("PATH");
  if (path != nullptr && IsInFolders(path, word)) return ToolPlace::kOnPath;
  return IsInFolders(kFoldersOfRoot, word) ? ToolPlace::kForRoot : ToolPlace::kMissing;
}

}  // namespace

ScanSurroundings ThisProcess(bool isLive) {
  return {isLive, geteuid() == 0, IsProgram("/usr/bin/apt-get"), FindTool};
}

ScanGaps::ScanGaps(ScanSurroundings ofTheRun)
    : surroundings(std::move(ofTheRun)), before(SetCurrent(this)) {}

ScanGaps::~ScanGaps() {
  SetCurrent(before);
}

void ScanGaps::OnClasses(std::span<const std::string_view> names) {
  currentClasses.assign(names.begin(), names.end());
  for (const std::string& name : currentClasses) ClassNamed(name);
}

void ScanGaps::OnCommand(const KorString& command, const KorCommandResult& result) {
  if (KorCommandSucceeded(result) && !result.output.empty()) return;
  const std::string notRun = WhyNotRun(command.View(), result, surroundings);
  const std::string failure =
      notRun.empty() ? WhyFailed(command.View(), result, surroundings) : std::string();
  for (const std::string& name : currentClasses) {
    Scanned& scanned = ClassNamed(name);
    AddOnce(notRun, scanned.missing);
    AddOnce(failure, scanned.failures);
  }
}

void ScanGaps::OnInstance(const void* /*instance*/, std::string_view className,
                          std::string_view /*name*/) {
  ClassNamed(className).hasInstances = true;
}

const std::vector<std::string>& ScanGaps::ReasonsOf(const Scanned& scanned) {
  const bool isFailureTold = scanned.missing.empty() && !scanned.hasInstances;
  return isFailureTold ? scanned.failures : scanned.missing;
}

std::vector<std::string> ScanGaps::Reasons() const {
  std::vector<std::pair<std::string, std::string>> namesByReason;
  for (const Scanned& scanned : classes) {
    for (const std::string& reason : ReasonsOf(scanned)) {
      const auto found = std::find_if(namesByReason.begin(), namesByReason.end(),
                                      [&](const auto& entry) { return entry.first == reason; });
      if (found == namesByReason.end()) {
        namesByReason.emplace_back(reason, scanned.name);
      } else {
        found->second += ", " + scanned.name;
      }
    }
  }
  std::vector<std::string> lines;
  lines.reserve(namesByReason.size());
  for (const auto& [reason, names] : namesByReason) lines.push_back(names + ": " + reason);
  return lines;
}

std::vector<std::string> ScanGaps::EmptyClasses() const {
  std::vector<std::string> names;
  for (const Scanned& scanned : classes) {
    if (!scanned.hasInstances && ReasonsOf(scanned).empty()) names.push_back(scanned.name);
  }
  return names;
}

ScanGaps::Scanned& ScanGaps::ClassNamed(std::string_view name) {
  const auto found = std::find_if(classes.begin(), classes.end(),
                                  [&](const Scanned& scanned) { return scanned.name == name; });
  if (found != classes.end()) return *found;
  return classes.emplace_back(Scanned{std::string(name), false, {}, {}});
}

}  // namespace agent
