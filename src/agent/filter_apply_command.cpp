#include "agent/filter_apply_command.h"

#include <filesystem>
#include <string>
#include <system_error>
#include <variant>

#include "agent/exit_code.h"
#include "agent/explanation_text.h"
#include "agent/filter_host.h"
#include "agent/output.h"
#include "agent/run_trace.h"
#include "kor/container.h"
#include "kor/file.h"
#include "korcore/action_db.h"

namespace agent {
namespace {

// The action removes the destination before it reads the source.
bool IsSameFile(const KorString& left, const KorString& right) {
  std::error_code ignored;
  return std::filesystem::equivalent(left.Str(), right.Str(), ignored);
}

int Apply(const KorString& source, const KorString& destination) {
  KorContainer container;
  container.SetString("SrcFilePath", source);
  container.SetString("DstFilePath", destination);
  const uint32_t result = FilterHost::Invoke("HardwareInventoryApplyFilter", container);
  if (result == ACTIONDB_ERROR_ACTIONNOTFOUND) {
    Complain("no module offers the action 'HardwareInventoryApplyFilter'");
    return kExitNotStarted;
  }
  // Why it failed, the module has said.
  return result == ACTIONDB_ERROR_SUCCESS ? kExitOk : kExitFailed;
}

int ApplyAndExplain(const KorString& source, const KorString& destination, const KorString& file) {
  const RunTrace trace;
  const int status = Apply(source, destination);
  if (status != kExitOk) return status;
  const std::string text = RulesToText(trace, file);
  const Result<void> printed =
      WriteToStandardOutput(text.empty() ? "no rule changed or rejected anything\n" : text);
  if (printed.IsOk()) return kExitOk;
  Complain(printed.Reason());
  return kExitNotWritten;
}

}  // namespace

int RunFilterApply(const CommonOptions& common, const FilterApplyOptions& options) {
  const KorString source = CompletePath(KorString(options.source));
  const KorString destination = CompletePath(KorString(options.destination));
  if (IsSameFile(source, destination)) {
    Complain(source + " would be replaced by itself: name another destination");
    return kExitFailed;
  }
  const auto opened = FilterHost::Open(common, KorString(options.file), false);
  if (const auto* failed = std::get_if<FilterHost::Failed>(&opened)) {
    Complain(failed->reason);
    return failed->status;
  }
  if (!options.explain) return FilterHost::Ended(Apply(source, destination));
  return FilterHost::Ended(ApplyAndExplain(source, destination, KorString(options.file)));
}

}  // namespace agent
