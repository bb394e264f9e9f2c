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
  bool isLogLevelGiven = false;
};

enum class Format { kTable, kJson, kXml };

struct InventoryOptions {
  Format format = Format::kTable;
  std::string translationFile;  // empty: as configured
  std::string recordFile;       // empty: no recording
  bool redact = false;
  std::string replayFile;  // empty: the live machine
  bool upload = false;
  bool force = false;  // the rest goes with the upload
  bool bypassWindows = false;
  bool whole = false;
};

struct ShowOptions {
  Format format = Format::kTable;
  bool sent = false;
  std::string file;  // empty: of the home
};

enum class DiffFormat { kText, kJson };

struct DiffOptions {
  DiffFormat format = DiffFormat::kText;
  std::string oldFile;  // empty: the inventory last sent
  std::string newFile;  // empty: the latest inventory
};

struct ReportOptions {
  std::string outputFile;  // empty: standard output, or a file where that is a terminal
  std::string oldFile;     // empty: the inventory last sent, where FILE is empty too
  std::string file;        // empty: the latest inventory
};

enum class QueryFormat { kTable, kJson, kCsv };

struct QueryOptions {
  QueryFormat format = QueryFormat::kTable;
  std::string sql;
};

struct FilterCheckOptions {
  std::string file;
};

struct FilterApplyOptions {
  std::string file;
  std::string source;
  std::string destination;
  bool explain = false;
};

enum class ExplainFormat { kText, kJson };

struct ExplainOptions {
  ExplainFormat format = ExplainFormat::kText;
  std::string className;
  std::string instance;   // empty: all
  std::string attribute;  // empty: all
};

struct RunOptions {
  std::string replayFile;  // empty: the live machine
};

struct StatusOptions {
  bool json = false;
};

struct ActionsOptions {
  bool json = false;
};

struct InvokeOptions {
  std::string action;
  std::string parameters;  // JSON; empty: none
  bool local = false;
  std::string replayFile;  // empty: the live machine
};

struct CompletionOptions {
  std::string script;
};

struct CommandLine {
  CommonOptions common;
  std::variant<InventoryOptions, ShowOptions, DiffOptions, ReportOptions, QueryOptions,
               FilterCheckOptions, FilterApplyOptions, ExplainOptions, RunOptions, StatusOptions,
               ActionsOptions, InvokeOptions, CompletionOptions>
      command;
};

// The command line, or the status to end with: it was wrong (said on standard error) or asked for
// help (given on standard output).
std::variant<CommandLine, int> ParseCommandLine(int argc, char** argv);

}  // namespace agent
