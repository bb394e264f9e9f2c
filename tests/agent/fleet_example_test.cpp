// docs/examples/fleet.xml does what docs/fleet-example.md says of it.

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <string>

#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace {

constexpr const char* kFleet = KOR_SOURCE_DIR "/docs/examples/fleet.xml";

std::string ReadFile(const std::string& path) {
  std::ifstream file(path);
  EXPECT_TRUE(file) << path;
  std::ostringstream text;
  text << file.rdbuf();
  return text.str();
}

std::string Recording() {
  return ReadFile(KOR_SOURCE_DIR "/tests/machines/classic_server.machine");
}

std::string Replaced(const std::string& text, const char* pattern, const char* by) {
  const std::string result = std::regex_replace(text, std::regex(pattern), by);
  EXPECT_NE(text, result) << pattern;
  return result;
}

// The same machine, a day later.
std::string QuietDayLater(const std::string& recording) {
  std::string later = Replaced(recording, "354871\\.53", "441271.60");
  later = Replaced(later, "3472648  15661684      19%", "3572648  14561684      20%");
  return Replaced(later, "cpu MHz\\t\\t: 2394\\.230", "cpu MHz\t\t: 1199.870");
}

class FleetExample : public testing::Test {
 protected:
  std::string Inventory(const std::string& recording, bool translated) {
    folder.Write("machine", recording);
    std::vector<std::string> arguments = {"--home",
                                          folder.Path("home").Str(),
                                          "--module",
                                          KOR_MODULE_FILE,
                                          "inventory",
                                          "--replay",
                                          folder.Path("machine").Str(),
                                          "--format",
                                          "xml"};
    if (translated) arguments.insert(arguments.end(), {"--translation-file", kFleet});
    const ProgramRun run = ProgramRun::Of(folder, arguments);
    EXPECT_EQ(0, run.status) << run.errors;
    return run.output;
  }

  TemporaryFolder folder;
};

TEST_F(FleetExample, HasNoComplaint) {
  const ProgramRun run = ProgramRun::Of(folder, {"--home", folder.Path("home").Str(), "--module",
                                                 KOR_MODULE_FILE, "filter", "check", kFleet});
  EXPECT_EQ(0, run.status) << run.errors;
  EXPECT_NE(std::string::npos, run.output.find("7 rules; 0 complaints, 0 notes")) << run.output;
}

TEST_F(FleetExample, QuietMachineStaysTheSame) {
  const std::string later = QuietDayLater(Recording());
  EXPECT_NE(Inventory(Recording(), false), Inventory(later, false));
  EXPECT_EQ(Inventory(Recording(), true), Inventory(later, true));
}

TEST_F(FleetExample, ChangedMachineDoesNot) {
  const std::string changed = Replaced(Recording(), "P67 1\\.14", "P67 1.15");
  EXPECT_NE(Inventory(Recording(), true), Inventory(changed, true));
}

TEST_F(FleetExample, PlaceholdersBecomeEmpty) {
  std::string recording = Replaced(Recording(), "NG-4471-0093", "To Be Filled By O.E.M.");
  recording = Replaced(recording, "Northgate Systems", "System manufacturer");
  recording = Replaced(recording, "P67 1\\.14", "Default string");
  const std::string plain = Inventory(recording, false);
  const std::string translated = Inventory(recording, true);
  for (const char* placeholder :
       {"To Be Filled By O.E.M.", "System manufacturer", "Default string"}) {
    EXPECT_NE(std::string::npos, plain.find(placeholder)) << placeholder;
    EXPECT_EQ(std::string::npos, translated.find(placeholder)) << placeholder;
  }
  for (const char* name : {"SerialNumber", "Vendor", "SMBIOSBIOSVersion"}) {
    const std::string empty = std::string("<value name=\"") + name + "\"/>";
    EXPECT_NE(std::string::npos, translated.find(empty)) << name;
  }
}

TEST_F(FleetExample, SerialNumbersAndMakersOtherwiseStay) {
  const std::string translated = Inventory(Recording(), true);
  EXPECT_NE(std::string::npos, translated.find("<value name=\"SerialNumber\">NG-4471-0093<"));
  EXPECT_NE(std::string::npos, translated.find("<value name=\"Vendor\">Northgate Systems<"));
  const std::string lenovo = Inventory(Replaced(Recording(), "Northgate Systems", "LENOVO"), true);
  EXPECT_NE(std::string::npos, lenovo.find("<value name=\"Vendor\">Lenovo<"));
}

// The rules that the page shows are those of the file.
TEST(FleetExamplePage, ShowsTheRulesOfTheFile) {
  const std::string page = ReadFile(KOR_SOURCE_DIR "/docs/fleet-example.md");
  std::string rules;
  std::istringstream lines(ReadFile(kFleet));
  for (std::string line; std::getline(lines, line);) {
    rules += (line.starts_with("    ") ? line.substr(4) : line) + "\n";
  }
  int count = 0;
  const std::string opening = "```xml\n";
  for (size_t at = page.find(opening); at != std::string::npos; at = page.find(opening, at)) {
    at += opening.size();
    ++count;
    const std::string rule = page.substr(at, page.find("```", at) - at);
    EXPECT_NE(std::string::npos, rules.find(rule)) << rule;
  }
  EXPECT_EQ(3, count);
}

}  // namespace
