#include "agent/command_line.h"

#include <CLI/CLI.hpp>
#include <map>

#include "agent/exit_code.h"

namespace agent {
namespace {

constexpr const char* kExitCodes = R"(Exit status:
  0    the command did what was asked (inventory: the run ended well and was printed)
  1    the run failed, or the file has complaints; standard error says why
  2    the command line is wrong
  3    the home, the module, or a file named on the command line cannot be used
  4    the run ended well, but the result or the recording could not be written
  130  ended by SIGINT
  143  ended by SIGTERM
)";

constexpr const char* kFooter = R"(Files of a home:
  config/HardwareInventory.ini   settings of the inventory module
  data/HardwareInventory/        the latest inventory, as XML and as an SQLite database
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
      ->expected(1);
  const auto setLevel = [&options](const std::string& name) {
    if (KorLogLevelFromName(KorString(name), options.logLevel)) return;
    throw CLI::ValidationError("--log-level", "'" + name + "' is not a level");
  };
  app.add_option_function<std::string>(
         "--log-level", setLevel,
         "Messages on standard error: trace, detail, print, warning or error")
      ->type_name("LEVEL")
      ->default_str("warning");
}

CLI::App* AddInventory(CLI::App& app, InventoryOptions& options) {
  CLI::App* command = app.add_subcommand("inventory", "Examine this machine and print the result");
  command->footer(kExitCodes);
  const auto setFormat = [&options](const std::string& name) {
    static const std::map<std::string, Format> kFormats = {
        {"table", Format::kTable}, {"json", Format::kJson}, {"xml", Format::kXml}};
    const auto format = kFormats.find(name);
    if (format == kFormats.end()) {
      throw CLI::ValidationError("--format", "'" + name + "' is not table, json or xml");
    }
    options.format = format->second;
  };
  command->add_option_function<std::string>("--format", setFormat, "table, json or xml")
      ->type_name("FORMAT")
      ->default_str("table");
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
  return command;
}

CLI::App* AddFilterCheck(CLI::App& app, FilterCheckOptions& options) {
  CLI::App* filter = app.add_subcommand("filter", "Work on translation files");
  filter->require_subcommand(1);
  filter->fallthrough();
  CLI::App* check =
      filter->add_subcommand("check", "Print every complaint about a translation file");
  check->footer(kExitCodes);
  check->add_option("FILE", options.file, "The translation file")->required();
  return check;
}

}  // namespace

std::variant<CommandLine, int> ParseCommandLine(int argc, char** argv) {
  CLI::App app("Hardware inventory agent for Linux", "kor-agent");
  CommandLine line;
  InventoryOptions inventoryOptions;
  FilterCheckOptions checkOptions;
  app.set_version_flag("--version", "kor-agent " KOR_AGENT_VERSION);
  app.require_subcommand(1);
  app.footer(std::string(kFooter) + kExitCodes);
  AddCommonOptions(app, line.common);
  CLI::App* inventory = AddInventory(app, inventoryOptions);
  CLI::App* check = AddFilterCheck(app, checkOptions);
  inventory->fallthrough();
  check->fallthrough();
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return app.exit(error) == 0 ? kExitOk : kExitUsage;
  }
  if (check->parsed()) {
    line.command = checkOptions;
  } else {
    line.command = inventoryOptions;
  }
  return line;
}

}  // namespace agent
