// Recorded machines, scanned by the program as a user starts it, and the documents expected of
// them. CMake gives the absolute paths: KOR_AGENT_PROGRAM, KOR_MODULE_FILE (the inventory module)
// and KOR_SOURCE_DIR.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/temporary_folder.h"

namespace {

const std::filesystem::path kFolder = KOR_SOURCE_DIR "/tests/machines";

// The names of the files with that extension, without it.
std::vector<std::string> NamesOf(const std::string& extension) {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator(kFolder)) {
    if (entry.path().extension() == extension) names.push_back(entry.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The program's exit status, or -1 when a signal ended it; its output in files of the folder.
int RunProgram(std::vector<std::string> arguments, const TemporaryFolder& folder) {
  arguments.insert(arguments.begin(), KOR_AGENT_PROGRAM);
  std::vector<char*> pointers;
  pointers.reserve(arguments.size() + 1);
  for (std::string& text : arguments) pointers.push_back(text.data());
  pointers.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, folder.Path("stdout").CStr(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, folder.Path("stderr").CStr(),
                                   O_WRONLY | O_CREAT | O_TRUNC, 0600);
  pid_t process = 0;
  const int error =
      posix_spawn(&process, KOR_AGENT_PROGRAM, &actions, nullptr, pointers.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  if (error != 0) throw std::runtime_error("cannot start " KOR_AGENT_PROGRAM);
  int status = 0;
  waitpid(process, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

class RecordedMachine : public testing::TestWithParam<std::string> {};

}  // namespace

TEST_P(RecordedMachine, GivesTheExpectedDocument) {
  const TemporaryFolder folder;
  const std::filesystem::path machine = kFolder / (GetParam() + ".machine");

  const int status = RunProgram({"inventory", "--format", "json", "--replay", machine.string(),
                                 "--home", folder.Path("home").Str(), "--module", KOR_MODULE_FILE},
                                folder);

  EXPECT_EQ(status, 0);
  // A question that the recording cannot answer would be named here.
  EXPECT_EQ(folder.Read("stderr"), "");
  EXPECT_EQ(folder.Read("stdout"), ReadFile(kFolder / (GetParam() + ".json")));
}

INSTANTIATE_TEST_SUITE_P(Machines, RecordedMachine, testing::ValuesIn(NamesOf(".machine")),
                         [](const auto& one) { return one.param; });

TEST(RecordedMachines, EveryRecordingHasItsDocument) {
  EXPECT_GE(NamesOf(".machine").size(), 14U);
  EXPECT_EQ(NamesOf(".machine"), NamesOf(".json"));
}
