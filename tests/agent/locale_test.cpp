// The language of whoever starts the agent: commands print other words in it.

#include <gtest/gtest.h>
#include <stdlib.h>

#include <cstdio>
#include <string>
#include <vector>

#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace {

// The French locale that the build made, for this process and what it starts.
class FrenchLocale {
 public:
  FrenchLocale() {
    setenv("LOCPATH", KOR_FRENCH_LOCALE, 1);
    // The C library keeps the parts of LOCPATH to its end.
    setenv("LSAN_OPTIONS", "detect_leaks=0", 1);
    for (const char* name : kNames) setenv(name, "fr_FR.UTF-8", 1);
  }
  ~FrenchLocale() {
    unsetenv("LOCPATH");
    unsetenv("LSAN_OPTIONS");
    for (const char* name : kNames) unsetenv(name);
  }
  FrenchLocale(const FrenchLocale&) = delete;
  FrenchLocale& operator=(const FrenchLocale&) = delete;

 private:
  static constexpr const char* kNames[] = {"LANG", "LC_ALL", "LANGUAGE"};
};

std::string OutputOf(const char* command) {
  std::string output;
  FILE* const pipe = popen(command, "r");
  for (int byte = fgetc(pipe); byte != EOF; byte = fgetc(pipe)) {
    output += static_cast<char>(byte);
  }
  pclose(pipe);
  return output;
}

// Without what changes from one minute to the next.
constexpr const char* kSteadyValuesOnly = R"(<HWINVCONFIG><TRANSLATEHWLIST maxpass="1">
<TRANSLATEHW label="volatile"><MATCHHW>
<ATTRNAME value="regex">^(SystemUpTime|FreeSpace|Free Percentage|CurrentClockSpeed)$</ATTRNAME>
</MATCHHW>
<ACTION>Reject</ACTION></TRANSLATEHW></TRANSLATEHWLIST></HWINVCONFIG>)";

std::string Inventory(const TemporaryFolder& folder, const KorString& rules) {
  const ProgramRun run =
      ProgramRun::Of(folder, {"--home", folder.Path("home").Str(), "--module", KOR_MODULE_FILE,
                              "inventory", "--format", "json", "--translation-file", rules.Str()});
  EXPECT_EQ(0, run.status) << run.errors;
  return run.output;
}

TEST(Locale, ChangesNothingInTheInventory) {
  const TemporaryFolder folder;
  const KorString rules = folder.Write("rules.xml", kSteadyValuesOnly);
  std::string before;
  std::string french;
  std::string after;
  // The machine may change under the test: only what was the same before and after is compared.
  for (int attempt = 0; attempt < 5; ++attempt) {
    before = Inventory(folder, rules);
    {
      const FrenchLocale locale;
      ASSERT_EQ("samedi\n", OutputOf("date -d 2026-11-21 +%A")) << "the locale is not in effect";
      french = Inventory(folder, rules);
    }
    after = Inventory(folder, rules);
    if (before == after) break;
  }

  ASSERT_EQ(before, after) << "the machine does not hold still";
  EXPECT_EQ(before, french);
  EXPECT_EQ(std::string::npos, before.find("\"FreeSpace\": \"")) << "volatile values are compared";
}

}  // namespace
