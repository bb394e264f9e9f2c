#include <string>
#include <string_view>

#include "agent/completion.h"

namespace agent {
namespace {

constexpr const char* kBeginning = R"zsh(#compdef kor-agent
# Completion of kor-agent's command line in zsh, made by 'kor-agent completion zsh'.

_kor_agent_actions() {
  local -a names
  names=(${${(f)"$(_call_program actions kor-agent actions 2>/dev/null)"}%% *})
  compadd -a names
}

)zsh";

std::string WithBackslashes(const std::string& text, std::string_view special) {
  std::string escaped;
  for (const char byte : text) {
    if (special.find(byte) != std::string_view::npos) escaped += '\\';
    escaped += byte;
  }
  return escaped;
}

std::string Quoted(const std::string& text) {
  std::string quoted = "'";
  for (const char byte : text) quoted += byte == '\'' ? std::string("'\\''") : std::string(1, byte);
  return quoted + "'";
}

std::string FunctionOf(const CompletedCommand& command) {
  std::string name = "_kor_agent";
  for (const std::string& word : command.path) name += "_" + word;
  return name;
}

std::string ActionFor(const CompletedValue& value) {
  switch (value.kind) {
    case Completed::kFiles:
      return "_files";
    case Completed::kFolders:
      return "_files -/";
    case Completed::kActions:
      return "_kor_agent_actions";
    case Completed::kChoices: {
      std::string list;
      for (const std::string& choice : value.choices) list += (list.empty() ? "" : " ") + choice;
      return "(" + list + ")";
    }
    case Completed::kNothing:
      break;
  }
  return " ";
}

std::string OptionLines(const CompletedCommand& command) {
  std::string text;
  for (const CompletedOption& option : command.options) {
    for (const std::string& name : option.names) {
      std::string line = name + (option.hasValue ? "=" : "");
      line += "[" + WithBackslashes(option.description, "[]\\:") + "]";
      if (option.hasValue) line += ":" + option.value.name + ":" + ActionFor(option.value);
      text += " \\\n    " + Quoted(line);
    }
  }
  return text;
}

std::string ArgumentLines(const CompletedCommand& command) {
  std::string text;
  for (size_t n = 0; n < command.arguments.size(); ++n) {
    const CompletedValue& argument = command.arguments[n];
    text += " \\\n    " +
            Quoted(std::to_string(n + 1) + ":" + argument.name + ":" + ActionFor(argument));
  }
  return text;
}

std::string Function(const CompletedCommand& command, const std::string& optionsAbove) {
  const std::string options = optionsAbove + OptionLines(command);
  const std::string name = FunctionOf(command);
  if (command.commands.empty()) {
    return name + "() {\n  _arguments" + options + ArgumentLines(command) + "\n}\n\n";
  }
  std::string functions;
  std::string list;
  std::string choice;
  for (const CompletedCommand& each : command.commands) {
    functions += Function(each, options);
    const std::string& word = each.path.back();
    list += "    " + Quoted(word + ":" + WithBackslashes(each.description, "\\:")) + "\n";
    choice += "        " + word + ") " + FunctionOf(each) + " ;;\n";
  }
  return functions + name + "() {\n  local state line\n  local -a commands\n  commands=(\n" + list +
         "  )\n  _arguments -C" + options +
         " \\\n    '1: :->command' \\\n    '*:: :->rest'\n  case $state in\n"
         "    command) _describe command commands ;;\n    rest)\n      case $words[1] in\n" +
         choice + "      esac\n      ;;\n  esac\n}\n\n";
}

}  // namespace

std::string ZshCompletion(const CompletedCommand& program) {
  return kBeginning + Function(program, {}) + "_kor_agent \"$@\"\n";
}

}  // namespace agent
