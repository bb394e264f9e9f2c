// What a user may have meant by a name that there is not.

#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace agent {

// The candidate that differs from the word by the fewest slips: a character too many, missing,
// wrong or two neighbours swapped, upper and lower case being the same. Nothing when all differ by
// more than a third of the word; the first one when several are as near.
std::optional<std::string> NearMiss(std::string_view word,
                                    const std::vector<std::string>& candidates);

// "; did you mean 'CANDIDATE'?" to be put behind a complaint about the word; empty without one.
std::string DidYouMean(std::string_view word, const std::vector<std::string>& candidates);

}  // namespace agent
