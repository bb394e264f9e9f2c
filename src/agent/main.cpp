#include <malloc.h>

#include <csignal>
#include <cstdio>
#include <exception>
#include <variant>

#include "agent/command_line.h"
#include "agent/console_commands.h"
#include "agent/diff_command.h"
#include "agent/exit_code.h"
#include "agent/explain_command.h"
#include "agent/filter_apply_command.h"
#include "agent/filter_check_command.h"
#include "agent/inventory_command.h"
#include "agent/last_words.h"
#include "agent/output.h"
#include "agent/query_command.h"
#include "agent/report_command.h"
#include "agent/run_command.h"
#include "agent/show_command.h"
#include "kor/reason.h"

namespace {

struct Dispatch {
  const agent::CommonOptions& common;

  int operator()(const agent::InventoryOptions& options) const {
    return agent::RunInventory(common, options);
  }
  int operator()(const agent::ShowOptions& options) const {
    return agent::RunShow(common, options);
  }
  int operator()(const agent::DiffOptions& options) const {
    return agent::RunDiff(common, options);
  }
  int operator()(const agent::ReportOptions& options) const {
    return agent::RunReport(common, options);
  }
  int operator()(const agent::ExplainOptions& options) const {
    return agent::RunExplain(common, options);
  }
  int operator()(const agent::QueryOptions& options) const {
    return agent::RunQuery(common, options);
  }
  int operator()(const agent::FilterCheckOptions& options) const {
    return agent::RunFilterCheck(common, options);
  }
  int operator()(const agent::FilterApplyOptions& options) const {
    return agent::RunFilterApply(common, options);
  }
  int operator()(const agent::RunOptions& options) const {
    return agent::RunService(common, options);
  }
  int operator()(const agent::StatusOptions& options) const {
    return agent::RunStatus(common, options);
  }
  int operator()(const agent::ActionsOptions& options) const {
    return agent::RunActions(common, options);
  }
  int operator()(const agent::InvokeOptions& options) const {
    return agent::RunInvoke(common, options);
  }
  int operator()(const agent::CompletionOptions& options) const {
    return agent::WriteToStandardOutput(options.script).IsOk() ? agent::kExitOk
                                                               : agent::kExitNotWritten;
  }
};

}  // namespace

int main(int argc, char** argv) {
  try {
    // One heap for all threads: few are busy at once, and a heap of its own grows by the page.
    mallopt(M_ARENA_MAX, 1);
    agent::OccupyStandardDescriptors();
    agent::EndQuietlyWithoutMemory();
    // Inherited from whoever started the program; ignored, it loses the statuses of the commands.
    std::signal(SIGCHLD, SIG_DFL);
    // A file that may not grow is an error to report, like a full disk, not a reason to die.
    std::signal(SIGXFSZ, SIG_IGN);
    const std::variant<agent::CommandLine, int> parsed = agent::ParseCommandLine(argc, argv);
    if (const int* status = std::get_if<int>(&parsed)) return *status;
    const auto& line = std::get<agent::CommandLine>(parsed);
    return std::visit(Dispatch{line.common}, line.command);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kor-agent: %s\n", KorReasonOf(error));
    return agent::kExitFailed;
  }
}
