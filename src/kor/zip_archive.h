// Reading ZIP archives.

#pragma once

#include <cstdint>
#include <memory>

#include "kor/string.h"

class ZipArchive {
 public:
  // The mode is ignored: archives are opened for reading.
  ZipArchive(const KorString& path, int mode);
  ~ZipArchive();
  ZipArchive(const ZipArchive&) = delete;
  ZipArchive& operator=(const ZipArchive&) = delete;

  // 0 while all went well.
  int GetLastError() const;
  uint64_t GetCount() const;

  // Writes entry n, counted from 1, to the path. False, with nothing left at the path, for folders,
  // encrypted entries, damaged data and content over 64 MiB (counted while inflating).
  bool Extract(uint64_t n, const KorString& path);

  void Close();

 private:
  struct State;
  std::unique_ptr<State> state;
};
