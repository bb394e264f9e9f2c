#include "agent/host_options.h"

#include <utility>

namespace agent {

Result<KorString> HomePathOf(const CommonOptions& common) {
  if (!common.home.empty()) return KorString(common.home);
  return DefaultHomePath();
}

Result<HostOptions> HostOptionsFor(const CommonOptions& common, bool isReplay,
                                   std::optional<TemporaryHome>& temporary) {
  HostOptions options;
  if (isReplay && common.home.empty()) {
    Result<TemporaryHome> created = TemporaryHome::Create();
    if (!created.IsOk()) return Failure{created.Reason()};
    temporary.emplace(std::move(created.Value()));
    options.home = temporary->Path();
    options.keepsEvidence = false;
  } else {
    const Result<KorString> path = HomePathOf(common);
    if (!path.IsOk()) return Failure{path.Reason()};
    options.home = path.Value();
  }
  for (const std::string& module : common.modules) options.modules.emplace_back(module);
  options.terminal.level = common.logLevel;
  return options;
}

}  // namespace agent
