#include "agent/explanation_text.h"

#include <algorithm>
#include <cstddef>
#include <string_view>

#include "agent/display_text.h"
#include "kor/file.h"

namespace agent {
namespace {

using Outcome = KorCommandResult::Outcome;

constexpr size_t kLabelWidth = 10;
constexpr size_t kMostLines = 5;
constexpr size_t kLongestLine = 400;

std::string NameOf(const TracedKey& key) {
  std::string name = DisplayText(key.className);
  if (!key.instance.empty()) name += " / " + DisplayText(key.instance);
  if (!key.attribute.empty()) name += " / " + DisplayText(key.attribute);
  return name;
}

std::string StatusText(const TracedCommand& command) {
  constexpr int kCannotExecute = 126;
  constexpr int kNotFound = 127;
  switch (command.outcome) {
    case Outcome::kExited:
      break;
    case Outcome::kStatusLost:
      return "status lost";
    case Outcome::kNotStarted:
      return "could not be run";
    case Outcome::kTooLong:
      return "printed too much and was stopped";
    case Outcome::kKilled:
      return "killed by signal " + std::to_string(command.status);
  }
  std::string text = "status " + std::to_string(command.status);
  if (command.status == kNotFound) return text + ": not found; is it installed?";
  if (command.status == kCannotExecute) return text + ": cannot be executed";
  return command.hasOutput ? text : text + ", printed nothing";
}

std::string LineText(const std::string& line) {
  return DisplayText(line.substr(0, kLongestLine)) + (line.size() > kLongestLine ? "..." : "");
}

std::string BaseName(const KorString& path) {
  KorString drive, directory, name, extension;
  SplitPath(path, drive, directory, name, extension);
  return DisplayText((name + extension).View());
}

// Where it would not be seen, in quotes.
std::string Shown(const std::string& value) {
  const std::string text = DisplayText(value);
  const bool isSeen = !text.empty() && text.front() != ' ' && text.back() != ' ';
  return isSeen ? text : "'" + text + "'";
}

std::string RuleText(const TracedRule& rule, const std::string& file) {
  std::string text;
  if (rule.line > 0) {
    text = "\"" + DisplayText(rule.label) + "\" (" + file + ":" + std::to_string(rule.line) + "): ";
  }
  std::string effects;
  const auto add = [&effects](const std::string& effect) {
    if (!effects.empty()) effects += "; ";
    effects += effect;
  };
  if (rule.newName) add("asks for the name " + Shown(*rule.newName));
  if (rule.after) add(Shown(rule.before) + " -> " + Shown(*rule.after));
  if (!rule.note.empty()) add(DisplayText(rule.note));
  return text + effects;
}

class Block {
 public:
  explicit Block(std::string& output) : out(output) {}

  void Row(const std::string& label, const std::string& text) {
    std::string shown = label == lastLabel ? "" : label;
    lastLabel = label;
    shown.resize(std::max(shown.size() + 1, kLabelWidth), ' ');
    out += "  " + shown + text + "\n";
  }

  void Source(const TracedSource& source) {
    if (source.command && source.command->line != lastCommand) {
      Row("command", DisplayText(source.command->line) + "  (" + StatusText(*source.command) + ")");
      lastCommand = source.command->line;
    }
    Lines(source);
    if (source.isSearch) Row("pattern", DisplayText(source.pattern));
  }

 private:
  void Lines(const TracedSource& source) {
    const std::string label = !source.isSearch || source.isFound ? "line" : "nearest";
    const size_t count = std::min(source.lines.size(), kMostLines);
    for (size_t at = 0; at < count; ++at) Row(label, LineText(source.lines[at]));
    if (count < source.lines.size()) {
      Row(label, "... and " + std::to_string(source.lines.size() - count) + " more");
    }
  }

  std::string& out;
  std::string lastLabel;
  std::string lastCommand;
};

std::string HowText(const Explanation& explained) {
  if (!explained.how.empty() || !explained.value) return explained.how;
  const bool isWhole = explained.sources.size() == 1 && !explained.sources.front().isSearch;
  return isWhole ? "the whole output" : "";
}

std::string Heading(const Explanation& explained) {
  std::string text = NameOf(explained.key);
  if (explained.value) return text + " = " + Shown(*explained.value);
  if (explained.key.instance.empty()) return text + " has no instance: " + explained.absentBecause;
  return text + " is absent: " + explained.absentBecause;
}

void AppendFull(const Explanation& explained, const std::string& file, std::string& out) {
  out += Heading(explained) + "\n";
  Block block(out);
  for (const TracedSource& source : explained.sources) block.Source(source);
  if (const std::string how = HowText(explained); !how.empty()) block.Row("how", how);
  if (explained.rules.empty() && explained.value) block.Row("rules", "none");
  for (const TracedRule& rule : explained.rules) block.Row("rules", RuleText(rule, file));
}

// "cat /proc/meminfo: MemTotal:  2054352 kB"
std::string ShortSource(const Explanation& explained) {
  if (explained.sources.empty()) return explained.how;
  const TracedSource& source = explained.sources.front();
  std::string text = source.command ? DisplayText(source.command->line) : "";
  if (source.command && (!explained.value && !source.command->hasSucceeded)) {
    return text + "  (" + StatusText(*source.command) + ")";
  }
  if (source.lines.empty() || (source.isSearch && !source.isFound)) return text;
  text += ": " + LineText(source.lines.front());
  const size_t more = source.lines.size() - 1;
  return more == 0 ? text : text + "  (and " + std::to_string(more) + " more)";
}

void AppendShort(const Explanation& explained, const std::string& file, std::string& out) {
  out += "  " + DisplayText(explained.key.attribute);
  out +=
      explained.value ? " = " + Shown(*explained.value) : " is absent: " + explained.absentBecause;
  out += "\n";
  if (const std::string source = ShortSource(explained); !source.empty()) {
    out += "      " + source + "\n";
  }
  for (const TracedRule& rule : explained.rules) out += "      " + RuleText(rule, file) + "\n";
}

}  // namespace

std::string ExplanationsToText(const std::vector<Explanation>& explanations,
                               const KorString& translationFile) {
  const std::string file = BaseName(translationFile);
  std::string out;
  for (const Explanation& explained : explanations) {
    if (!out.empty()) out += "\n";
    AppendFull(explained, file, out);
  }
  return out;
}

std::string ExplanationsToShortText(const std::vector<Explanation>& explanations,
                                    const KorString& translationFile) {
  const std::string file = BaseName(translationFile);
  std::string out;
  std::string instance;
  for (const Explanation& explained : explanations) {
    if (explained.key.attribute.empty()) {
      AppendFull(explained, file, out);
      continue;
    }
    const std::string name = NameOf({explained.key.className, explained.key.instance, ""});
    if (name != instance) out += (out.empty() ? "" : "\n") + name + "\n";
    instance = name;
    AppendShort(explained, file, out);
  }
  return out;
}

std::string RulesToText(const RunTrace& trace, const KorString& translationFile) {
  const std::string file = BaseName(translationFile);
  std::string out;
  for (const TracedKey& key : trace.Ruled()) {
    if (!out.empty()) out += "\n";
    out += NameOf(key) + "\n";
    Block block(out);
    for (const TracedRule& rule : trace.Values().at(key).rules) {
      block.Row("pass " + std::to_string(rule.pass), RuleText(rule, file));
    }
  }
  return out;
}

}  // namespace agent
