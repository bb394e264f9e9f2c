// Runs the TLS server of the tests as a process, with certificates made for it.

#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/temporary_folder.h"

extern char** environ;

// A private authority (ca.pem), certificates of it for the server (server.pem, server.key) and for
// a client (client.pem, client.key), and an authority that nobody knows (other.pem).
inline void MakeCertificates(const TemporaryFolder& folder) {
  folder.Write("server.ext", "subjectAltName=IP:127.0.0.1\n");
  const std::string newKey = "-newkey ec -pkeyopt ec_paramgen_curve:prime256v1 -nodes ";
  const std::string authority = "openssl req -x509 -days 2 " + newKey;
  const std::string sign = "openssl x509 -req -days 2 -CA ca.pem -CAkey ca.key -CAcreateserial ";
  const std::string commands =
      authority + "-subj /CN=test-authority -keyout ca.key -out ca.pem && " + authority +
      "-subj /CN=other-authority -keyout other.key -out other.pem && openssl req " + newKey +
      "-subj /CN=server -keyout server.key -out server.csr && " + sign +
      "-extfile server.ext -in server.csr -out server.pem && openssl req " + newKey +
      "-subj /CN=client -keyout client.key -out client.csr && " + sign +
      "-in client.csr -out client.pem";
  const std::string line =
      "cd '" + folder.Path().Str() + "' && { " + commands + "; } 2>openssl.log";
  if (std::system(line.c_str()) != 0) throw std::runtime_error(folder.Read("openssl.log"));
}

class RunningServer {
 public:
  // The folder has the certificates. The port 0 is any.
  explicit RunningServer(const TemporaryFolder& serverFolder,
                         const std::vector<std::string>& faults = {}, int wantedPort = 0) {
    int input[2];
    int output[2];
    if (pipe2(input, O_CLOEXEC) != 0 || pipe2(output, O_CLOEXEC) != 0) {
      throw std::runtime_error("no pipes");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input[0], STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output[1], STDOUT_FILENO);
    std::vector<std::string> words = {KOR_TLS_SERVER, serverFolder.Path().Str(),
                                      std::to_string(wantedPort)};
    words.insert(words.end(), faults.begin(), faults.end());
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    arguments.push_back(nullptr);
    const int failed =
        posix_spawn(&process, KOR_TLS_SERVER, &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(input[0]);
    close(output[1]);
    leash = input[1];
    char text[16] = "";
    const bool answered = failed == 0 && read(output[0], text, sizeof(text) - 1) > 0;
    close(output[0]);
    if (!answered) throw std::runtime_error("the server does not start");
    port = std::atoi(text);
  }
  ~RunningServer() { Stop(); }
  RunningServer(const RunningServer&) = delete;
  RunningServer& operator=(const RunningServer&) = delete;

  void Stop() {
    if (leash == -1) return;
    close(leash);
    leash = -1;
    waitpid(process, nullptr, 0);
  }

  int Port() const { return port; }
  std::string Url() const { return "https://127.0.0.1:" + std::to_string(port) + "/agents"; }

 private:
  pid_t process = -1;
  int leash = -1;
  int port = 0;
};

// The lines of a file in the folder; none when it is not there.
inline std::vector<std::string> Lines(const TemporaryFolder& folder, const char* name) {
  std::ifstream file(folder.Path(name).Str());
  std::vector<std::string> lines;
  for (std::string line; std::getline(file, line);) lines.push_back(line);
  return lines;
}
