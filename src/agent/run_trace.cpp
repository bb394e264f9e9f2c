#include "agent/run_trace.h"

#include "agent/matched_lines.h"
#include "kor/command.h"

namespace agent {

bool TracedRule::SameEffect(const TracedRule& other) const {
  const auto effect = [](const TracedRule& rule) {
    return std::tie(rule.label, rule.line, rule.after, rule.newName, rule.note, rule.isGone);
  };
  return effect(*this) == effect(other);
}

void RunTrace::OnCommand(const KorString& command, const KorCommandResult& result) {
  const TracedCommand traced{command.Str(), result.outcome, result.status,
                             KorCommandSucceeded(result), !result.output.empty()};
  commands.insert_or_assign(traced.line, traced);
  for (const std::string& name : currentClasses) classes[name].commands.push_back(traced);
}

void RunTrace::OnFile(const KorString& path, bool exists) {
  for (const std::string& name : currentClasses) {
    classes[name].files.emplace_back(path.Str(), exists);
  }
}

void RunTrace::OnClasses(std::span<const std::string_view> names) {
  currentClasses.assign(names.begin(), names.end());
  for (const std::string& name : currentClasses) classes[name];
}

void RunTrace::OnClassSkipped(std::string_view name, std::string_view why) {
  classes[std::string(name)].skippedBecause = std::string(why);
}

void RunTrace::OnInstance(const void* instance, std::string_view className, std::string_view name) {
  instances[instance] = {std::string(className), std::string(name)};
}

void RunTrace::OnTextSkipped(std::string_view className, const KorTraceSource& source) {
  classes[std::string(className)].skipped.emplace_back(source.text, source.pattern);
}

TracedSource RunTrace::SourceOf(const KorTraceSource& source) const {
  TracedSource traced;
  const auto command = commands.find(source.command);
  if (command != commands.end()) traced.command = command->second;
  traced.isSearch = source.pattern.data() != nullptr;
  traced.pattern = source.pattern;
  std::optional<std::vector<std::string>> lines = MatchedLines(source);
  traced.isFound = lines.has_value();
  if (traced.isFound) {
    traced.lines = std::move(*lines);
  } else if (std::string nearest = NearestLine(source.text, source.pattern); !nearest.empty()) {
    traced.lines.push_back(std::move(nearest));
  }
  return traced;
}

void RunTrace::OnValue(const KorTraceValue& value) {
  const auto instance = instances.find(value.instance);
  if (instance == instances.end()) return;
  TracedValue& traced =
      values[{instance->second.first, instance->second.second, std::string(value.attribute)}];
  traced.isTold = true;
  // A value stays when it is later looked for again in vain.
  if (value.value == nullptr && traced.value.has_value()) return;
  if (value.value != nullptr) traced.value = value.value->Str();
  traced.how = value.how == nullptr ? "" : value.how;
  traced.sources.clear();
  for (const KorTraceSource& source : value.sources) traced.sources.push_back(SourceOf(source));
}

void RunTrace::OnPass(uint32_t number) {
  pass = number;
}

void RunTrace::OnRulesFor(std::string_view className, std::string_view instance) {
  ruledClass = className;
  ruledInstance = instance;
}

void RunTrace::AddRule(const std::string& attribute, TracedRule rule) {
  const TracedKey key{ruledClass, ruledInstance, attribute};
  std::vector<TracedRule>& rules = values[key].rules;
  if (rules.empty()) ruled.push_back(key);
  rules.push_back(std::move(rule));
}

void RunTrace::OnRule(const KorTraceRule& rule) {
  const bool hasEffect =
      rule.after != nullptr || rule.newName != nullptr || rule.rejectedBecause != nullptr;
  if (!hasEffect) return;
  TracedRule traced;
  traced.pass = pass;
  traced.label = rule.label;
  traced.line = rule.line;
  traced.condition = rule.condition;
  traced.before = rule.before;
  if (rule.after != nullptr) traced.after = rule.after->Str();
  if (rule.newName != nullptr) traced.newName = rule.newName->Str();
  traced.isGone = rule.rejectedBecause != nullptr;
  if (traced.isGone) traced.note = std::string("rejected: ") + rule.rejectedBecause;
  AddRule(std::string(rule.attribute), std::move(traced));
}

// A new name is carried out from the new name back to the old one: what bears the new name gets the
// old one, and the attribute that the rule was about keeps its own.
void RunTrace::OnRename(const KorTraceRename& rename) {
  const std::string from(rename.from);
  const std::string to(rename.to);
  TracedRule told;
  told.pass = pass;
  if (rename.failure != nullptr && !rename.isLost) {
    told.note = "keeps its name: there is no attribute '" + from + "'";
    AddRule(to, std::move(told));
  } else if (rename.failure != nullptr) {
    told.note = "lost: it was to get the name '" + to + "', but " + rename.failure;
    told.isGone = true;
    AddRule(from, std::move(told));
  } else {
    told.note = "had the name '" + from + "' before";
    values[{ruledClass, ruledInstance, to}] = values[{ruledClass, ruledInstance, from}];
    AddRule(to, std::move(told));
    TracedRule gone;
    gone.pass = pass;
    gone.note = "has the name '" + to + "' now";
    gone.isGone = true;
    AddRule(from, std::move(gone));
  }
}

}  // namespace agent
