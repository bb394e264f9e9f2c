// Where a value of an inventory run comes from, or why there is none.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "agent/result.h"
#include "agent/run_trace.h"
#include "korcore/obj_inv.h"

namespace agent {

struct Explanation {
  TracedKey key;                     // without instance or attribute where there is none
  std::optional<std::string> value;  // of the run's result
  std::string absentBecause;         // without a value
  bool isOther = false;              // the stored inventory says something else:
  std::optional<std::string> stored;
  std::vector<TracedSource> sources;
  std::string how;                // empty: the sources say it
  std::vector<TracedRule> rules;  // what later passes repeat is left out
};

// Explains what is asked for: a value, with an empty attribute all of the instance, with an empty
// instance all of the class. The attribute may also stand in the instance's place and is then
// explained for all instances. A failure names what there is not, and what may have been meant.
Result<std::vector<Explanation>> Explain(const RunTrace& trace, const ObjInv& result,
                                         const TracedKey& asked);

}  // namespace agent
