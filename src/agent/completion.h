// The completion of kor-agent's command line by shells, made from its own description.

#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace agent {

// What stands in the place of an option's value or of an argument.
enum class Completed { kNothing, kFiles, kFolders, kChoices, kActions };

struct CompletedValue {
  std::string name;
  Completed kind = Completed::kNothing;
  std::vector<std::string> choices;
};

struct CompletedOption {
  std::vector<std::string> names;  // with their dashes
  std::string description;
  bool hasValue = false;
  CompletedValue value;
};

// Options and arguments of the commands above it are in none of the commands below.
struct CompletedCommand {
  std::vector<std::string> path;  // the names that lead to it; empty for the program
  std::string description;
  std::vector<CompletedOption> options;
  std::vector<CompletedValue> arguments;
  std::vector<CompletedCommand> commands;
};

// Without what help does not show.
CompletedCommand DescribeForCompletion(const CLI::App& application);

// Scripts to be read by the shells.
std::string BashCompletion(const CompletedCommand& program);
std::string ZshCompletion(const CompletedCommand& program);

}  // namespace agent
