// What scanners and rules told of a run, put in order so that it can be asked for.

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "kor/machine.h"
#include "kor/trace.h"

namespace agent {

struct TracedCommand {
  std::string line;
  KorCommandResult::Outcome outcome;
  int status;
  bool hasSucceeded;
  bool hasOutput;
};

struct TracedSource {
  std::optional<TracedCommand> command;
  std::string pattern;
  bool isSearch = false;  // the pattern counts; else the text as such
  bool isFound = false;
  std::vector<std::string> lines;  // what was taken; without a match, the nearest line if any
};

struct TracedRule {
  uint32_t pass = 0;
  std::string label;
  uint64_t line = 0;
  std::string condition;
  std::string before;
  std::optional<std::string> after;    // the value, where it was rewritten
  std::optional<std::string> newName;  // where one was asked for
  std::string note;                    // what became of the attribute or of the new name
  bool isGone = false;                 // the attribute, with this

  // Whether nothing is different but the pass.
  bool SameEffect(const TracedRule& other) const;
};

// Of one attribute of one instance.
struct TracedValue {
  bool isTold = false;               // by a scanner
  std::optional<std::string> value;  // as scanned; nothing when it was not set
  std::vector<TracedSource> sources;
  std::string how;
  std::vector<TracedRule> rules;
};

struct TracedClass {
  std::optional<std::string> skippedBecause;
  std::vector<TracedCommand> commands;
  std::vector<std::pair<std::string, bool>> files;  // and whether they are there
  // Texts from which no instance was made.
  std::vector<std::pair<std::string, std::string>> skipped;  // text and pattern
};

struct TracedKey {
  std::string className;
  std::string instance;
  std::string attribute;

  // NOLINTNEXTLINE(modernize-use-nullptr): a false finding about the comparison with zero.
  auto operator<=>(const TracedKey&) const = default;
};

// The listener while it lives, for what one thread does at a time: a run, or an action.
class RunTrace : public KorTrace {
 public:
  RunTrace() : before(SetCurrent(this)) {}
  ~RunTrace() override { SetCurrent(before); }
  RunTrace(const RunTrace&) = delete;
  RunTrace& operator=(const RunTrace&) = delete;

  void OnCommand(const KorString& command, const KorCommandResult& result) override;
  void OnFile(const KorString& path, bool exists) override;
  void OnClasses(std::span<const std::string_view> names) override;
  void OnClassSkipped(std::string_view name, std::string_view why) override;
  void OnInstance(const void* instance, std::string_view className, std::string_view name) override;
  void OnTextSkipped(std::string_view className, const KorTraceSource& source) override;
  void OnValue(const KorTraceValue& value) override;
  void OnPass(uint32_t number) override;
  void OnRulesFor(std::string_view className, std::string_view instance) override;
  void OnRule(const KorTraceRule& rule) override;
  void OnRename(const KorTraceRename& rename) override;

  const std::map<std::string, TracedClass>& Classes() const { return classes; }
  const std::map<TracedKey, TracedValue>& Values() const { return values; }
  // The attributes that rules changed or rejected, in the order in which they first did.
  const std::vector<TracedKey>& Ruled() const { return ruled; }

 private:
  TracedSource SourceOf(const KorTraceSource& source) const;
  void AddRule(const std::string& attribute, TracedRule rule);

  KorTrace* const before;
  std::map<std::string, TracedClass> classes;
  std::vector<std::string> currentClasses;
  std::map<std::string, TracedCommand, std::less<>> commands;
  std::map<const void*, std::pair<std::string, std::string>> instances;
  std::map<TracedKey, TracedValue> values;
  std::vector<TracedKey> ruled;
  uint32_t pass = 0;
  std::string ruledClass;
  std::string ruledInstance;
};

}  // namespace agent
