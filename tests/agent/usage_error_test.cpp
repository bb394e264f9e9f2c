#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace {

void ExpectError(const std::vector<std::string>& arguments, const std::string& line,
                 const std::string& command) {
  const TemporaryFolder folder;
  const ProgramRun run = ProgramRun::Of(folder, arguments);
  EXPECT_EQ(2, run.status);
  EXPECT_EQ("", run.output);
  EXPECT_EQ("kor-agent: " + line + "\nRun '" + command + " --help' for more information.\n",
            run.errors);
}

TEST(UsageError, NearestCommandIsNamed) {
  ExpectError({"invetory"}, "unknown command 'invetory'; did you mean 'inventory'?", "kor-agent");
  ExpectError({"filter", "chek", "x"}, "unknown command 'chek'; did you mean 'check'?",
              "kor-agent filter");
  ExpectError({"frobnicate"}, "unknown command 'frobnicate'", "kor-agent");
}

TEST(UsageError, CommandThatIsNotShownIsNotNamed) {
  ExpectError({"completoin"}, "unknown command 'completoin'", "kor-agent");
}

TEST(UsageError, NearestOptionIsNamedWhereverItBelongs) {
  ExpectError({"inventory", "--fromat", "json"},
              "unknown option '--fromat'; did you mean '--format'?", "kor-agent inventory");
  ExpectError({"inventory", "--fromat=json"}, "unknown option '--fromat'; did you mean '--format'?",
              "kor-agent inventory");
  ExpectError({"filter", "check", "rules.xml", "--hoem", "x"},
              "unknown option '--hoem'; did you mean '--home'?", "kor-agent filter check");
  ExpectError({"show", "-sent"}, "unknown option '-sent'; did you mean '--sent'?",
              "kor-agent show");
  ExpectError({"show", "--frobnicate"}, "unknown option '--frobnicate'", "kor-agent show");
}

TEST(UsageError, ArgumentTooManyIsNamed) {
  ExpectError({"show", "one.xml", "two.xml"}, "'two.xml' is one argument too many",
              "kor-agent show");
}

TEST(UsageError, WhatIsMissingIsNamed) {
  ExpectError({}, "A subcommand is required", "kor-agent");
  ExpectError({"query"}, "SQL is required", "kor-agent query");
}

TEST(UsageError, WrongValueIsNamed) {
  ExpectError({"show", "--format", "yaml"}, "--format: 'yaml' is not table, json or xml",
              "kor-agent show");
}

TEST(Help, EveryCommandHasExamples) {
  const TemporaryFolder folder;
  for (const char* command : {"inventory", "show", "diff", "report", "explain", "query", "filter",
                              "run", "status", "actions", "invoke"}) {
    const std::string help = ProgramRun::Of(folder, {command, "--help"}).output;
    EXPECT_NE(std::string::npos, help.find("\nExamples:\n  kor-agent " + std::string(command)))
        << command;
  }
}

}  // namespace
