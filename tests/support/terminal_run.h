// One run of the agent's program on a terminal of its own. CMake gives its absolute path,
// KOR_AGENT_PROGRAM.

#pragma once

#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>
#include <string>
#include <vector>

struct TerminalRun {
  int status = -1;     // -1 when a signal ended it
  std::string output;  // all that the terminal got, with the line ends that were written

  // The settings are of the environment, "NAME=value"; TERM is there, COLUMNS and NO_COLOR are not
  // unless they are given.
  static TerminalRun Of(unsigned short columns, std::vector<std::string> arguments,
                        std::vector<std::string> settings = {},
                        const std::string& workingFolder = "/") {
    arguments.insert(arguments.begin(), KOR_AGENT_PROGRAM);
    settings.insert(settings.end(), {"TERM=xterm", "PATH=/usr/bin:/bin"});
    std::vector<char*> words = Pointers(arguments);
    std::vector<char*> environment = Pointers(settings);
    const winsize size = {24, columns, 0, 0};
    int terminal = -1;
    const pid_t process = forkpty(&terminal, nullptr, nullptr, &size);
    if (process < 0) throw std::runtime_error("no terminal can be had");
    if (process == 0) {
      if (chdir(workingFolder.c_str()) == 0) {
        execve(KOR_AGENT_PROGRAM, words.data(), environment.data());
      }
      _exit(126);
    }
    TerminalRun run;
    run.output = ReadAll(terminal);
    int status = 0;
    waitpid(process, &status, 0);
    close(terminal);
    if (WIFEXITED(status)) run.status = WEXITSTATUS(status);
    return run;
  }

 private:
  static std::vector<char*> Pointers(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    pointers.reserve(texts.size() + 1);
    for (std::string& text : texts) pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
  }

  // Until the program is gone, which is an error to the reader; a terminal ends lines with CR LF.
  static std::string ReadAll(int terminal) {
    std::string all;
    char piece[4096];
    for (ssize_t length = 0; (length = read(terminal, piece, sizeof(piece))) > 0;) {
      for (ssize_t at = 0; at < length; ++at) {
        if (piece[at] != '\r') all += piece[at];
      }
    }
    return all;
  }
};
