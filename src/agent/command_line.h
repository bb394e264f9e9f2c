// The command line of kor-agent.

#pragma once

#include <string>
#include <variant>
#include <vector>

#include "kor/debug.h"

namespace agent {

struct CommonOptions {
  std::string home;  // empty: the default
  std::vector<std::string> modules;
  KorLogLevel logLevel = KorLogLevel::kWarning;
};

enum class Format { kTable, kJson, kXml };

struct InventoryOptions {
  Format format = Format::kTable;
  std::string translationFile;  // empty: as configured
  std::string recordFile;       // empty: no recording
  bool redact = false;
  std::string replayFile;  // empty: the live machine
};

struct FilterCheckOptions {
  std::string file;
};

struct CommandLine {
  CommonOptions common;
  std::variant<InventoryOptions, FilterCheckOptions> command;
};

// The command line, or the status to end with: it was wrong (said on standard error) or asked for
// help (given on standard output).
std::variant<CommandLine, int> ParseCommandLine(int argc, char** argv);

}  // namespace agent
