#include <string>

#include "agent/completion.h"

namespace agent {
namespace {

// $path is the command as far as it is written, its words apart by one blank.
constexpr const char* kBeginning =
    R"bash(# Completion of kor-agent's command line in bash, made by 'kor-agent completion bash'.

_kor_agent() {
  local cur=${COMP_WORDS[COMP_CWORD]} prev=${COMP_WORDS[COMP_CWORD - 1]}
  local path= count=0 skip= home= word i
  COMPREPLY=()
  # --name=value is three words here.
  if [[ $cur == = ]]; then
    cur=
  elif [[ $prev == = ]]; then
    prev=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  for ((i = 1; i < COMP_CWORD; i++)); do
    word=${COMP_WORDS[i]}
    [[ $word == = ]] && continue
    if [[ -n $skip ]]; then
      [[ $skip == --home ]] && home=$word
      skip=
      continue
    fi
    case "$path/$word" in
)bash";

constexpr const char* kMiddle = R"bash(      */-*) ;;
      *) count=$((count + 1)) ;;
    esac
  done
  local files= folders= actions= words=
  case "$path/$prev" in
)bash";

constexpr const char* kArguments = R"bash(    *)
      if [[ $cur == -* ]]; then
        case "$path" in
)bash";

constexpr const char* kEnd = R"bash(        esac
      fi
      ;;
  esac
  if [[ -n $actions ]]; then
    words=$("${COMP_WORDS[0]}" ${home:+--home "$home"} actions 2>/dev/null | cut -d ' ' -f 1)
  fi
  if [[ -n $files ]]; then
    mapfile -t COMPREPLY < <(compgen -f -- "$cur")
  elif [[ -n $folders ]]; then
    mapfile -t COMPREPLY < <(compgen -d -- "$cur")
  else
    mapfile -t COMPREPLY < <(compgen -W "$words" -- "$cur")
    return
  fi
  compopt -o filenames 2>/dev/null
}

complete -F _kor_agent kor-agent
)bash";

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : " ") + word;
  return text;
}

// Options of the program go with every command.
std::string PatternsOf(const CompletedCommand& command, const CompletedOption& option) {
  const std::string path = command.path.empty() ? "*" : "'" + Joined(command.path) + "'";
  std::string patterns;
  for (const std::string& name : option.names) {
    patterns += (patterns.empty() ? "" : " | ") + path + "/" + name;
  }
  return patterns;
}

std::string ActionFor(const CompletedValue& value) {
  switch (value.kind) {
    case Completed::kFiles:
      return "files=yes";
    case Completed::kFolders:
      return "folders=yes";
    case Completed::kActions:
      return "actions=yes";
    case Completed::kChoices:
      return "words='" + Joined(value.choices) + "'";
    case Completed::kNothing:
      break;
  }
  return ":";
}

// How the words before the cursor are read.
std::string Reading(const CompletedCommand& command) {
  std::string text;
  for (const CompletedOption& option : command.options) {
    if (option.hasValue) text += "      " + PatternsOf(command, option) + ") skip=$word ;;\n";
  }
  for (const CompletedCommand& each : command.commands) {
    text += "      '" + Joined(command.path) + "'/" + each.path.back() + ") path='" +
            Joined(each.path) + "' ;;\n";
  }
  for (const CompletedCommand& each : command.commands) text += Reading(each);
  return text;
}

std::string ValuesOfOptions(const CompletedCommand& command) {
  std::string text;
  for (const CompletedOption& option : command.options) {
    if (!option.hasValue) continue;
    text += "    " + PatternsOf(command, option) + ") " + ActionFor(option.value) + " ;;\n";
  }
  for (const CompletedCommand& each : command.commands) text += ValuesOfOptions(each);
  return text;
}

std::string NamesOfOptions(const CompletedCommand& command) {
  std::string text;
  for (const CompletedOption& option : command.options) text += " " + Joined(option.names);
  return text;
}

std::string OptionLists(const CompletedCommand& command, const std::string& above) {
  const std::string names = above + NamesOfOptions(command);
  std::string text = "          '" + Joined(command.path) + "') words='" + names + "' ;;\n";
  for (const CompletedCommand& each : command.commands) text += OptionLists(each, names);
  return text;
}

std::string Arguments(const CompletedCommand& command) {
  const std::string path = "          '" + Joined(command.path) + "/";
  std::string text;
  if (!command.commands.empty()) {
    std::vector<std::string> names;
    for (const CompletedCommand& each : command.commands) names.push_back(each.path.back());
    text += path + "0') words='" + Joined(names) + "' ;;\n";
  }
  for (size_t n = 0; n < command.arguments.size(); ++n) {
    text += path + std::to_string(n) + "') " + ActionFor(command.arguments[n]) + " ;;\n";
  }
  for (const CompletedCommand& each : command.commands) text += Arguments(each);
  return text;
}

}  // namespace

std::string BashCompletion(const CompletedCommand& program) {
  return kBeginning + Reading(program) + kMiddle + ValuesOfOptions(program) + kArguments +
         OptionLists(program, {}) + "        esac\n      else\n        case \"$path/$count\" in\n" +
         Arguments(program) + kEnd;
}

}  // namespace agent
