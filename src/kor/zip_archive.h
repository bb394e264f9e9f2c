// Reading ZIP archives.

#pragma once

#include <cstdint>
#include <memory>

#include "kor/string.h"

class ZipArchive {
 public:
  // The mode is ignored: archives are opened for reading.
  explicit ZipArchive(const KorString& path, int mode = 1);
  ~ZipArchive();
  ZipArchive(const ZipArchive&) = delete;
  ZipArchive& operator=(const ZipArchive&) = delete;

  // 0 while all went well; the library's number of the last failure otherwise, also for a file that
  // is missing or no archive.
  int GetLastError() const;
  // 0 when there is no open archive.
  uint64_t GetCount() const;

  // Writes entry n, counted from 1, to the path, replacing what is there. False, with the path as
  // it was and the reason in the framework's log, for folders, encrypted entries, damaged data and
  // content over 64 MiB (counted while inflating). An entry that stands for a link is written as an
  // ordinary file.
  bool Extract(uint64_t n, const KorString& path);

  // From here on there is no archive: GetLastError() is not 0, GetCount() is 0, Extract() fails.
  void Close();

 private:
  struct State;
  std::unique_ptr<State> state;
};
