#include "agent/explanation_json.h"

#include <string_view>

#include "agent/json_object_writer.h"

namespace agent {
namespace {

using Outcome = KorCommandResult::Outcome;

std::string Quoted(const std::string& text) {
  return QuotedJson(KorString(text));
}

template <typename Items, typename ToJson>
std::string Array(const Items& items, ToJson toJson) {
  std::string json = "[";
  for (const auto& item : items) {
    if (json.size() > 1) json += ", ";
    json += toJson(item);
  }
  return json + "]";
}

// Members of an object in one line.
class Members {
 public:
  void Add(const char* key, const std::string& value) {
    json += (json.size() > 1 ? ", \"" : "\"") + std::string(key) + "\": " + value;
  }
  void AddText(const char* key, const std::string& text) {
    if (!text.empty()) Add(key, Quoted(text));
  }
  std::string Take() { return json + "}"; }

 private:
  std::string json = "{";
};

const char* OutcomeWord(Outcome outcome) {
  switch (outcome) {
    case Outcome::kExited:
      return "exit";
    case Outcome::kStatusLost:
      return "status-lost";
    case Outcome::kNotStarted:
      return "not-started";
    case Outcome::kTooLong:
      return "too-long";
    case Outcome::kKilled:
      return "killed";
  }
  return "";
}

std::string SourceJson(const TracedSource& source) {
  Members members;
  if (source.command) {
    members.Add("command", Quoted(source.command->line));
    members.Add("outcome", Quoted(OutcomeWord(source.command->outcome)));
    members.Add("status", std::to_string(source.command->status));
    members.Add("succeeded", source.command->hasSucceeded ? "true" : "false");
  }
  if (source.isSearch) {
    members.Add("pattern", Quoted(source.pattern));
    members.Add("found", source.isFound ? "true" : "false");
  }
  const bool isNearest = source.isSearch && !source.isFound;
  members.Add(isNearest ? "nearest" : "lines", Array(source.lines, Quoted));
  return members.Take();
}

std::string RuleJson(const TracedRule& rule) {
  Members members;
  members.Add("pass", std::to_string(rule.pass));
  if (rule.line > 0) {
    members.Add("label", Quoted(rule.label));
    members.Add("line", std::to_string(rule.line));
    members.AddText("condition", rule.condition);
    members.Add("before", Quoted(rule.before));
  }
  if (rule.after) members.Add("after", Quoted(*rule.after));
  if (rule.newName) members.Add("newName", Quoted(*rule.newName));
  members.AddText("note", rule.note);
  return members.Take();
}

void WriteContent(const Explanation& explained, JsonObjectWriter& writer) {
  if (explained.value) {
    writer.Add("value", Quoted(*explained.value));
  } else {
    writer.Add("absent", Quoted(explained.absentBecause));
  }
  if (explained.isOther) {
    writer.Add("stored", explained.stored ? Quoted(*explained.stored) : "null");
  }
  if (!explained.how.empty()) writer.Add("how", Quoted(explained.how));
  writer.Add("sources", Array(explained.sources, SourceJson));
  writer.Add("rules", Array(explained.rules, RuleJson));
}

}  // namespace

std::string ExplanationsToJson(const std::vector<Explanation>& explanations,
                               const KorString& translationFile) {
  JsonObjectWriter writer;
  writer.Open();
  writer.Add("translationFile", QuotedJson(translationFile));
  const Explanation& first = explanations.front();
  writer.Add("class", Quoted(first.key.className));
  if (first.key.attribute.empty()) {
    if (!first.key.instance.empty()) writer.Add("instance", Quoted(first.key.instance));
    WriteContent(first, writer);
    writer.Close();
    return writer.Take() + "\n";
  }
  writer.Open("instances");
  const std::string* instance = nullptr;
  for (const Explanation& explained : explanations) {
    if (instance == nullptr || *instance != explained.key.instance) {
      if (instance != nullptr) writer.Close();
      instance = &explained.key.instance;
      writer.Open(KorString(*instance));
    }
    writer.Open(KorString(explained.key.attribute));
    WriteContent(explained, writer);
    writer.Close();
  }
  writer.Close();
  writer.Close();
  writer.Close();
  return writer.Take() + "\n";
}

}  // namespace agent
