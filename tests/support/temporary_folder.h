// A folder of its own for a test, removed with all that is in it at the end.

#pragma once

#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

#include "kor/string.h"

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = testing::TempDir() + "kor-test-XXXXXX";
    if (mkdtemp(name.data()) == nullptr) {
      throw std::runtime_error("cannot create a folder under " + testing::TempDir());
    }
    folder = name;
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  // Absolute, without a trailing separator.
  KorString Path() const { return KorString(folder); }
  KorString Path(std::string_view name) const {
    return KorString(folder + "/" + std::string(name));
  }

  // Creates or replaces a file in the folder and gives its path. What fails ends the test.
  KorString Write(std::string_view name, std::string_view content) const {
    KorString path = Path(name);
    std::ofstream file(path.Str(), std::ios::binary | std::ios::trunc);
    file.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!file.flush()) throw std::runtime_error("cannot write " + path.Str());
    return path;
  }

  // The content of a file in the folder; what cannot be read ends the test.
  std::string Read(std::string_view name) const {
    std::ifstream file(Path(name).Str(), std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + Path(name).Str());
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

  // Returns when a file that changes from now on has a later time of change than all before: the
  // kernel stamps files by its tick, so that what changes within one has the same time.
  void WaitForLaterFileTime() const {
    struct stat before;
    struct stat now;
    const KorString probe = Write("time-probe", "x");
    bool isLater = stat(probe.CStr(), &before) != 0;
    while (!isLater) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
      isLater = stat(Write("time-probe", "x").CStr(), &now) != 0 ||
                now.st_ctim.tv_sec != before.st_ctim.tv_sec ||
                now.st_ctim.tv_nsec != before.st_ctim.tv_nsec;
    }
    std::filesystem::remove(probe.Str());
  }

  // How many files, links and folders stand directly in the folder.
  size_t CountEntries() const {
    using std::filesystem::directory_iterator;
    size_t count = 0;
    for (directory_iterator entry(folder); entry != directory_iterator(); ++entry) ++count;
    return count;
  }

 private:
  std::string folder;
};
