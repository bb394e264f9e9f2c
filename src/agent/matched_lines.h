// The lines of a text that a search is about.

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "kor/trace.h"

namespace agent {

// The lines that the source's pattern took, without what it took at their ends only: those of the
// first match, or of every match where all counted. Without a pattern, the lines of the text.
// Nothing when the pattern has no match.
std::optional<std::vector<std::string>> MatchedLines(const KorTraceSource& source);

// The line that has most of the words of the pattern, or of their beginnings; the first that is not
// blank when none has any; empty for a blank text.
std::string NearestLine(std::string_view text, std::string_view pattern);

}  // namespace agent
