// Explanations for programs.

#pragma once

#include <string>
#include <vector>

#include "agent/explanation.h"
#include "kor/string.h"

namespace agent {

// One object (docs/explain.md).
std::string ExplanationsToJson(const std::vector<Explanation>& explanations,
                               const KorString& translationFile);

}  // namespace agent
