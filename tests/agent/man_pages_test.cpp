// The manual pages tell what the program takes and the documentation tells, no more and no less.

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace {

using Names = std::set<std::string>;
using OptionsOfCommands = std::map<std::string, Names>;

constexpr const char* kPages = KOR_SOURCE_DIR "/docs/man/";

std::vector<std::string> LinesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  EXPECT_TRUE(file) << path;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

Names MatchesIn(const std::string& text, const char* pattern) {
  const std::regex expression(pattern, std::regex::ECMAScript | std::regex::multiline);
  Names names;
  for (std::sregex_iterator at(text.begin(), text.end(), expression), end; at != end; ++at) {
    names.insert((*at)[1]);
  }
  return names;
}

// By the headings of the page's commands; the program's own options are under "".
OptionsOfCommands OptionsOfThePage() {
  OptionsOfCommands options;
  std::string command;
  for (const std::string& line : LinesOf(ReadFile(std::string(kPages) + "kor-agent.1"))) {
    if (line == ".Sh ENVIRONMENT") break;
    if (line.starts_with(".Ss ")) command = line.substr(4);
    options[command].merge(MatchesIn(line, "^\\.It Fl (?:[a-z] , )?-([a-z-]+)"));
  }
  return options;
}

// The lines under that heading of a help.
std::string SectionOf(const std::string& help, const std::string& heading) {
  const size_t begin = help.find("\n" + heading + ":\n");
  if (begin == std::string::npos) return {};
  const size_t content = begin + heading.size() + 3;
  return help.substr(content, help.find("\n\n", content) - content);
}

void AddOptionsOfProgram(const std::string& command, OptionsOfCommands& options) {
  const TemporaryFolder folder;
  std::vector<std::string> words;
  std::istringstream stream(command);
  for (std::string word; stream >> word;) words.push_back(word);
  words.emplace_back("--help");
  const std::string help = ProgramRun::Of(folder, words).output;
  const Names commands = MatchesIn(SectionOf(help, "Subcommands"), "^  ([a-z]+)");
  Names found = MatchesIn(SectionOf(help, "Options"), "^  (?:-[a-z],)?--([a-z-]+)");
  if (!command.empty()) found.erase("help");
  if (command.empty() || commands.empty()) options[command] = found;
  for (const std::string& name : commands) {
    AddOptionsOfProgram(command.empty() ? name : command + " " + name, options);
  }
}

TEST(ManPages, CommandsAndOptionsAreThoseOfTheProgram) {
  OptionsOfCommands program;
  AddOptionsOfProgram("", program);
  EXPECT_GE(program.size(), 11U);
  EXPECT_EQ(program, OptionsOfThePage()) << "docs/man/kor-agent.1 is not up to date";
}

TEST(ManPages, SettingsAreThoseOfTheDocumentation) {
  const std::string page = ReadFile(std::string(kPages) + "kor-agent.ini.5");
  Names keys = MatchesIn(page, "^\\.It Sy (?:[A-Za-z]+ , )?([A-Za-z]+)$");
  keys.merge(MatchesIn(page, "^\\.It Sy ([A-Za-z]+) , [A-Za-z]+$"));
  const std::string documentation = ReadFile(KOR_SOURCE_DIR "/docs/settings.md");
  Names documented = MatchesIn(documentation, "^\\| `([A-Za-z]+)`");
  documented.merge(MatchesIn(documentation, "^\\| `[A-Za-z]+`, `([A-Za-z]+)`"));
  EXPECT_GE(documented.size(), 16U);
  EXPECT_EQ(documented, keys);
}

TEST(ManPages, SettingsAreThoseThatTheProgramReads) {
  const std::string documentation = ReadFile(KOR_SOURCE_DIR "/docs/settings.md");
  const std::string source = ReadFile(KOR_SOURCE_DIR "/src/agent/settings.cpp");
  const Names read = MatchesIn(source, "eader\\.(?:Text|Path|Number|Truth)\\(\"([A-Za-z]+)\"");
  EXPECT_GE(read.size(), 10U);
  for (const std::string& key : read) {
    EXPECT_NE(std::string::npos, documentation.find("`" + key + "`")) << key;
  }
}

TEST(ManPages, AreWellFormed) {
  for (const char* page : {"kor-agent.1", "kor-agent.ini.5", "hwinvcfg.xml.5"}) {
    EXPECT_EQ(0, system(("mandoc -T lint -W warning " + std::string(kPages) + page).c_str()))
        << page;
  }
}

TEST(ManPages, ExampleOfATranslationFileHasNoComplaint) {
  const TemporaryFolder folder;
  const std::string page = ReadFile(std::string(kPages) + "hwinvcfg.xml.5");
  const size_t begin = page.find("<?xml");
  folder.Write("rules.xml", page.substr(begin, page.find("\n.Ed", begin) - begin));
  const ProgramRun run =
      ProgramRun::Of(folder, {"--home", folder.Path("home").Str(), "--module", KOR_MODULE_FILE,
                              "filter", "check", folder.Path("rules.xml").Str()});
  EXPECT_EQ(0, run.status) << run.output << run.errors;
}

}  // namespace
