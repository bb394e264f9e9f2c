// The commands of the documentation, run as they stand there against a recorded machine: all lines
// of blocks that are fenced as sh. Blocks that cannot be run here are fenced as shell.

#include <gtest/gtest.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "agent/service_process.h"
#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace {

constexpr const char* kMachine = KOR_SOURCE_DIR "/tests/machines/classic_server.machine";
constexpr const char* kFleet = KOR_SOURCE_DIR "/docs/examples/fleet.xml";

struct Example {
  std::string place;
  std::string command;
};

std::vector<Example> ExamplesOf(const std::string& page) {
  std::vector<Example> examples;
  std::ifstream file(page);
  bool inside = false;
  int number = 0;
  for (std::string line; std::getline(file, line);) {
    ++number;
    if (line.starts_with("```")) {
      inside = line == "```sh";
    } else if (inside && !line.empty()) {
      examples.push_back({page + ":" + std::to_string(number), line});
    }
  }
  return examples;
}

std::vector<Example> ExamplesOfThePages() {
  std::vector<std::string> pages = {KOR_SOURCE_DIR "/README.md", KOR_SOURCE_DIR "/CONTRIBUTING.md"};
  for (const auto& entry : std::filesystem::directory_iterator(KOR_SOURCE_DIR "/docs")) {
    if (entry.path().extension() == ".md") pages.push_back(entry.path().string());
  }
  std::vector<Example> examples;
  for (const std::string& page : pages) {
    const std::vector<Example> found = ExamplesOf(page);
    examples.insert(examples.end(), found.begin(), found.end());
  }
  return examples;
}

// What follows "Examples:" in the help of the command and of those below it.
void AddExamplesOfHelp(const TemporaryFolder& folder, const std::vector<std::string>& command,
                       std::vector<Example>& examples) {
  std::vector<std::string> words = command;
  words.emplace_back("--help");
  const std::string help = ProgramRun::Of(folder, words).output;
  std::string heading;
  size_t end = 0;
  for (size_t begin = 0; begin < help.size(); begin = end + 1) {
    end = std::min(help.find('\n', begin), help.size());
    const std::string line = help.substr(begin, end - begin);
    if (!line.starts_with("  ")) {
      heading = line;
    } else if (heading == "Examples:") {
      examples.push_back({"kor-agent " + (command.empty() ? "" : command.back() + " ") + "--help",
                          line.substr(2)});
    } else if (heading == "Subcommands:" && line[2] != ' ') {
      std::vector<std::string> below = command;
      below.push_back(line.substr(2, line.find(' ', 2) - 2));
      AddExamplesOfHelp(folder, below, examples);
    }
  }
}

// A shell in a folder that holds the files which examples name, and beside it a running service.
class DocsExamples : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ("READY=1", service.NextState());
    Install("kor-agent", Wrapper());
    Install("ssh", "#!/bin/sh\nexec cat >/dev/null\n");
    std::filesystem::create_directory(folder.Path("work").Str());
    std::filesystem::copy(kMachine, folder.Path("work/machine.txt").Str());
    for (const char* name : {"FILE", "fleet.xml", "hwinvcfg.xml"}) {
      std::filesystem::copy(kFleet, folder.Path("work").Str() + "/" + name);
    }
    ASSERT_EQ(0, Run("kor-agent inventory")) << output;
    const std::string stored = "own/data/HardwareInventory/HardwareInventoryLast.xml";
    for (const char* name :
         {"SRC", "inventory.xml", "before.xml", "after.xml", "yesterday.xml", "today.xml"}) {
      std::filesystem::copy(folder.Path(stored).Str(), folder.Path("work").Str() + "/" + name);
    }
  }

  void Install(const std::string& name, const std::string& script) {
    std::filesystem::create_directories(folder.Path("bin").Str());
    chmod(folder.Write("bin/" + name, script).CStr(), 0700);
  }

  // The recorded machine instead of this one; commands to the service go to the one that runs here.
  std::string Wrapper() const {
    const std::string program = "exec " KOR_AGENT_PROGRAM " --module " KOR_MODULE_FILE;
    const std::string own = program + " --home " + folder.Path("own").Str() + " \"$@\" ;;\n";
    const std::string replayed =
        program + " --home " + folder.Path("own").Str() + " \"$@\" --replay " + kMachine + " ;;\n";
    const std::string served = program + " --home " + folder.Path("home").Str() + " \"$@\" ;;\n";
    std::string script = "#!/bin/sh\ncase \"$*\" in\n";
    script += "inventory*--record*|inventory*--replay*) " + own;
    script += "inventory*|invoke*--local*) " + replayed;
    script += "status*|actions*|invoke*) " + served;
    script += "*) " + own + "esac\n";
    return script;
  }

  // The status; what is printed is in `output`.
  int Run(const std::string& command) {
    const std::string shell = "cd '" + folder.Path("work").Str() + "' && PATH='" +
                              folder.Path("bin").Str() + "':$PATH && exec 2>&1 && " + command;
    output.clear();
    FILE* pipe = popen(shell.c_str(), "r");
    std::array<char, 4096> chunk;
    while (const size_t count = fread(chunk.data(), 1, chunk.size(), pipe)) {
      output.append(chunk.data(), count);
    }
    const int status = pclose(pipe);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  void Check(const Example& example) {
    std::string command = example.command;
    if (command == "./run") command = "kor-agent inventory";
    if (command.starts_with("./run ")) command.replace(0, 5, "kor-agent");
    ASSERT_TRUE(command.starts_with("kor-agent ")) << example.place << ": " << command;
    // One that runs is what the others talk to.
    if (command.starts_with("kor-agent run")) command = "kor-agent run --help";
    const int status = Run(command);
    const bool differs = command.starts_with("kor-agent diff") && status == 1;
    EXPECT_TRUE(status == 0 || differs)
        << example.place << ": " << command << "\nstatus " << status << "\n"
        << output;
  }

  TemporaryFolder folder;
  ServiceProcess service{folder, {"--module", KOR_MODULE_FILE, "--replay", kMachine}};
  std::string output;
};

TEST_F(DocsExamples, OfThePagesDoWhatTheySay) {
  const std::vector<Example> examples = ExamplesOfThePages();
  EXPECT_GE(examples.size(), 20U);
  for (const Example& example : examples) Check(example);
}

TEST_F(DocsExamples, OfTheHelpDoWhatTheySay) {
  std::vector<Example> examples;
  AddExamplesOfHelp(folder, {}, examples);
  EXPECT_GE(examples.size(), 20U);
  for (const Example& example : examples) Check(example);
}

}  // namespace
