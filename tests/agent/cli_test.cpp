// The program as a whole, as a user starts it. CMake gives the absolute paths: KOR_AGENT_PROGRAM,
// KOR_MODULE_FILE (the inventory module) and KOR_TEST_MODULE_FOLDER.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "support/temporary_folder.h"

namespace {

// A machine on which every command fails and no file is there.
constexpr const char* kEmptyMachine = "kor-recording 1\n";

constexpr const char* kSmallFilter =
    "<HWINVCONFIG>\n"
    "<HWINVWMILIST>\n"
    "<HWWMICLASS><CLASSNAME>Processor</CLASSNAME><CLASSID>Win32_Processor</CLASSID>"
    "<ACTION>Accept</ACTION></HWWMICLASS>\n"
    "</HWINVWMILIST>\n"
    "</HWINVCONFIG>\n";

// One run of the program, its output in files of the folder.
class Program {
 public:
  enum class StandardOutput { kFile, kClosed };

  Program(const TemporaryFolder& outputFolder, const std::vector<std::string>& arguments,
          StandardOutput standardOutput = StandardOutput::kFile)
      : folder(outputFolder) {
    std::vector<std::string> texts = {KOR_AGENT_PROGRAM};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, folder.Path("stdout").CStr(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (standardOutput == StandardOutput::kClosed) {
      posix_spawn_file_actions_addclose(&actions, STDOUT_FILENO);
    }
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, folder.Path("stderr").CStr(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (posix_spawn(&process, KOR_AGENT_PROGRAM, &actions, nullptr, pointers.data(), environ) !=
        0) {
      throw std::runtime_error("cannot start " KOR_AGENT_PROGRAM);
    }
    posix_spawn_file_actions_destroy(&actions);
  }
  ~Program() {
    if (process > 0) Wait();
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  // The exit status, or -1 when a signal ended it.
  int Wait() {
    int status = 0;
    waitpid(process, &status, 0);
    process = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  void Signal(int number) const { kill(process, number); }

  // Up to 20 s for that text on standard error.
  bool WaitForMessage(const std::string& text) const {
    for (int n = 0; n < 2000; ++n) {
      if (Errors().find(text) != std::string::npos) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }

  std::string Output() const { return folder.Read("stdout"); }
  std::string Errors() const { return folder.Read("stderr"); }

 private:
  const TemporaryFolder& folder;
  pid_t process = -1;
};

class Cli : public testing::Test {
 protected:
  int Run(std::vector<std::string> arguments) {
    Program program(folder, arguments);
    const int status = program.Wait();
    output = program.Output();
    errors = program.Errors();
    return status;
  }

  // With the inventory module and a home in the folder.
  int RunAtHome(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(),
                     {"--home", folder.Path("home").Str(), "--module", KOR_MODULE_FILE});
    return Run(std::move(arguments));
  }

  bool HomeExists() const { return std::filesystem::exists(folder.Path("home").Str()); }

  const TemporaryFolder folder;
  std::string output;
  std::string errors;
};

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST_F(Cli, HelpIsAResultAndTellsTheExitStatuses) {
  EXPECT_EQ(0, Run({"--help"}));
  EXPECT_TRUE(Contains(output, "Exit status:")) << output;
  EXPECT_EQ("", errors);
}

TEST_F(Cli, WrongCommandLineIsRefused) {
  EXPECT_EQ(2, Run({"inventry"}));
  EXPECT_EQ("", output);
  EXPECT_EQ(2, Run({}));
  EXPECT_EQ(2, Run({"inventory", "--format", "yaml"}));
  EXPECT_EQ(2, Run({"inventory", "--redact"}));
  EXPECT_EQ(2, Run({"inventory", "--record", "a", "--replay", "b"}));
  EXPECT_EQ(2, Run({"inventory", "--home", ""}));
  EXPECT_EQ(2, Run({"filter", "check"}));
}

TEST_F(Cli, ReplayedInventoryIsPrintedAsJsonAndNothingElse) {
  const KorString machine = folder.Write("empty.machine", kEmptyMachine);
  EXPECT_EQ(0, RunAtHome({"inventory", "--format", "json", "--replay", machine.Str()})) << errors;
  EXPECT_TRUE(Contains(output, "\"name\": \"HWINVENTORY\"")) << output;
  EXPECT_TRUE(Contains(output, "\"Processor\": {")) << output;
  EXPECT_EQ('{', output.front());
  EXPECT_EQ("}\n", output.substr(output.size() - 2));
}

TEST_F(Cli, WhatAReplayLacksIsNamedOnce) {
  const KorString machine = folder.Write("empty.machine", kEmptyMachine);
  EXPECT_EQ(0, RunAtHome({"inventory", "--replay", machine.Str()}));
  const std::string line = "kor-agent: not recorded: command /sbin/ifconfig -a";
  const size_t first = errors.find(line);
  ASSERT_NE(std::string::npos, first) << errors;
  EXPECT_EQ(std::string::npos, errors.find(line, first + 1)) << errors;
}

TEST_F(Cli, XmlIsTheStoredFile) {
  const KorString machine = folder.Write("empty.machine", kEmptyMachine);
  EXPECT_EQ(0, RunAtHome({"inventory", "--format", "xml", "--replay", machine.Str()}));
  EXPECT_EQ(folder.Read("home/data/HardwareInventory/HardwareInventoryLast.xml"), output);
}

TEST_F(Cli, HomeIsSetUpWithSettingsLogAndIdentity) {
  const KorString machine = folder.Write("empty.machine", kEmptyMachine);
  EXPECT_EQ(0, RunAtHome({"inventory", "--replay", machine.Str()}));
  EXPECT_TRUE(Contains(folder.Read("home/config/HardwareInventory.ini"), "; Settings of"));
  EXPECT_TRUE(Contains(folder.Read("home/data/kor-agent.log"), "Scanning processor"));
  EXPECT_TRUE(Contains(folder.Read("home/data/identity.ini"), "GUID"));
}

TEST_F(Cli, ReplayWithoutAHomeLeavesTheUsualOneAlone) {
  const KorString machine = folder.Write("empty.machine", kEmptyMachine);
  ASSERT_EQ(0, setenv("KOR_AGENT_HOME", folder.Path("home").CStr(), 1));
  const int status = Run({"inventory", "--replay", machine.Str(), "--module", KOR_MODULE_FILE});
  unsetenv("KOR_AGENT_HOME");
  EXPECT_EQ(0, status) << errors;
  EXPECT_FALSE(HomeExists());
}

TEST_F(Cli, RecordedRunCanBePlayedBack) {
  const std::string machine = folder.Path("this.machine").Str();
  ASSERT_EQ(0, RunAtHome({"inventory", "--format", "xml", "--record", machine})) << errors;
  const std::string live = output;
  ASSERT_EQ(0, RunAtHome({"inventory", "--format", "xml", "--replay", machine})) << errors;
  EXPECT_EQ(live, output);
  EXPECT_EQ("", errors);
}

TEST_F(Cli, StatusesOfCommandsAreKnownThoughTheParentIgnoresItsChildren) {
  const std::string recording = folder.Path("recording").Str();
  const auto before = signal(SIGCHLD, SIG_IGN);
  Program program(folder, {"inventory", "--record", recording, "--home", folder.Path("home").Str(),
                           "--module", KOR_MODULE_FILE});
  signal(SIGCHLD, before);
  EXPECT_EQ(0, program.Wait());
  const std::string recorded = folder.Read("recording");
  EXPECT_TRUE(Contains(recorded, "exit 0"));
  EXPECT_FALSE(Contains(recorded, "status-lost"));
}

// The names by which the libraries of this process, which are the program's too, are loaded.
std::set<std::string> LibraryNames() {
  std::set<std::string> names;
  std::ifstream maps("/proc/self/maps");
  const std::regex library("/(lib[^/]*\\.so(\\.[0-9]+)?)[^/]*$");
  std::smatch found;
  for (std::string line; std::getline(maps, line);) {
    if (std::regex_search(line, found, library)) names.insert(found[1]);
  }
  return names;
}

TEST_F(Cli, LibrariesInTheWorkingFolderAreNotLoaded) {
  const KorString machine = folder.Write("empty.machine", kEmptyMachine);
  const std::set<std::string> names = LibraryNames();
  ASSERT_TRUE(names.contains("libsqlite3.so.0") && names.contains("libKorCore.so.0"));
  for (const std::string& name : names) folder.Write(name, "no library");
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(std::filesystem::path(machine.Str()).parent_path());
  const int status = RunAtHome({"inventory", "--replay", machine.Str()});
  std::filesystem::current_path(before);
  EXPECT_EQ(0, status) << errors;
}

TEST_F(Cli, SuccessIsSilentInAPipe) {
  EXPECT_EQ(0, RunAtHome({"inventory"}));
  EXPECT_EQ("", errors);
  EXPECT_TRUE(Contains(output, "Processor\n=========\n")) << output;
}

TEST_F(Cli, SummaryTellsWhatWasFoundAndWhatFailed) {
  const KorString machine = folder.Write("empty.machine", kEmptyMachine);
  EXPECT_EQ(0, RunAtHome({"inventory", "--log-level", "detail", "--replay", machine.Str()}));
  EXPECT_TRUE(Contains(errors, " classes, ")) << errors;
  EXPECT_TRUE(Contains(errors, "scans that failed: ")) << errors;
  EXPECT_TRUE(Contains(errors, "network adapter")) << errors;
  EXPECT_FALSE(Contains(errors, "desktop monitor")) << errors;
}

TEST_F(Cli, SummaryTellsWhyThereAreGapsAndWhereTheFilesAre) {
  const KorString machine = folder.Write("some.machine",
                                         "kor-recording 1\n"
                                         "command /sbin/ifconfig -a\nexit 127\n"
                                         "command dmidecode -qs bios-vendor\nexit 1\n"
                                         "command cat /proc/uptime\nexit 0\n|12.50 1.00\n");
  EXPECT_EQ(0, RunAtHome({"inventory", "--log-level", "detail", "--replay", machine.Str()}));
  EXPECT_TRUE(Contains(errors,
                       "kor-agent: Network Adapter, Network Adapter Configuration: ifconfig was "
                       "not there\n"))
      << errors;
  EXPECT_TRUE(Contains(errors, "kor-agent: BIOS: dmidecode failed with status 1: ")) << errors;
  EXPECT_TRUE(Contains(errors, "kor-agent: Keyboard: nothing found\n")) << errors;
  EXPECT_FALSE(Contains(errors, "kor-agent: OS Performance")) << errors;
  const std::string stored = folder.Path("home/data/HardwareInventory/").Str();
  EXPECT_TRUE(Contains(errors, "kor-agent: the inventory is in '" + stored +
                                   "HardwareInventoryLast.xml', the log in '"))
      << errors;
}

TEST_F(Cli, RecordingThatIsNoneIsRefused) {
  const KorString machine = folder.Write("bad.machine", "something else\n");
  EXPECT_EQ(3, RunAtHome({"inventory", "--replay", machine.Str()}));
  EXPECT_TRUE(Contains(errors, "the recording cannot be played back: ")) << errors;
  EXPECT_FALSE(HomeExists());
}

TEST_F(Cli, FailedRunSaysWhyAndPrintsNothing) {
  const KorString machine = folder.Write("empty.machine", kEmptyMachine);
  EXPECT_EQ(1, RunAtHome({"inventory", "--replay", machine.Str(), "--translation-file",
                          folder.Path("missing.xml").Str()}));
  EXPECT_EQ("", output);
  EXPECT_TRUE(Contains(
      errors, "Translation file does not exist '" + folder.Path("missing.xml").Str() + "'"))
      << errors;
  EXPECT_TRUE(Contains(errors, "kor-agent: the inventory run failed\n")) << errors;
}

// The inventory of an earlier run must not be taken for the one of a run that failed.
TEST_F(Cli, FailedRunAfterAGoodOnePrintsNothing) {
  const KorString machine = folder.Write("empty.machine", kEmptyMachine);
  ASSERT_EQ(0, RunAtHome({"inventory", "--replay", machine.Str()}));
  EXPECT_EQ(1, RunAtHome({"inventory", "--replay", machine.Str(), "--translation-file",
                          folder.Path("missing.xml").Str()}));
  EXPECT_EQ("", output);
}

TEST_F(Cli, TranslationFileOfTheCommandLineIsNotStored) {
  const KorString machine = folder.Write("empty.machine", kEmptyMachine);
  const KorString filter = folder.Write("small.xml", kSmallFilter);
  EXPECT_EQ(0,
            RunAtHome({"inventory", "--replay", machine.Str(), "--translation-file", filter.Str()}))
      << errors;
  EXPECT_TRUE(Contains(folder.Read("home/data/kor-agent.log"),
                       "Using translation file '" + filter.Str() + "'"));
  EXPECT_FALSE(Contains(folder.Read("home/config/HardwareInventory.ini"), "small.xml"));
}

TEST_F(Cli, DataThatOthersCanWriteIsRefused) {
  std::filesystem::create_directories(folder.Path("home/data").Str());
  std::filesystem::permissions(folder.Path("home/data").Str(), std::filesystem::perms::all);
  EXPECT_EQ(3, RunAtHome({"inventory"}));
  EXPECT_TRUE(Contains(errors, "other users can write into it")) << errors;
}

TEST_F(Cli, ModuleThatCannotBeLoadedIsNamed) {
  EXPECT_EQ(3, Run({"inventory", "--home", folder.Path("home").Str(), "--module",
                    folder.Path("no.so").Str()}));
  EXPECT_EQ("kor-agent: the module '" + folder.Path("no.so").Str() +
                "' cannot be loaded: cannot open shared object file: No such file or directory\n",
            errors);
}

TEST_F(Cli, ResultThatCannotBeWrittenIsAFailure) {
  ASSERT_TRUE(std::filesystem::exists("/dev/full"));
  const KorString machine = folder.Write("empty.machine", kEmptyMachine);
  std::filesystem::create_symlink("/dev/full", folder.Path("stdout").Str());
  Program program(folder, {"inventory", "--replay", machine.Str(), "--module", KOR_MODULE_FILE});
  EXPECT_EQ(4, program.Wait());
  EXPECT_TRUE(Contains(program.Errors(), "standard output cannot be written: No space left"))
      << program.Errors();
}

TEST_F(Cli, ResultForAClosedStandardOutputGoesNowhereElse) {
  const KorString machine = folder.Write("empty.machine", kEmptyMachine);
  Program program(folder,
                  {"inventory", "--format", "json", "--replay", machine.Str(), "--home",
                   folder.Path("home").Str(), "--module", KOR_MODULE_FILE},
                  Program::StandardOutput::kClosed);
  EXPECT_EQ(4, program.Wait());
  EXPECT_TRUE(Contains(program.Errors(), "standard output cannot be written: Bad file descriptor"))
      << program.Errors();
  EXPECT_FALSE(Contains(folder.Read("home/data/kor-agent.log"), "\"classes\""));
}

// A run that lasts until it is cancelled.
class CliStop : public Cli, public testing::WithParamInterface<int> {};

TEST_P(CliStop, SignalEndsTheRunInOrder) {
  Program program(folder, {"inventory", "--home", folder.Path("home").Str(), "--log-level", "print",
                           "--module", KOR_TEST_MODULE_FOLDER "/slow_run.so"});
  ASSERT_TRUE(program.WaitForMessage("Scanning slowly")) << program.Errors();
  const auto start = std::chrono::steady_clock::now();

  program.Signal(GetParam());

  EXPECT_EQ(128 + GetParam(), program.Wait());
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
  EXPECT_EQ("", program.Output());
  const std::string life = folder.Read("home/data/life");
  EXPECT_EQ("5 2 ", life.substr(life.size() - 4));
}

INSTANTIATE_TEST_SUITE_P(EitherSignal, CliStop, testing::Values(SIGINT, SIGTERM),
                         [](const auto& tested) {
                           return tested.param == SIGINT ? "Interrupt" : "Terminate";
                         });

class CliFilterCheck : public Cli {
 protected:
  int Check(const KorString& file) {
    return Run({"filter", "check", file.Str(), "--module", KOR_MODULE_FILE});
  }
};

TEST_F(CliFilterCheck, CleanFileIsCounted) {
  const KorString file = folder.Write("small.xml", kSmallFilter);
  EXPECT_EQ(0, Check(file)) << errors;
  EXPECT_EQ(file.Str() + ": 1 classes, 0 rules; 0 complaints, 0 notes\n", output);
  EXPECT_EQ("", errors);
}

TEST_F(CliFilterCheck, ComplaintStandsWithItsLine) {
  const KorString file = folder.Write("bad.xml",
                                      "<HWINVCONFIG>\n"
                                      "<TRANSLATEHWLIST>\n"
                                      "<TRANSLATEHW label=\"x\">\n"
                                      "<MATCHHW><ATTRNAME>A</ATTRNAME></MATCHHW>\n"
                                      "</TRANSLATEHW>\n"
                                      "</TRANSLATEHWLIST>\n"
                                      "</HWINVCONFIG>\n");
  EXPECT_EQ(1, Check(file));
  EXPECT_TRUE(Contains(output, file.Str() + ":5: warning: Bad action '' for entry 'x'\n"))
      << output;
  EXPECT_TRUE(Contains(output, file.Str() + ": 0 classes, 0 rules; 1 complaint, ")) << output;
}

TEST_F(CliFilterCheck, NotesDoNotCountAsComplaints) {
  const KorString file = folder.Write("note.xml", "<HWINVCONFIG>\n<UNKNOWN/>\n</HWINVCONFIG>\n");
  EXPECT_EQ(0, Check(file)) << output;
  EXPECT_TRUE(Contains(output, file.Str() + ":2: note: ")) << output;
  EXPECT_TRUE(Contains(output, "; 0 complaints, 1 note\n")) << output;
}

TEST_F(CliFilterCheck, MalformedFileIsNotLoaded) {
  const KorString file = folder.Write("cut.xml", "<HWINVCONFIG>\n<HWINVWMILIST>\n");
  EXPECT_EQ(1, Check(file));
  EXPECT_TRUE(Contains(output, file.Str() + ":3: error: no element found\n")) << output;
  EXPECT_TRUE(Contains(output, ": not loaded; 1 complaint, ")) << output;
}

TEST_F(CliFilterCheck, FileThatCannotBeReadIsOneLine) {
  EXPECT_EQ(1, Check(folder.Path("missing.xml")));
  EXPECT_EQ("kor-agent: " + folder.Path("missing.xml").Str() + ": No such file or directory\n",
            errors);
  EXPECT_EQ(1, Check(folder.Write("empty.xml", "")));
  EXPECT_EQ("kor-agent: " + folder.Path("empty.xml").Str() + ": it is empty\n", errors);
  EXPECT_EQ(1, Check(folder.Path()));
  EXPECT_EQ("kor-agent: " + folder.Path().Str() + ": it is not a file\n", errors);
}

TEST_F(CliFilterCheck, RealHomeIsNotTouched) {
  const KorString file = folder.Write("small.xml", kSmallFilter);
  ASSERT_EQ(0, setenv("KOR_AGENT_HOME", folder.Path("home").CStr(), 1));
  ASSERT_EQ(0, setenv("TMPDIR", folder.Path("tmp").CStr(), 1));
  std::filesystem::create_directory(folder.Path("tmp").Str());
  const int status = Check(file);
  unsetenv("KOR_AGENT_HOME");
  unsetenv("TMPDIR");
  EXPECT_EQ(0, status) << errors;
  EXPECT_FALSE(HomeExists());
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path("tmp").Str()));
}

}  // namespace
