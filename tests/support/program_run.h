// One run of the agent's program, whole. CMake gives its absolute path, KOR_AGENT_PROGRAM.

#pragma once

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/temporary_folder.h"

struct ProgramRun {
  // The process of the run in progress, for other threads.
  static pid_t Latest() { return latest; }

  int status = -1;  // -1 when a signal ended it
  std::string output;
  std::string errors;

  // Its output goes through files of the folder.
  static ProgramRun Of(const TemporaryFolder& folder, std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), KOR_AGENT_PROGRAM);
    std::vector<char*> pointers;
    for (std::string& text : arguments) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    constexpr int kFlags = O_WRONLY | O_CREAT | O_TRUNC;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, folder.Path("stdout").CStr(), kFlags,
                                     0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, folder.Path("stderr").CStr(), kFlags,
                                     0600);
    pid_t process = 0;
    const int error =
        posix_spawn(&process, KOR_AGENT_PROGRAM, &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) throw std::runtime_error("cannot start " KOR_AGENT_PROGRAM);
    latest = process;
    int status = 0;
    waitpid(process, &status, 0);
    ProgramRun run;
    if (WIFEXITED(status)) run.status = WEXITSTATUS(status);
    run.output = folder.Read("stdout");
    run.errors = folder.Read("stderr");
    return run;
  }

 private:
  static inline std::atomic<pid_t> latest = 0;
};
