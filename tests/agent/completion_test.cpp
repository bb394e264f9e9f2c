// The completion of the command line, as bash would ask for it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace {

std::string Joined(const std::vector<std::string>& words) {
  std::string text;
  for (const std::string& word : words) text += " '" + word + "'";
  return text;
}

class BashCompletion : public testing::Test {
 protected:
  using Words = std::vector<std::string>;

  void SetUp() override {
    const ProgramRun run = ProgramRun::Of(folder, {"completion", "bash"});
    ASSERT_EQ(0, run.status) << run.errors;
    folder.Write("kor-agent.bash", run.output);
    // Stands for the installed program; actions are asked of it.
    folder.Write("kor-agent",
                 "#!/bin/sh\n[ \"$*\" = \"$EXPECTED\" ] || exit 3\n"
                 "echo 'HardwareGetValues (bool A)'\necho 'HardwareSetValues ()'\n");
    ASSERT_EQ(0, system(("chmod 700 " + folder.Path("kor-agent").Str()).c_str()));
    folder.Write("machine.txt", "");
    std::filesystem::create_directory(folder.Path("sub").Str());
    folder.Write("sub/rules.xml", "");
  }

  // What is offered when the cursor stands at the end of the last word.
  std::vector<std::string> After(std::vector<std::string> words) {
    words.insert(words.begin(), folder.Path("kor-agent").Str());
    const std::string last = std::to_string(words.size() - 1);
    folder.Write("ask.bash", "cd '" + folder.Path("").Str() + "' && . ./kor-agent.bash\n" +
                                 "COMP_WORDS=(" + Joined(words) + ")\nCOMP_CWORD=" + last +
                                 "\n_kor_agent\nprintf '%s\\n' \"${COMPREPLY[@]}\" >answer\n");
    const std::string shell = "bash --norc " + folder.Path("ask.bash").Str();
    EXPECT_EQ(0, system(shell.c_str()));
    std::vector<std::string> answers;
    std::istringstream lines(folder.Read("answer"));
    for (std::string line; std::getline(lines, line);) {
      if (!line.empty()) answers.push_back(line);
    }
    std::sort(answers.begin(), answers.end());
    return answers;
  }

  // Whether the command line is wrong; nothing of what it asks for is there.
  bool IsRefused(const Words& command, const Words& options) {
    Words words = command;
    words.insert(words.end(), options.begin(), options.end());
    words.insert(words.end(), {"--home", folder.Path("none").Str()});
    return ProgramRun::Of(folder, words).status == 2;
  }

  TemporaryFolder folder;
};

TEST_F(BashCompletion, CommandsAreOffered) {
  EXPECT_EQ(Words({"show", "status"}), After({"s"}));
  EXPECT_EQ(Words({"apply", "check"}), After({"filter", ""}));
  EXPECT_EQ(Words({"status"}), After({"--home", "show", "st"}));
}

TEST_F(BashCompletion, OptionsAreThoseOfTheCommandAndOfTheProgram) {
  EXPECT_EQ(Words({"--record", "--redact", "--replay"}), After({"inventory", "--re"}));
  EXPECT_EQ(Words({"--home"}), After({"show", "--ho"}));
  EXPECT_EQ(Words({}), After({"show", "--up"}));
}

TEST_F(BashCompletion, FormatsAndLevelsAreThoseThatTheProgramTakes) {
  const std::vector<Words> commands = {
      {"inventory", "--replay", "none"}, {"show"}, {"diff", "none", "none"}, {"query", "select 1"}};
  for (const Words& command : commands) {
    const Words formats = After({command[0], "--format", ""});
    EXPECT_GE(formats.size(), 2U) << command[0];
    for (const std::string& format : formats) {
      EXPECT_FALSE(IsRefused(command, {"--format", format})) << command[0] << " " << format;
    }
    EXPECT_TRUE(IsRefused(command, {"--format", "none"}));
  }
  const Words levels = After({"--log-level", ""});
  EXPECT_EQ(5U, levels.size());
  for (const std::string& level : levels) {
    EXPECT_FALSE(IsRefused({"show"}, {"--log-level", level})) << level;
  }
  EXPECT_TRUE(IsRefused({"show"}, {"--log-level", "none"}));
}

TEST_F(BashCompletion, ValueMayFollowAnEqualSign) {
  EXPECT_EQ(Words({"json"}), After({"show", "--format", "=", "j"}));
  EXPECT_EQ(Words({"json", "table", "xml"}), After({"show", "--format", "="}));
}

TEST_F(BashCompletion, FilesAndFoldersAreOfferedWhereTheyAreMeant) {
  EXPECT_EQ(Words({"machine.txt"}), After({"inventory", "--replay", "mach"}));
  EXPECT_EQ(Words({"sub"}), After({"--home", ""}));
  EXPECT_EQ(Words({"sub/rules.xml"}), After({"filter", "check", "sub/"}));
  EXPECT_EQ(Words({"machine.txt"}), After({"diff", "--format", "json", "old", "m"}));
  EXPECT_EQ(Words({}), After({"diff", "old", "new", "m"}));
  EXPECT_EQ(Words({}), After({"query", "m"}));
}

TEST_F(BashCompletion, ActionsAreAskedOfTheRunningAgent) {
  setenv("EXPECTED", "actions", 1);
  EXPECT_EQ(Words({"HardwareGetValues", "HardwareSetValues"}), After({"invoke", "Hard"}));
  setenv("EXPECTED", "--home /srv/agent actions", 1);
  EXPECT_EQ(Words({"HardwareSetValues"}), After({"--home", "/srv/agent", "invoke", "HardwareS"}));
  unsetenv("EXPECTED");
  EXPECT_EQ(Words({}), After({"invoke", "Hard"})) << "no agent answers";
}

TEST(Completion, ScriptsAreGoodShell) {
  const TemporaryFolder folder;
  for (const std::string shell : {"bash", "zsh"}) {
    folder.Write("script", ProgramRun::Of(folder, {"completion", shell}).output);
    EXPECT_EQ(0, system((shell + " -n " + folder.Path("script").Str()).c_str())) << shell;
  }
}

TEST(Completion, AnotherShellIsAnError) {
  const TemporaryFolder folder;
  const ProgramRun run = ProgramRun::Of(folder, {"completion", "fish"});
  EXPECT_EQ(2, run.status);
  EXPECT_NE(std::string::npos, run.errors.find("'fish' is not bash or zsh")) << run.errors;
}

}  // namespace
