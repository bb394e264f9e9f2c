#include "agent/command_examples.h"

#include <string>

namespace agent {
namespace {

struct CommandExamples {
  const char* command;  // with the commands above it
  const char* examples;
};

constexpr CommandExamples kExamples[] = {
    {"kor-agent",
     "  kor-agent inventory\n"
     "  kor-agent inventory --format json\n"
     "  kor-agent diff\n"},
    {"kor-agent inventory",
     "  kor-agent inventory --format json\n"
     "  kor-agent inventory --record machine.txt --redact\n"
     "  kor-agent inventory --replay machine.txt\n"
     "  kor-agent inventory --translation-file fleet.xml\n"
     "  kor-agent inventory --upload --force\n"},
    {"kor-agent show",
     "  kor-agent show\n"
     "  kor-agent show --sent --format json\n"
     "  kor-agent show inventory.xml\n"},
    {"kor-agent diff",
     "  kor-agent diff\n"
     "  kor-agent diff yesterday.xml\n"
     "  kor-agent diff yesterday.xml today.xml --format json\n"},
    {"kor-agent report",
     "  kor-agent report -o db01.html\n"
     "  kor-agent report --old before.xml after.xml | ssh admin@example 'cat > change.html'\n"},
    {"kor-agent explain",
     "  kor-agent explain 'Physical Memory'\n"
     "  kor-agent explain 'Logical Disk' sda1 FreeSpace\n"
     "  kor-agent explain BIOS 0 --format json\n"},
    {"kor-agent query",
     "  kor-agent query 'select * from \"Logical Disk\"'\n"
     "  kor-agent query 'select \"Name\" from \"Processor\"' --format csv\n"},
    {"kor-agent filter",
     "  kor-agent filter check fleet.xml\n"
     "  kor-agent filter apply fleet.xml inventory.xml translated.xml\n"},
    {"kor-agent filter check", "  kor-agent filter check fleet.xml\n"},
    {"kor-agent filter apply",
     "  kor-agent filter apply fleet.xml inventory.xml translated.xml\n"
     "  kor-agent filter apply fleet.xml inventory.xml translated.xml --explain\n"},
    {"kor-agent run",
     "  kor-agent run\n"
     "  kor-agent run --home /srv/kor-agent --log-level detail\n"},
    {"kor-agent status",
     "  kor-agent status\n"
     "  kor-agent status --json\n"},
    {"kor-agent actions",
     "  kor-agent actions\n"
     "  kor-agent actions --json\n"},
    {"kor-agent invoke",
     "  kor-agent invoke HardwareGetValues\n"
     "  kor-agent invoke HardwareStartInventory '{\"UploadAfterUpdate\": true}'\n"
     "  kor-agent invoke --local HardwareInventoryWithError\n"},
};

std::string ExamplesOf(const std::string& command) {
  for (const CommandExamples& each : kExamples) {
    if (each.command == command) return each.examples;
  }
  return {};
}

void AddExamplesTo(CLI::App& command, const std::string& name) {
  const std::string examples = ExamplesOf(name);
  if (!examples.empty()) {
    const std::string rest = command.get_footer();
    command.footer("Examples:\n" + examples + (rest.empty() ? "" : "\n") + rest);
  }
  for (CLI::App* each : command.get_subcommands(nullptr)) {
    AddExamplesTo(*each, name + " " + each->get_name());
  }
}

}  // namespace

void AddExamples(CLI::App& application) {
  AddExamplesTo(application, application.get_name());
}

}  // namespace agent
