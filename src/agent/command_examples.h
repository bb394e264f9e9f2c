// The examples in the help of each command.

#pragma once

#include <CLI/CLI.hpp>

namespace agent {

// Puts its examples before the end of the help of each command below the application, and of the
// application itself.
void AddExamples(CLI::App& application);

}  // namespace agent
