#include "agent/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <string>
#include <vector>

#include "agent/command_examples.h"
#include "agent/completion.h"
#include "agent/exit_code.h"
#include "agent/usage_error.h"

namespace agent {
namespace {

constexpr const char* kExitCodes = R"(Exit status:
  0    the command did what was asked (inventory: the run ended well and was printed)
  1    the run failed, or the file has complaints; standard error says why
  2    the command line is wrong
  3    the home, the module, or a file named on the command line cannot be used
  4    the run ended well, but the result or the recording could not be written, or the upload was
       not accepted for delivery
  130  ended by SIGINT
  143  ended by SIGTERM
)";

constexpr const char* kDiffExitCodes = R"(Exit status:
  0    the inventories are equal
  1    they differ
  2    the command line is wrong
  3    the home or a file cannot be used
  4    the result could not be written

Without NEW it is the latest inventory; without OLD as well, OLD is the one last sent. Lines begin
with + (added), - (removed), ~ (modified) or > (moved). Colours on a terminal only, and not with
NO_COLOR in the environment.
)";

constexpr const char* kReportFooter =
    R"(Without FILE the report is of the latest inventory and marks what changed since the one last sent.
Without -o it goes to standard output, or, where that is a terminal, to kor-agent-report.html in the
working folder.

)";

constexpr const char* kFooter = R"(Files of a home:
  config/HardwareInventory.ini   settings of the inventory module
  data/HardwareInventory/        the latest inventory, as XML and as an SQLite database
  config/kor-agent.ini           settings of the agent itself
  data/kor-agent.log             the log

The home is --home, else KOR_AGENT_HOME of the environment, else /var/lib/kor-agent for root and
kor-agent in the XDG state folder (~/.local/state) for others.

)";

void AddCommonOptions(CLI::App& app, CommonOptions& options) {
  app.add_option("--home", options.home, "Folder of settings and data")
      ->type_name("DIR")
      ->check([](const std::string& text) {
        return text.empty() ? std::string("the folder's name is empty") : std::string();
      });
  app.add_option("--module", options.modules, "Module to load instead of the inventory module")
      ->type_name("FILE")
      ->allow_extra_args(false);
  const auto setLevel = [&options](const std::string& name) {
    options.isLogLevelGiven = true;
    if (KorLogLevelFromName(KorString(name), options.logLevel)) return;
    throw CLI::ValidationError("--log-level", "'" + name + "' is not a level");
  };
  app.add_option_function<std::string>(
         "--log-level", setLevel,
         "Messages on standard error: trace, detail, print, warning or error")
      ->type_name("LEVEL")
      ->default_str("warning");
}

// The names are those of the enumeration's values in order, the default first.
template <typename T>
void AddFormat(CLI::App& command, T& format, const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) {
    if (!list.empty()) list += &name == &names.back() ? " or " : ", ";
    list += name;
  }
  const auto setFormat = [&format, names, list](const std::string& name) {
    const auto found = std::find(names.begin(), names.end(), name);
    if (found == names.end()) {
      throw CLI::ValidationError("--format", "'" + name + "' is not " + list);
    }
    format = static_cast<T>(found - names.begin());
  };
  command.add_option_function<std::string>("--format", setFormat, list)
      ->type_name("FORMAT")
      ->default_str(names.front());
}

void AddUpload(CLI::App& command, InventoryOptions& options) {
  CLI::Option* upload = command.add_flag("--upload", options.upload,
                                         "Send the result to the server, or what changed in it");
  command
      .add_flag("--force", options.force,
                "Upload even if nothing changed, or too early (UploadGap)")
      ->needs(upload);
  command
      .add_flag("--bypass-windows", options.bypassWindows, "Deliver outside transfer windows too")
      ->needs(upload);
  command.add_flag("--whole", options.whole, "Upload the whole inventory, not what changed")
      ->needs(upload);
}

CLI::App* AddInventory(CLI::App& app, InventoryOptions& options) {
  CLI::App* command = app.add_subcommand("inventory", "Examine this machine and print the result");
  command->footer(kExitCodes);
  AddFormat(*command, options.format, {"table", "json", "xml"});
  command
      ->add_option("--translation-file", options.translationFile,
                   "Translation file for this run, a path or a URL")
      ->type_name("FILE");
  CLI::Option* record = command
                            ->add_option("--record", options.recordFile,
                                         "Note all that the scans learn of the machine in FILE")
                            ->type_name("FILE");
  command->add_flag("--redact", options.redact, "Hide names and addresses in the recording")
      ->needs(record);
  command
      ->add_option("--replay", options.replayFile,
                   "Examine the recorded machine instead of this one; without --home in a "
                   "temporary home, so that the stored inventory stays this machine's")
      ->type_name("FILE")
      ->excludes(record);
  AddUpload(*command, options);
  return command;
}

CLI::App* AddShow(CLI::App& app, ShowOptions& options) {
  CLI::App* command = app.add_subcommand("show", "Print a stored inventory");
  command->footer(kExitCodes);
  AddFormat(*command, options.format, {"table", "json", "xml"});
  CLI::Option* sent =
      command->add_flag("--sent", options.sent, "The inventory last sent, not the latest");
  command->add_option("FILE", options.file, "An inventory file; without it, the latest inventory")
      ->excludes(sent);
  return command;
}

CLI::App* AddDiff(CLI::App& app, DiffOptions& options) {
  CLI::App* command = app.add_subcommand("diff", "Print what changed between two inventories");
  command->footer(kDiffExitCodes);
  AddFormat(*command, options.format, {"text", "json"});
  command->add_option("OLD", options.oldFile, "An inventory file");
  command->add_option("NEW", options.newFile, "An inventory file");
  return command;
}

CLI::App* AddReport(CLI::App& app, ReportOptions& options) {
  CLI::App* command = app.add_subcommand("report", "Make an HTML page of a stored inventory");
  command->footer(std::string(kReportFooter) + kExitCodes);
  command
      ->add_option("-o,--output", options.outputFile, "Where the page goes; - is standard output")
      ->type_name("FILE.html");
  command->add_option("--old", options.oldFile, "Mark what changed since this inventory")
      ->type_name("OLD");
  command->add_option("FILE", options.file, "An inventory file; without it, the latest inventory");
  return command;
}

CLI::App* AddExplain(CLI::App& app, ExplainOptions& options) {
  CLI::App* command = app.add_subcommand(
      "explain", "Print where a value of the last run comes from, or why there is none");
  command->footer(kExitCodes);
  AddFormat(*command, options.format, {"text", "json"});
  command->add_option("CLASS", options.className, "Such as 'Logical Disk'")->required();
  command->add_option("INSTANCE", options.instance, "Such as sda1; without it, all of the class");
  command->add_option("ATTRIBUTE", options.attribute, "Such as FreeSpace; without it, all");
  return command;
}

CLI::App* AddQuery(CLI::App& app, QueryOptions& options) {
  CLI::App* command = app.add_subcommand(
      "query", "Ask the latest inventory, such as 'select * from \"Logical Disk\"'");
  command->footer(kExitCodes);
  AddFormat(*command, options.format, {"table", "json", "csv"});
  command->add_option("SQL", options.sql, "One statement that only reads")->required();
  return command;
}

CLI::App* AddFilter(CLI::App& app) {
  CLI::App* filter = app.add_subcommand("filter", "Work on translation files");
  filter->require_subcommand(1);
  filter->fallthrough();
  return filter;
}

CLI::App* AddFilterCheck(CLI::App& filter, FilterCheckOptions& options) {
  CLI::App* check =
      filter.add_subcommand("check", "Print every complaint about a translation file");
  check->footer(kExitCodes);
  check->add_option("FILE", options.file, "The translation file")->required();
  return check;
}

CLI::App* AddFilterApply(CLI::App& filter, FilterApplyOptions& options) {
  CLI::App* apply =
      filter.add_subcommand("apply", "Run the rules of a translation file over a saved inventory");
  apply->footer(kExitCodes);
  apply->add_option("FILE", options.file, "The translation file")->required();
  apply->add_option("SRC", options.source, "The saved inventory")->required();
  apply->add_option("DST", options.destination, "Where the result is saved")->required();
  apply->add_flag("--explain", options.explain, "Print what each rule did, before and after");
  return apply;
}

CLI::App* AddRun(CLI::App& app, RunOptions& options) {
  CLI::App* command =
      app.add_subcommand("run", "Serve until SIGTERM or SIGINT; SIGHUP reads the settings again");
  command->footer(kExitCodes);
  command
      ->add_option("--replay", options.replayFile,
                   "Examine the recorded machine instead of this one; without --home in a "
                   "temporary home")
      ->type_name("FILE");
  return command;
}

CLI::App* AddStatus(CLI::App& app, StatusOptions& options) {
  CLI::App* command = app.add_subcommand("status", "Print what the running agent does");
  command->footer(kExitCodes);
  command->add_flag("--json", options.json, "Print it as JSON");
  return command;
}

CLI::App* AddActions(CLI::App& app, ActionsOptions& options) {
  CLI::App* command = app.add_subcommand("actions", "Print the actions of the running agent");
  command->footer(kExitCodes);
  command->add_flag("--json", options.json, "Print them as JSON");
  return command;
}

CLI::App* AddInvoke(CLI::App& app, InvokeOptions& options) {
  CLI::App* command =
      app.add_subcommand("invoke", "Invoke an action of the running agent and print its result");
  command->footer(kExitCodes);
  command->add_option("ACTION", options.action, "The action's name")->required();
  command->add_option("JSON", options.parameters, "Its parameters, a JSON object");
  CLI::Option* local =
      command->add_flag("--local", options.local, "In this process, without a running agent");
  command
      ->add_option("--replay", options.replayFile,
                   "Examine the recorded machine instead of this one; without --home in a "
                   "temporary home")
      ->type_name("FILE")
      ->needs(local);
  return command;
}

// Not for people: packages write the scripts to where shells look for them.
CLI::App* AddCompletion(CLI::App& app, CompletionOptions& options) {
  CLI::App* command = app.add_subcommand("completion", "Print the completion for a shell");
  command->group("");
  const auto print = [&app, &options](const std::string& shell) {
    if (shell != "bash" && shell != "zsh") {
      throw CLI::ValidationError("SHELL", "'" + shell + "' is not bash or zsh");
    }
    const CompletedCommand program = DescribeForCompletion(app);
    options.script = shell == "bash" ? BashCompletion(program) : ZshCompletion(program);
  };
  command->add_option_function<std::string>("SHELL", print, "bash or zsh")->required();
  return command;
}

}  // namespace

std::variant<CommandLine, int> ParseCommandLine(int argc, char** argv) {
  CLI::App app("Hardware inventory agent for Linux", "kor-agent");
  CommandLine line;
  InventoryOptions inventoryOptions;
  ShowOptions showOptions;
  DiffOptions diffOptions;
  ReportOptions reportOptions;
  ExplainOptions explainOptions;
  QueryOptions queryOptions;
  FilterCheckOptions checkOptions;
  FilterApplyOptions applyOptions;
  RunOptions runOptions;
  StatusOptions statusOptions;
  ActionsOptions actionsOptions;
  InvokeOptions invokeOptions;
  CompletionOptions completionOptions;
  app.set_version_flag("--version", "kor-agent " KOR_AGENT_VERSION);
  app.failure_message(UsageErrorText);
  app.require_subcommand(1);
  app.footer(std::string(kFooter) + kExitCodes);
  AddCommonOptions(app, line.common);
  CLI::App* inventory = AddInventory(app, inventoryOptions);
  CLI::App* show = AddShow(app, showOptions);
  CLI::App* diff = AddDiff(app, diffOptions);
  CLI::App* report = AddReport(app, reportOptions);
  CLI::App* explain = AddExplain(app, explainOptions);
  CLI::App* query = AddQuery(app, queryOptions);
  CLI::App* filter = AddFilter(app);
  CLI::App* check = AddFilterCheck(*filter, checkOptions);
  CLI::App* apply = AddFilterApply(*filter, applyOptions);
  CLI::App* run = AddRun(app, runOptions);
  CLI::App* status = AddStatus(app, statusOptions);
  CLI::App* actions = AddActions(app, actionsOptions);
  CLI::App* invoke = AddInvoke(app, invokeOptions);
  CLI::App* completion = AddCompletion(app, completionOptions);
  for (CLI::App* command : {inventory, show, diff, report, explain, query, check, apply, run,
                            status, actions, invoke}) {
    command->fallthrough();
  }
  AddExamples(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kExitOk : kExitUsage;
  }
  if (check->parsed()) {
    line.command = checkOptions;
  } else if (apply->parsed()) {
    line.command = applyOptions;
  } else if (explain->parsed()) {
    line.command = explainOptions;
  } else if (show->parsed()) {
    line.command = showOptions;
  } else if (diff->parsed()) {
    line.command = diffOptions;
  } else if (report->parsed()) {
    line.command = reportOptions;
  } else if (query->parsed()) {
    line.command = queryOptions;
  } else if (run->parsed()) {
    line.command = runOptions;
  } else if (status->parsed()) {
    line.command = statusOptions;
  } else if (actions->parsed()) {
    line.command = actionsOptions;
  } else if (invoke->parsed()) {
    line.command = invokeOptions;
  } else if (completion->parsed()) {
    line.command = completionOptions;
  } else {
    line.command = inventoryOptions;
  }
  return line;
}

}  // namespace agent
