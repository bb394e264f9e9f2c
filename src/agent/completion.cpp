#include "agent/completion.h"

#include <algorithm>
#include <map>
#include <string_view>
#include <utility>

namespace agent {
namespace {

// "Messages on standard error: trace, detail or print" names three choices.
std::vector<std::string> ChoicesOf(const std::string& description) {
  const size_t colon = description.rfind(": ");
  std::string list = colon == std::string::npos ? description : description.substr(colon + 2);
  constexpr std::string_view kOr = " or ";
  const size_t last = list.rfind(kOr);
  if (last != std::string::npos) list.replace(last, kOr.size(), ", ");
  std::vector<std::string> choices;
  for (size_t begin = 0; begin <= list.size();) {
    const size_t end = std::min(list.find(", ", begin), list.size());
    choices.push_back(list.substr(begin, end - begin));
    begin = end + 2;
  }
  return choices;
}

CompletedValue DescribeValue(const std::string& name, const std::string& description) {
  static const std::map<std::string, Completed> kinds = {
      {"FILE", Completed::kFiles},    {"FILE.html", Completed::kFiles},
      {"OLD", Completed::kFiles},     {"NEW", Completed::kFiles},
      {"SRC", Completed::kFiles},     {"DST", Completed::kFiles},
      {"DIR", Completed::kFolders},   {"FORMAT", Completed::kChoices},
      {"LEVEL", Completed::kChoices}, {"ACTION", Completed::kActions},
  };
  CompletedValue value;
  value.name = name;
  const auto kind = kinds.find(name);
  if (kind != kinds.end()) value.kind = kind->second;
  if (value.kind == Completed::kChoices) value.choices = ChoicesOf(description);
  return value;
}

CompletedOption DescribeOption(const CLI::Option& option) {
  CompletedOption described;
  for (const std::string& name : option.get_snames()) described.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) described.names.push_back("--" + name);
  described.description = option.get_description();
  described.hasValue = option.get_items_expected_max() > 0;
  if (described.hasValue) {
    described.value = DescribeValue(option.get_type_name(), described.description);
  }
  return described;
}

CompletedCommand DescribeCommand(const CLI::App& app, std::vector<std::string> path) {
  CompletedCommand command;
  command.path = std::move(path);
  command.description = app.get_description();
  for (const CLI::Option* option : app.get_options()) {
    // That of the program goes with every command.
    const bool isHelpAgain = option == app.get_help_ptr() && app.get_parent() != nullptr;
    if (option->get_group().empty() || isHelpAgain) continue;
    if (option->nonpositional()) {
      command.options.push_back(DescribeOption(*option));
    } else {
      command.arguments.push_back(DescribeValue(option->get_name(true), option->get_description()));
    }
  }
  for (const CLI::App* each : app.get_subcommands(nullptr)) {
    if (each->get_group().empty()) continue;
    std::vector<std::string> below = command.path;
    below.push_back(each->get_name());
    command.commands.push_back(DescribeCommand(*each, std::move(below)));
  }
  return command;
}

}  // namespace

CompletedCommand DescribeForCompletion(const CLI::App& application) {
  return DescribeCommand(application, {});
}

}  // namespace agent
