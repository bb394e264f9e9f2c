#include "agent/explanation.h"

#include <algorithm>
#include <utility>

#include "agent/matched_lines.h"
#include "agent/near_miss.h"

namespace agent {
namespace {

using Names = std::vector<std::string>;

void AddName(Names& names, const std::string& name) {
  if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
}

// "; did you mean 'sda1'?" or, where nothing is near, "; there is: sda1, sda2".
KorString Suggestion(const std::string& word, const Names& names) {
  const std::string near = DidYouMean(word, names);
  if (!near.empty()) return KorString(near);
  if (names.empty()) return "; there is none";
  std::string list = "; there is: " + names.front();
  for (size_t at = 1; at < names.size(); ++at) {
    if (at == 20) return KorString(list + ", ...");
    list += ", " + names[at];
  }
  return KorString(list);
}

TracedSource CommandAlone(const TracedCommand& command) {
  TracedSource source;
  source.command = command;
  return source;
}

std::string FirstLineWith(const std::string& text, const std::string& word) {
  const size_t at = text.find(word);
  if (at == std::string::npos) return "";
  const size_t before = at == 0 ? std::string::npos : text.rfind('\n', at - 1);
  const size_t begin = before == std::string::npos ? 0 : before + 1;
  return text.substr(begin, text.find('\n', at) - begin);
}

class Explainer {
 public:
  Explainer(const RunTrace& runTrace, const ObjInv& runResult, const std::string& name)
      : trace(runTrace),
        className(name),
        type(runResult.Objects().Get(KorString(name))),
        told(Find(runTrace.Classes(), name)) {}

  bool IsKnown() const { return type != nullptr || told != nullptr; }
  bool HasInstances() const { return type != nullptr && type->Instances().Count() > 0; }

  Names Instances() const {
    Names names;
    if (type == nullptr) return names;
    for (const ObjInst* instance : type->Instances()) names.push_back(instance->GetName().Str());
    return names;
  }

  // Defined, there, or told of.
  Names Attributes(const std::string& instance) const {
    Names names;
    for (const ObjTypeAttr* defined : type->Attributes()) AddName(names, defined->GetName().Str());
    if (const ObjInst* const found = type->Instances().Get(KorString(instance))) {
      for (const ObjInstAttr* value : found->Attributes()) AddName(names, value->GetName().Str());
    }
    const auto& values = trace.Values();
    for (auto at = values.lower_bound({className, instance, ""}); at != values.end(); ++at) {
      if (at->first.className != className || at->first.instance != instance) break;
      AddName(names, at->first.attribute);
    }
    return names;
  }

  Names AttributesOfAny() const {
    Names names;
    for (const std::string& instance : Instances()) {
      for (const std::string& name : Attributes(instance)) AddName(names, name);
    }
    return names;
  }

  Explanation OfValue(const std::string& instance, const std::string& attribute) const {
    Explanation explained;
    explained.key = {className, instance, attribute};
    const ObjInst* const found = type->Instances().Get(KorString(instance));
    const ObjInstAttr* const element =
        found == nullptr ? nullptr : found->Attributes().Get(KorString(attribute));
    if (element != nullptr) explained.value = element->GetValue().Str();
    const TracedValue* const traced = Find(trace.Values(), explained.key);
    if (traced != nullptr) {
      explained.sources = traced->sources;
      explained.how = traced->how;
      AddRules(*traced, explained);
    }
    if (element != nullptr && (traced == nullptr || !traced->isTold)) {
      explained.how = "its scanner does not tell";
    }
    if (element == nullptr) {
      explained.absentBecause = WhyAbsent(traced);
      if (explained.absentBecause == explained.how) explained.how.clear();
    }
    return explained;
  }

  // Why the class has no instance at all.
  Explanation OfClass() const {
    Explanation explained;
    explained.key.className = className;
    explained.absentBecause = WhyEmpty(explained);
    return explained;
  }

  // A text that names the instance and that its pattern does not take.
  std::optional<Explanation> OfMissingInstance(const std::string& instance) const {
    if (told == nullptr) return {};
    for (const auto& [text, pattern] : told->skipped) {
      const std::string line = FirstLineWith(text, instance);
      if (line.empty()) continue;
      Explanation explained;
      explained.key = {className, instance, ""};
      explained.absentBecause = "a line names it that the pattern does not take";
      explained.sources.push_back(Skipped(line, pattern));
      return explained;
    }
    return {};
  }

 private:
  template <typename Map, typename Key>
  static const typename Map::mapped_type* Find(const Map& map, const Key& key) {
    const auto found = map.find(key);
    return found == map.end() ? nullptr : &found->second;
  }

  static void AddRules(const TracedValue& traced, Explanation& explained) {
    for (const TracedRule& rule : traced.rules) {
      const auto isSame = [&rule](const TracedRule& known) { return known.SameEffect(rule); };
      std::vector<TracedRule>& rules = explained.rules;
      if (std::none_of(rules.begin(), rules.end(), isSame)) rules.push_back(rule);
    }
  }

  static std::string WhyAbsent(const TracedValue* traced) {
    if (traced == nullptr) return "its scanner did not look for it";
    if (!traced->rules.empty() && traced->rules.back().isGone) return "a rule took it away";
    if (!traced->isTold) return "its scanner did not look for it";
    for (const TracedSource& source : traced->sources) {
      if (source.command && !source.command->hasSucceeded) return "the command failed";
      if (source.command && !source.command->hasOutput) return "the command printed nothing";
    }
    return traced->how.empty() ? "no line that the pattern takes" : traced->how;
  }

  std::string WhyEmpty(Explanation& explained) const {
    if (told == nullptr) return "its scanner made none";
    if (told->skippedBecause) return "the class is not scanned: " + *told->skippedBecause;
    for (const auto& [path, exists] : told->files) {
      if (!exists) return "the file '" + path + "' is not there";
    }
    if (told->commands.empty()) return "its scanner asked for nothing";
    const TracedCommand& last = told->commands.back();
    if (last.hasSucceeded && !told->skipped.empty()) {
      const std::string& pattern = told->skipped.front().second;
      std::string texts;
      for (const auto& [text, unused] : told->skipped) texts += text + "\n";
      explained.sources.push_back(Skipped(NearestLine(texts, pattern), pattern));
      return "no line that the pattern takes";
    }
    explained.sources.push_back(CommandAlone(last));
    return last.hasSucceeded ? "the command printed nothing that counts" : "the command failed";
  }

  TracedSource Skipped(const std::string& line, const std::string& pattern) const {
    TracedSource source;
    if (!told->commands.empty()) source.command = told->commands.back();
    source.isSearch = true;
    source.pattern = pattern;
    source.lines = {line};
    return source;
  }

  const RunTrace& trace;
  const std::string className;
  const ObjType* const type;
  const TracedClass* const told;
};

Names KnownClasses(const RunTrace& trace, const ObjInv& result) {
  Names names;
  for (const ObjType* type : result.Objects()) AddName(names, type->GetName().Str());
  for (const auto& [name, told] : trace.Classes()) AddName(names, name);
  return names;
}

Failure NoSuch(const std::string& what, const std::string& word, const Names& names) {
  return Failure{KorString(what + " '" + word + "'") + Suggestion(word, names)};
}

bool Has(const Names& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

}  // namespace

Result<std::vector<Explanation>> Explain(const RunTrace& trace, const ObjInv& result,
                                         const TracedKey& asked) {
  const Explainer explainer(trace, result, asked.className);
  if (!explainer.IsKnown()) {
    return NoSuch("the last run has no class", asked.className, KnownClasses(trace, result));
  }
  if (!explainer.HasInstances()) {
    const auto missing = asked.instance.empty() ? std::optional<Explanation>()
                                                : explainer.OfMissingInstance(asked.instance);
    return std::vector{missing ? *missing : explainer.OfClass()};
  }
  Names instances = explainer.Instances();
  std::string attribute = asked.attribute;
  if (Has(instances, asked.instance)) {
    instances = {asked.instance};
  } else if (attribute.empty() && Has(explainer.AttributesOfAny(), asked.instance)) {
    attribute = asked.instance;
  } else if (!asked.instance.empty()) {
    if (auto missing = explainer.OfMissingInstance(asked.instance)) return std::vector{*missing};
    const Names attributes = explainer.AttributesOfAny();
    if (attribute.empty() && NearMiss(asked.instance, instances) == std::nullopt) {
      if (NearMiss(asked.instance, attributes)) instances = attributes;
    }
    return NoSuch("'" + asked.className + "' has no instance", asked.instance, instances);
  }
  std::vector<Explanation> explanations;
  for (const std::string& instance : instances) {
    const Names attributes = explainer.Attributes(instance);
    if (!attribute.empty() && !Has(attributes, attribute)) {
      if (instances.size() > 1) continue;
      return NoSuch("'" + asked.className + "' has no attribute", attribute, attributes);
    }
    for (const std::string& one : attribute.empty() ? attributes : Names{attribute}) {
      explanations.push_back(explainer.OfValue(instance, one));
    }
  }
  if (!explanations.empty()) return explanations;
  return NoSuch("'" + asked.className + "' has no attribute", attribute, {});
}

}  // namespace agent
