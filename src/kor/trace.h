// Where the values of a document come from, told to who wants to know.
//
// Scanners and rules tell a listener what they do, on their own thread, while they do it.
// Ordinarily there is no listener: telling is then the load of one pointer, and nothing is made for
// it.

#pragma once

#include <atomic>
#include <cstdint>
#include <span>
#include <string_view>

#include "kor/machine.h"
#include "kor/string.h"

// A text that a value was taken from. All of it is borrowed for the length of the call.
struct KorTraceSource {
  std::string_view command;  // the command that printed the text, whole or as a piece of its output
  std::string_view text;
  std::string_view pattern;  // what the text was searched for; null: the text as such counted
  int options = 0;           // of the search (kor/regex.h)
  bool everyMatch = false;   // whether all matches counted, not the first one
};

// A value that was set, or that could have been and was not.
struct KorTraceValue {
  const void* instance;  // as in OnInstance
  std::string_view attribute;
  const KorString* value;  // null: not set
  std::span<const KorTraceSource> sources;
  // How the value was made, or why there is none, in words for people; null where the sources say
  // it: group 1 of a pattern, the whole text, no match.
  const char* how;
};

// A rule that applied to an attribute.
struct KorTraceRule {
  std::string_view attribute;
  std::string_view label;
  uint64_t line;  // in the translation file; 0: not known
  std::string_view condition;
  std::string_view before;      // the value
  const KorString* after;       // null: the rule does not rewrite values
  const KorString* newName;     // null: the rule does not rewrite names
  const char* rejectedBecause;  // null: accepted
};

// What became of an attribute when a rule's new name was carried out.
struct KorTraceRename {
  std::string_view from;
  std::string_view to;
  const char* failure;  // null: it has the name `to` now
  bool isLost;          // whether the failure took the attribute away
};

class KorTrace {
 public:
  virtual ~KorTrace() = default;

  virtual void OnCommand(const KorString& /*command*/, const KorCommandResult& /*result*/) {}
  virtual void OnFile(const KorString& /*path*/, bool /*exists*/) {}

  // Until the next call, what is asked of the machine is asked for these classes.
  virtual void OnClasses(std::span<const std::string_view> /*names*/) {}
  virtual void OnClassSkipped(std::string_view /*name*/, std::string_view /*why*/) {}
  // The address stands for the instance while the document is being made.
  virtual void OnInstance(const void* /*instance*/, std::string_view /*className*/,
                          std::string_view /*name*/) {}
  // A text from which no instance was made.
  virtual void OnTextSkipped(std::string_view /*className*/, const KorTraceSource& /*source*/) {}
  virtual void OnValue(const KorTraceValue& /*value*/) {}

  // A pass of the rules, and the instance whose attributes come next.
  virtual void OnPass(uint32_t /*number*/) {}
  virtual void OnRulesFor(std::string_view /*className*/, std::string_view /*instance*/) {}
  virtual void OnRule(const KorTraceRule& /*rule*/) {}
  virtual void OnRename(const KorTraceRename& /*rename*/) {}

  // The listener; null, the ordinary case, when nobody wants to know.
  static KorTrace* Current() { return current.load(std::memory_order_acquire); }
  // The listener is not owned and must outlive what is traced. Returns the one before.
  static KorTrace* SetCurrent(KorTrace* trace) {
    return current.exchange(trace, std::memory_order_acq_rel);
  }

 private:
  static std::atomic<KorTrace*> current;
};
