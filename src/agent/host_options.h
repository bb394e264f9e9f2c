// From the common options of the command line to those of a host.

#pragma once

#include <optional>

#include "agent/command_line.h"
#include "agent/home.h"
#include "agent/host.h"
#include "agent/result.h"

namespace agent {

// The home that is meant: the one named, else the usual one.
Result<KorString> HomePathOf(const CommonOptions& common);

// Without a home named, a recorded machine gets a temporary one, which must outlive the host: what
// is stored in the usual one stays this machine's.
Result<HostOptions> HostOptionsFor(const CommonOptions& common, bool isReplay,
                                   std::optional<TemporaryHome>& temporary);

}  // namespace agent
