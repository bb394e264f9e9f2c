#include "agent/usage_error.h"

#include <vector>

#include "agent/near_miss.h"

namespace agent {
namespace {

// The command that the words led to.
const CLI::App& Deepest(const CLI::App& application) {
  const CLI::App* deepest = &application;
  while (!deepest->get_subcommands().empty()) deepest = deepest->get_subcommands().front();
  return *deepest;
}

std::string FullName(const CLI::App& command) {
  const CLI::App* parent = command.get_parent();
  return parent == nullptr ? command.get_name() : FullName(*parent) + " " + command.get_name();
}

std::vector<std::string> CommandNames(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::App* each : command.get_subcommands(nullptr)) {
    if (!each->get_group().empty()) names.push_back(each->get_name());
  }
  return names;
}

// Those of the commands above are options of it, too.
std::vector<std::string> OptionNames(const CLI::App& command) {
  std::vector<std::string> names;
  for (const CLI::App* app = &command; app != nullptr; app = app->get_parent()) {
    for (const CLI::Option* option : app->get_options()) {
      for (const std::string& name : option->get_lnames()) names.push_back("--" + name);
    }
  }
  return names;
}

// An option before other words: its value is as unknown as itself.
const std::string& FirstUnknown(const std::vector<std::string>& words) {
  for (const std::string& word : words) {
    if (word.starts_with("-")) return word;
  }
  return words.front();
}

std::string UnknownText(const CLI::App& command, const std::string& word) {
  if (word.starts_with("-")) {
    const std::string name = word.substr(0, word.find('='));
    return "unknown option '" + name + "'" + DidYouMean(name, OptionNames(command));
  }
  const std::vector<std::string> commands = CommandNames(command);
  if (commands.empty()) return "'" + word + "' is one argument too many";
  return "unknown command '" + word + "'" + DidYouMean(word, commands);
}

}  // namespace

std::string UsageErrorText(const CLI::App* application, const CLI::Error& error) {
  const CLI::App& command = Deepest(*application);
  const std::vector<std::string> unknown = application->remaining(true);
  const int code = error.get_exit_code();
  const bool isUnknown =
      !unknown.empty() && (code == static_cast<int>(CLI::ExitCodes::ExtrasError) ||
                           code == static_cast<int>(CLI::ExitCodes::RequiredError));
  const std::string text = isUnknown ? UnknownText(command, FirstUnknown(unknown)) : error.what();
  return "kor-agent: " + text + "\nRun '" + FullName(command) + " --help' for more information.\n";
}

}  // namespace agent
