// The statements of a source that can be left out so that the rest still makes sense.

#pragma once

#include "tokens.h"

#include <cstddef>
#include <vector>

namespace mutation {

// From the first token of the statement to its semicolon.
struct Statement {
  size_t first;
  size_t last;
};

// For each bracket of the three kinds the index of its partner, and 0 for other tokens.
std::vector<size_t> MatchBrackets(const std::vector<Token>& tokens);

// Calls, assignments and jumps; returns that have code after them; declarations of what is not used
// again, such as locks. The last return of a function is not among them.
std::vector<Statement> FindDroppable(const std::vector<Token>& tokens);

}  // namespace mutation
