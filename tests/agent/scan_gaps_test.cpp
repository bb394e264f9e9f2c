#include "agent/scan_gaps.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <array>
#include <string>
#include <string_view>
#include <vector>

#include "support/temporary_folder.h"

namespace {

using agent::ScanGaps;
using agent::ScanSurroundings;
using agent::ToolPlace;
using testing::ElementsAre;
using testing::IsEmpty;
using Outcome = KorCommandResult::Outcome;

ScanSurroundings WithEverything() {
  return {true, true, true, [](std::string_view) { return ToolPlace::kOnPath; }};
}

ScanSurroundings Without(const std::string& tool, ToolPlace place = ToolPlace::kMissing) {
  ScanSurroundings surroundings = WithEverything();
  surroundings.find = [tool, place](std::string_view word) {
    return word.ends_with(tool) ? place : ToolPlace::kOnPath;
  };
  return surroundings;
}

ScanSurroundings Recorded() {
  ScanSurroundings surroundings = WithEverything();
  surroundings.isLive = false;
  surroundings.find = nullptr;
  return surroundings;
}

void Begin(ScanGaps& gaps, std::string_view name) {
  gaps.OnClasses(std::array{name});
}

// What is said of a class for which one command did not give anything.
std::vector<std::string> Reasons(const ScanSurroundings& surroundings, const char* command,
                                 const KorCommandResult& result) {
  ScanGaps gaps(surroundings);
  Begin(gaps, "A");
  gaps.OnCommand(command, result);
  return gaps.Reasons();
}

TEST(ScanGapsOfARun, CommandThatIsNotInstalledIsNamedWithItsPackage) {
  EXPECT_THAT(Reasons(Without("ifconfig"), "/sbin/ifconfig -a", {Outcome::kExited, 127, ""}),
              ElementsAre("A: ifconfig is not installed; apt-get install net-tools"));
  ScanSurroundings surroundings = Without("ifconfig");
  surroundings.hasApt = false;
  EXPECT_THAT(Reasons(surroundings, "/sbin/ifconfig -a", {Outcome::kExited, 127, ""}),
              ElementsAre("A: ifconfig is not installed; install the package net-tools"));
}

TEST(ScanGapsOfARun, CommandOfAnUnknownPackageIsNamed) {
  EXPECT_THAT(Reasons(WithEverything(), "/opt/x/probe --all", {Outcome::kExited, 127, ""}),
              ElementsAre("A: probe is not installed"));
}

TEST(ScanGapsOfARun, CommandThatIsMissingWithinAPipelineIsFound) {
  constexpr const char* kVideo = R"(lspci | grep "VGA\|Video")";
  EXPECT_THAT(Reasons(Without("lspci"), kVideo, {Outcome::kExited, 1, ""}),
              ElementsAre("A: lspci is not installed; apt-get install pciutils"));
  constexpr const char* kRoute = "route | grep eth0$ | cut -d ' ' -f2";
  EXPECT_THAT(Reasons(Without("route"), kRoute, {Outcome::kExited, 0, ""}),
              ElementsAre("A: route is not installed; apt-get install net-tools"));
  constexpr const char* kFile = "lspci -s `file /sys/x | cut -d / -f6`";
  EXPECT_THAT(Reasons(Without("file"), kFile, {Outcome::kExited, 1, ""}),
              ElementsAre("A: file is not installed; apt-get install file"));
}

TEST(ScanGapsOfARun, CommandOfRootOnlyAsksForRoot) {
  EXPECT_THAT(Reasons(Without("dmidecode", ToolPlace::kForRoot), "dmidecode -t 0",
                      {Outcome::kExited, 127, ""}),
              ElementsAre("A: dmidecode is for root only; run as root"));
}

TEST(ScanGapsOfARun, FirmwareTablesAskForRoot) {
  ScanSurroundings surroundings = WithEverything();
  const KorCommandResult failed = {Outcome::kExited, 1, ""};
  EXPECT_THAT(Reasons(surroundings, "dmidecode -t 0", failed),
              ElementsAre("A: dmidecode failed with status 1: this machine shows no firmware "
                          "tables, as in most containers"));
  surroundings.isRoot = false;
  EXPECT_THAT(Reasons(surroundings, "dmidecode -t 0", failed),
              ElementsAre("A: dmidecode failed with status 1: permission denied; run as root"));
  EXPECT_THAT(Reasons(Recorded(), "dmidecode -t 0", failed),
              ElementsAre("A: dmidecode failed with status 1: no firmware tables, or not run as "
                          "root"));
}

TEST(ScanGapsOfARun, CommandThatCannotBeExecutedOrWasEndedSaysSo) {
  const ScanSurroundings here = WithEverything();
  EXPECT_THAT(Reasons(here, "/bin/df -TP", {Outcome::kExited, 126, ""}),
              ElementsAre("A: df may not be executed; check its permissions"));
  EXPECT_THAT(Reasons(here, "/bin/df -TP", {Outcome::kExited, 137, ""}),
              ElementsAre("A: df was killed by signal 9"));
  EXPECT_THAT(Reasons(here, "/bin/df -TP", {Outcome::kKilled, 15, ""}),
              ElementsAre("A: df was killed by signal 15"));
  EXPECT_THAT(Reasons(here, "/bin/df -TP", {Outcome::kTooLong, 0, "much"}),
              ElementsAre("A: df printed too much and was stopped"));
  EXPECT_THAT(Reasons(here, "/bin/df -TP", {Outcome::kNotStarted, 0, ""}),
              ElementsAre("A: df could not be run: no process or no shell"));
}

TEST(ScanGapsOfARun, FileThatCannotBeReadIsNamed) {
  EXPECT_THAT(Reasons(WithEverything(), "cat /proc/cpuinfo", {Outcome::kExited, 1, ""}),
              ElementsAre("A: /proc/cpuinfo cannot be read"));
  EXPECT_THAT(Reasons(WithEverything(), "/bin/df -TP", {Outcome::kExited, 2, ""}),
              ElementsAre("A: df failed with status 2"));
}

TEST(ScanGapsOfARun, WhatMayHaveNothingToFindIsNoGap) {
  const ScanSurroundings here = WithEverything();
  for (const char* command : {R"(lspci | grep "VGA\|Video")", "pgrep -f X",
                              "cat `pgrep dhclient | grep x` | cut -f1 | grep \"a\\|b\""}) {
    EXPECT_THAT(Reasons(here, command, {Outcome::kExited, 1, ""}), IsEmpty()) << command;
  }
  EXPECT_THAT(Reasons(here, "/bin/df -TP", {Outcome::kExited, 0, ""}), IsEmpty());
  EXPECT_THAT(Reasons(here, "/bin/df -TP", {Outcome::kExited, 1, "/dev/sda1 ..."}), IsEmpty())
      << "one mount cannot be examined, the others are there";
}

TEST(ScanGapsOfARun, OfARecordedMachineNothingIsAssumed) {
  EXPECT_THAT(Reasons(Recorded(), "/sbin/ifconfig -a", {Outcome::kExited, 127, ""}),
              ElementsAre("A: ifconfig was not there"));
  EXPECT_THAT(Reasons(Recorded(), R"(lspci | grep "VGA\|Video")", {Outcome::kExited, 1, ""}),
              IsEmpty());
}

TEST(ScanGapsOfARun, FailureIsToldOnlyOfClassesThatStayEmpty) {
  ScanGaps gaps(WithEverything());
  Begin(gaps, "Network Adapter Configuration");
  gaps.OnInstance(&gaps, "Network Adapter Configuration", "lo");
  gaps.OnCommand("lspci -s ", {Outcome::kExited, 1, ""});
  EXPECT_THAT(gaps.Reasons(), IsEmpty());
}

TEST(ScanGapsOfARun, MissingCommandIsToldThoughTheClassHasInstances) {
  ScanGaps gaps(Without("lspci"));
  Begin(gaps, "Network Adapter Configuration");
  gaps.OnInstance(&gaps, "Network Adapter Configuration", "eth0");
  gaps.OnCommand("lspci -s 01:00.0", {Outcome::kExited, 127, ""});
  EXPECT_THAT(gaps.Reasons(), ElementsAre("Network Adapter Configuration: lspci is not installed; "
                                          "apt-get install pciutils"));
}

TEST(ScanGapsOfARun, ClassesWithOneReasonShareALine) {
  ScanGaps gaps(Without("df"));
  for (const char* name : {"Logical Disk", "Disk Drive"}) {
    Begin(gaps, name);
    gaps.OnCommand("/bin/df -TP", {Outcome::kExited, 127, ""});
    gaps.OnCommand("/bin/df -TP", {Outcome::kExited, 127, ""});
  }
  EXPECT_THAT(gaps.Reasons(), ElementsAre("Logical Disk, Disk Drive: df is not installed; "
                                          "apt-get install coreutils"));
}

TEST(ScanGapsOfARun, EmptyClassesWithoutAReasonAreKnown) {
  ScanGaps gaps(Without("dmidecode"));
  Begin(gaps, "Keyboard");
  Begin(gaps, "BIOS");
  gaps.OnCommand("dmidecode -t 0", {Outcome::kExited, 127, ""});
  Begin(gaps, "Processor");
  gaps.OnInstance(&gaps, "Processor", "0");
  EXPECT_THAT(gaps.EmptyClasses(), ElementsAre("Keyboard"));
}

TEST(ScanGapsOfARun, ListensWhileItLives) {
  {
    const ScanGaps gaps(WithEverything());
    EXPECT_EQ(&gaps, KorTrace::Current());
  }
  EXPECT_EQ(nullptr, KorTrace::Current());
}

TEST(ScanSurroundingsOfTheProcess, ToolsAreFoundAsTheShellFindsThem) {
  const TemporaryFolder folder;
  const KorString tool = folder.Write("probe", "#!/bin/sh\n");
  ASSERT_EQ(0, chmod(tool.CStr(), 0700));
  folder.Write("no-program", "");
  const char* before = getenv("PATH");
  const std::string path = before == nullptr ? "" : before;
  ASSERT_EQ(0, setenv("PATH", ("/nowhere:" + folder.Path().Str()).c_str(), 1));

  const ScanSurroundings here = agent::ThisProcess(true);

  EXPECT_EQ(ToolPlace::kOnPath, here.find("probe"));
  EXPECT_EQ(ToolPlace::kMissing, here.find("no-program"));
  EXPECT_EQ(ToolPlace::kOnPath, here.find(tool.View()));
  EXPECT_EQ(ToolPlace::kMissing, here.find("/nowhere/probe"));
  ASSERT_EQ(0, setenv("PATH", path.c_str(), 1));
}

}  // namespace
