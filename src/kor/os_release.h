// The distribution's name in os-release(5).

#pragma once

#include <string_view>

#include "kor/string.h"

// PRETTY_NAME, else NAME, of the content of an os-release file; empty without either. Of several
// assignments the last one counts, as in the shell.
KorString DistributionNameFromOsRelease(std::string_view content);
