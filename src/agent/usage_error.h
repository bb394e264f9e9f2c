// What is said about a wrong command line.

#pragma once

#include <CLI/CLI.hpp>
#include <string>

namespace agent {

// The line for standard error, with the option or command that may have been meant, and where help
// is. The application is as its parse left it.
std::string UsageErrorText(const CLI::App* application, const CLI::Error& error);

}  // namespace agent
