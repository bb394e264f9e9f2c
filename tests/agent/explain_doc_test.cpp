// The examples of docs/explain.md, run as they stand there.

#include <gtest/gtest.h>
#include <stdio.h>

#include <array>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "support/temporary_folder.h"

namespace {

constexpr const char* kPage = KOR_SOURCE_DIR "/docs/explain.md";
constexpr const char* kMachine = KOR_SOURCE_DIR "/tests/machines/classic_server.machine";

struct Example {
  std::string command;
  std::string output;
};

struct Page {
  std::string rules;
  std::vector<Example> examples;
};

Page ReadPage() {
  Page page;
  std::ifstream file(kPage);
  std::string language;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("```")) {
      language = line.substr(3);
    } else if (language == "xml") {
      page.rules += line + "\n";
    } else if (language == "console" && line.starts_with("$ ")) {
      page.examples.push_back({line.substr(2), ""});
    } else if (language == "console") {
      page.examples.back().output += line + "\n";
    }
  }
  return page;
}

// What the shell prints in the folder, errors included.
std::string OutputOf(const std::string& command, const TemporaryFolder& folder) {
  const std::string line = "exec 2>&1; cd '" + folder.Path().Str() + "'; " + command;
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(line.c_str(), "r"), pclose);
  std::string output;
  std::array<char, 4096> chunk;
  while (const size_t count = fread(chunk.data(), 1, chunk.size(), pipe.get())) {
    output.append(chunk.data(), count);
  }
  return output;
}

TEST(ExplainPage, EveryExampleGivesWhatThePageSays) {
  const TemporaryFolder folder;
  const Page page = ReadPage();
  folder.Write("fleet.xml", page.rules);
  const std::string program = KOR_AGENT_PROGRAM " --home home --module " KOR_MODULE_FILE;
  const std::string inventory = program + " inventory --format xml --replay " + kMachine;
  OutputOf(inventory + " > inventory.xml", folder);
  ASSERT_NE("", OutputOf(inventory + " --translation-file fleet.xml", folder));

  EXPECT_GE(page.examples.size(), 10U);
  for (const Example& example : page.examples) {
    const std::string name = "kor-agent ";
    ASSERT_TRUE(example.command.starts_with(name)) << example.command;
    EXPECT_EQ(example.output, OutputOf(program + " " + example.command.substr(name.size()), folder))
        << example.command;
  }
}

}  // namespace
