#include <cstdio>
#include <exception>
#include <variant>

#include "agent/command_line.h"
#include "agent/exit_code.h"
#include "agent/filter_check_command.h"
#include "agent/inventory_command.h"

namespace {

struct Dispatch {
  const agent::CommonOptions& common;

  int operator()(const agent::InventoryOptions& options) const {
    return agent::RunInventory(common, options);
  }
  int operator()(const agent::FilterCheckOptions& options) const {
    return agent::RunFilterCheck(common, options);
  }
};

}  // namespace

int main(int argc, char** argv) {
  try {
    const std::variant<agent::CommandLine, int> parsed = agent::ParseCommandLine(argc, argv);
    if (const int* status = std::get_if<int>(&parsed)) return *status;
    const auto& line = std::get<agent::CommandLine>(parsed);
    return std::visit(Dispatch{line.common}, line.command);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "kor-agent: %s\n", error.what());
    return agent::kExitFailed;
  }
}
