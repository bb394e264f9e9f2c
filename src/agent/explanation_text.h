// Explanations for people.

#pragma once

#include <string>
#include <vector>

#include "agent/explanation.h"
#include "kor/string.h"

namespace agent {

// One block each, with all that is known of the value. Rules are named with that file's name.
std::string ExplanationsToText(const std::vector<Explanation>& explanations,
                               const KorString& translationFile);

// A line or two for each, below its instance.
std::string ExplanationsToShortText(const std::vector<Explanation>& explanations,
                                    const KorString& translationFile);

// What the rules did, attribute by attribute.
std::string RulesToText(const RunTrace& trace, const KorString& translationFile);

}  // namespace agent
