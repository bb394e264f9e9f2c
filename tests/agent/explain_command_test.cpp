// kor-agent explain, as a user starts it.

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "korcore/obj_inv.h"
#include "support/program_run.h"
#include "support/temporary_folder.h"

namespace {

constexpr const char* kRules = R"(<HWINVCONFIG><TRANSLATEHWLIST maxpass="3">
<TRANSLATEHW label="no addresses"><MATCHHW><ATTRNAME>MACAddress</ATTRNAME></MATCHHW>
<ACTION>Reject</ACTION></TRANSLATEHW>
<TRANSLATEHW label="Capacity in GB">
<MATCHHW><ATTRNAME value="text">Capacity</ATTRNAME></MATCHHW><ACTION>Accept</ACTION>
<MODIFYHW><ATTRVALUE value="regex" match="^(\d+)\d\d\d$">$1</ATTRVALUE></MODIFYHW></TRANSLATEHW>
</TRANSLATEHWLIST></HWINVCONFIG>
)";

class ExplainCommand : public testing::Test {
 protected:
  // An inventory of the machine with the rules.
  void MakeInventory(const std::string& machine) const {
    const ProgramRun run = Start(
        {"inventory", "--replay", machine, "--translation-file", folder.Path("rules.xml").Str()});
    ASSERT_EQ(run.status, 0) << run.errors;
  }

  ProgramRun Explain(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "explain");
    return Start(std::move(arguments));
  }

  ProgramRun Start(std::vector<std::string> arguments) const {
    arguments.insert(arguments.end(), {"--home", home.Str(), "--module", KOR_MODULE_FILE});
    return ProgramRun::Of(folder, std::move(arguments));
  }

  static std::string Machine(const std::string& name) {
    return std::string(KOR_SOURCE_DIR "/tests/machines/") + name + ".machine";
  }

  // A machine of its own, whose other commands are not installed.
  std::string MachineWith(const std::string& text) const {
    return folder.Write("own.machine", "kor-recording 1\nhost h\ndistribution d\n" + text).Str();
  }

  const TemporaryFolder folder;
  const KorString home = folder.Path("home");
  const KorString rules = folder.Write("rules.xml", kRules);
};

TEST_F(ExplainCommand, ValueHasItsCommandLinePatternAndRules) {
  MakeInventory(Machine("classic_server"));

  const ProgramRun run = Explain({"Physical Memory", "0", "Capacity"});

  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors, "");
  EXPECT_EQ(run.output,
            "Physical Memory / 0 / Capacity = 15\n"
            "  command   cat /proc/meminfo  (status 0)\n"
            "  line      MemTotal:       16330708 kB\n"
            "  pattern   ^MemTotal\\s*:\\s*(\\d+)\\s*([a-z]+)\\s*\\n\n"
            "  how       in megabytes of 1,048,576 bytes, truncated\n"
            "  rules     \"Capacity in GB\" (rules.xml:4): 15947 -> 15\n");
}

TEST_F(ExplainCommand, ClassIsShownShort) {
  MakeInventory(Machine("classic_server"));

  const ProgramRun run = Explain({"Physical Memory"});

  EXPECT_EQ(run.output,
            "Physical Memory / 0\n"
            "  Capacity = 15\n"
            "      cat /proc/meminfo: MemTotal:       16330708 kB\n"
            "      \"Capacity in GB\" (rules.xml:4): 15947 -> 15\n"
            "  Swap Space = 4095\n"
            "      cat /proc/meminfo: SwapTotal:      4194300 kB\n");
}

TEST_F(ExplainCommand, AttributeMayStandInTheInstancesPlace) {
  MakeInventory(Machine("classic_server"));

  EXPECT_EQ(Explain({"Physical Memory", "Swap Space"}).output,
            Explain({"Physical Memory", "0", "Swap Space"}).output);
}

TEST_F(ExplainCommand, ValueThatARuleRejectsNamesTheRule) {
  MakeInventory(Machine("classic_server"));

  const ProgramRun run = Explain({"Network Adapter", "eth0", "MACAddress"});

  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output,
            "Network Adapter / eth0 / MACAddress is absent: a rule took it away\n"
            "  command   /sbin/ifconfig -a  (status 0)\n"
            "  line      eth0      Link encap:Ethernet  HWaddr 00:1a:2b:3c:4d:5e  \n"
            "  pattern   HWaddr\\s+([^\\n]+)\\n\n"
            "  rules     \"no addresses\" (rules.xml:2): rejected: its action is Reject\n");
}

TEST_F(ExplainCommand, CommandThatIsNotInstalledIsSaid) {
  MakeInventory(MachineWith(""));

  const ProgramRun run = Explain({"BIOS", "0", "Manufacturer"});

  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output,
            "BIOS has no instance: the command failed\n"
            "  command   dmidecode -qs bios-vendor  (status 127: not found; is it installed?)\n");
}

TEST_F(ExplainCommand, LineThatNoPatternTakesIsShownWithThePattern) {
  MakeInventory(
      MachineWith("command cat /proc/meminfo\nexit 0\n|MemTotal: 2054352 kB\n"
                  "|SwapTotl: 12 kB\n"));

  const ProgramRun run = Explain({"Physical Memory", "0", "Swap Space"});

  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output,
            "Physical Memory / 0 / Swap Space is absent: no line that the pattern takes\n"
            "  command   cat /proc/meminfo  (status 0)\n"
            "  nearest   SwapTotl: 12 kB\n"
            "  pattern   ^SwapTotal\\s*:\\s*(\\d+)\\s*([a-z]+)\\s*\\n\n");
}

TEST_F(ExplainCommand, InstanceWhoseLineIsNotTakenIsExplained) {
  MakeInventory(Machine("modern_nvme"));

  const ProgramRun run = Explain({"Logical Disk", "nvme0n1p1"});

  EXPECT_EQ(run.status, 0);
  EXPECT_NE(run.output.find("is absent: a line names it that the pattern does not take"),
            std::string::npos)
      << run.output;
  EXPECT_NE(run.output.find("  nearest   /dev/nvme0n1p1 "), std::string::npos) << run.output;
  EXPECT_NE(run.output.find("  pattern   ^/dev/([h|s|e|x]d[a-z])([0-9]+)\n"), std::string::npos)
      << run.output;
}

TEST_F(ExplainCommand, ClassThatIsNeverScannedIsSaid) {
  MakeInventory(Machine("classic_server"));

  const ProgramRun run = Explain({"Desktop Monitor"});

  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output,
            "Desktop Monitor has no instance: the class is not scanned: nothing examines "
            "monitors\n");
}

TEST_F(ExplainCommand, WhatIsUnknownIsSuggested) {
  MakeInventory(Machine("classic_server"));
  const struct {
    std::vector<std::string> asked;
    const char* errors;
  } cases[] = {
      {{"Logical Dsik"},
       "kor-agent: the last run has no class 'Logical Dsik'; did you mean 'Logical Disk'?\n"},
      {{"Logical Disk", "sda2"},
       "kor-agent: 'Logical Disk' has no instance 'sda2'; did you mean 'sda1'?\n"},
      {{"Logical Disk", "FreeSpcae"},
       "kor-agent: 'Logical Disk' has no instance 'FreeSpcae'; did you mean 'FreeSpace'?\n"},
      {{"Logical Disk", "sda1", "FreeSpcae"},
       "kor-agent: 'Logical Disk' has no attribute 'FreeSpcae'; did you mean 'FreeSpace'?\n"},
      {{"Physical Memory", "bank one"},
       "kor-agent: 'Physical Memory' has no instance 'bank one'; there is: 0\n"},
  };

  for (const auto& test : cases) {
    const ProgramRun run = Explain(test.asked);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors, test.errors);
  }
}

TEST_F(ExplainCommand, JsonHoldsTheSame) {
  MakeInventory(Machine("classic_server"));

  const ProgramRun run = Explain({"Physical Memory", "0", "Capacity", "--format", "json"});

  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.output,
            "{\n"
            "  \"translationFile\": \"" +
                rules.Str() +
                "\",\n"
                R"(  "class": "Physical Memory",
  "instances": {
    "0": {
      "Capacity": {
        "value": "15",
        "how": "in megabytes of 1,048,576 bytes, truncated",
        "sources": [{"command": "cat /proc/meminfo", "outcome": "exit", "status": 0, "succeeded": true, "pattern": "^MemTotal\\s*:\\s*(\\d+)\\s*([a-z]+)\\s*\\n", "found": true, "lines": ["MemTotal:       16330708 kB"]}],
        "rules": [{"pass": 1, "label": "Capacity in GB", "line": 4, "condition": "name is 'Capacity'", "before": "15947", "after": "15"}]
      }
    }
  }
}
)");
}

TEST_F(ExplainCommand, StoredInventoryOfAnotherRunIsSaidInOneLine) {
  MakeInventory(Machine("classic_server"));
  const KorString stored = home + "/data/HardwareInventory/HardwareInventoryLast.xml";
  ObjInv document(nullptr);
  ASSERT_TRUE(document.Parse(stored, nullptr));
  document.Ensure("Physical Memory")->Ensure("0")->Ensure("Capacity")->SetValue("1");
  ASSERT_TRUE(document.Save(stored));

  const ProgramRun run = Explain({"Physical Memory", "0", "Capacity"});

  EXPECT_EQ(run.status, 0);
  EXPECT_EQ(run.errors,
            "kor-agent: the stored inventory differs in 1 of these values: what was kept is of "
            "another run; run 'kor-agent inventory' and ask again\n");
}

TEST_F(ExplainCommand, TranslationFileThatWasChangedIsSaidInOneLine) {
  MakeInventory(Machine("classic_server"));
  folder.Write("rules.xml", "<HWINVCONFIG></HWINVCONFIG>");

  const ProgramRun run = Explain({"Physical Memory", "0", "Capacity"});

  EXPECT_NE(run.output.find("\"Capacity in GB\" (rules.xml:4): 15947 -> 15"), std::string::npos);
  EXPECT_EQ(run.errors, "kor-agent: the translation file '" + rules.Str() +
                            "' was changed since the run; the rules explained are those of the "
                            "run\n");
}

TEST_F(ExplainCommand, HomeIsLeftAsItIs) {
  MakeInventory(Machine("classic_server"));
  const auto contentOf = [this] {
    std::string content;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(home.Str())) {
      content += entry.path().string() + "\n";
      if (entry.is_regular_file()) {
        content += folder.Read(std::filesystem::relative(entry, folder.Path().Str()).string());
      }
    }
    return content;
  };
  const std::string before = contentOf();

  EXPECT_EQ(Explain({"Processor"}).status, 0);

  EXPECT_EQ(contentOf(), before);
}

TEST_F(ExplainCommand, WithoutKeptEvidenceTellsWhatToDo) {
  MakeInventory(Machine("classic_server"));
  std::filesystem::remove(home.Str() + "/data/kor-agent-last-run.machine");

  const ProgramRun run = Explain({"Processor"});

  EXPECT_EQ(run.status, 3);
  EXPECT_EQ(run.errors, "kor-agent: what the last run learned has not been kept in the home '" +
                            home.Str() + "' (KeepEvidence); run 'kor-agent inventory' once\n");
}

TEST_F(ExplainCommand, NothingIsKeptWhereTheSettingSaysSo) {
  std::filesystem::create_directories(home.Str() + "/config");
  folder.Write("home/config/kor-agent.ini", "[Agent]\nKeepEvidence = no\n");
  MakeInventory(Machine("classic_server"));

  EXPECT_EQ(Explain({"Processor"}).status, 3);
}

}  // namespace
