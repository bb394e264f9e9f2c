// The examples of docs/actions.md, run as they stand there.

#include <gtest/gtest.h>
#include <stdio.h>

#include <array>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "kor/regex.h"
#include "kor/string.h"
#include "support/temporary_folder.h"

namespace {

constexpr const char* kPage = KOR_SOURCE_DIR "/docs/actions.md";
constexpr const char* kMachine = KOR_SOURCE_DIR "/tests/machines/classic_server.machine";
constexpr const char* kHomeOfThePage = "/var/lib/kor-agent";

struct Example {
  int line;
  std::string command;
  std::string output;
};

std::vector<Example> ReadExamples() {
  std::vector<Example> examples;
  std::ifstream page(kPage);
  bool inside = false;
  int number = 0;
  for (std::string line; std::getline(page, line);) {
    ++number;
    if (line.starts_with("```")) {
      inside = line == "```console";
    } else if (inside && line.starts_with("$ ")) {
      examples.push_back({number, line.substr(2), ""});
    } else if (inside && !examples.empty()) {
      examples.back().output += line + "\n";
    }
  }
  return examples;
}

std::string Replaced(std::string text, const std::string& what, const std::string& by) {
  for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size()) {
    text.replace(at, what.size(), by);
  }
  return text;
}

// What the shell prints, errors included.
std::string OutputOf(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(("exec 2>&1; " + command).c_str(), "r"),
                                                   pclose);
  std::string output;
  std::array<char, 4096> chunk;
  while (const size_t count = fread(chunk.data(), 1, chunk.size(), pipe.get())) {
    output.append(chunk.data(), count);
  }
  return output;
}

// "..." stands for anything in a line.
bool Matches(const std::string& output, const std::string& expected) {
  std::string pattern = "\\A\\Q" + Replaced(expected, "...", "\\E[^\\n]*\\Q") + "\\E\\z";
  return MatchPcre(KorString(output), KorString(pattern), 0);
}

TEST(ActionsPage, EveryExampleGivesWhatThePageSays) {
  const TemporaryFolder folder;
  const std::string home = folder.Path("home").Str();
  const std::string program = std::string(KOR_AGENT_PROGRAM " invoke --local --module ") +
                              KOR_MODULE_FILE + " --replay " + kMachine + " --home " + home;
  const std::vector<Example> examples = ReadExamples();
  EXPECT_GE(examples.size(), 20U);
  for (const Example& example : examples) {
    ASSERT_TRUE(example.command.starts_with("kor-agent invoke ")) << example.command;
    const std::string command =
        Replaced(Replaced(example.command, kHomeOfThePage, home), "kor-agent invoke", program);
    const std::string output = Replaced(OutputOf(command), home, kHomeOfThePage);
    EXPECT_TRUE(Matches(output, example.output))
        << kPage << ":" << example.line << ": " << example.command << "\n"
        << output;
  }
}

TEST(ActionsPage, EveryActionOfTheModuleHasItsSection) {
  std::ifstream file(kPage);
  const std::string page{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  std::ifstream source(KOR_SOURCE_DIR "/src/hardware/module/lifecycle.cpp");
  int count = 0;
  for (std::string line; std::getline(source, line);) {
    const size_t name = line.find("{\"Hardware");
    const size_t end = line.find(" (", name);
    if (name == std::string::npos || end == std::string::npos) continue;
    ++count;
    const std::string action = line.substr(name + 2, end - name - 2);
    EXPECT_NE(std::string::npos, page.find("\n## " + action + " (")) << action;
  }
  EXPECT_EQ(15, count);
}

}  // namespace
