// A folder of its own for a program, removed with all that is in it at the end.

#pragma once

#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <stdexcept>
#include <string>
#include <system_error>

class WorkFolder {
 public:
  // In memory where that can be had: thousands of runs that make all they store durable take no
  // less of a disk than of the processor.
  WorkFolder() {
    const char* const memory = "/dev/shm";
    const bool isInMemory = access(memory, W_OK | X_OK) == 0;
    path = isInMemory ? std::filesystem::path(memory) : std::filesystem::temp_directory_path();
    std::string name = (path / "kor-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder to work in");
    path = name;
  }
  ~WorkFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  WorkFolder(const WorkFolder&) = delete;
  WorkFolder& operator=(const WorkFolder&) = delete;

  const std::filesystem::path& Path() const { return path; }

 private:
  std::filesystem::path path;
};
