// Reading files that others may have put there: plain files only, no links followed.

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "agent/result.h"
#include "kor/string.h"

namespace agent {

// An open descriptor, closed at the end.
class Descriptor {
 public:
  explicit Descriptor(int openDescriptor = -1) : descriptor(openDescriptor) {}
  ~Descriptor();
  Descriptor(Descriptor&& other) noexcept : descriptor(std::exchange(other.descriptor, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept;
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  int Get() const { return descriptor; }
  bool IsOpen() const { return descriptor != -1; }

 private:
  int descriptor;
};

struct PlainFile {
  Descriptor descriptor;
  uint64_t size = 0;
};

// For reading. Anything but a regular file is a failure, and never blocks. Throws
// std::runtime_error when the process lacks what it needs to open any file at all.
Result<PlainFile> OpenPlainFile(const KorString& path);

// The whole content; a failure when it is longer than the limit.
Result<std::string> ReadPlainFile(const KorString& path, size_t limit);

// Up to that many bytes into the buffer; 0 at the end, -1 with errno on an error.
int64_t ReadSome(int descriptor, char* buffer, size_t length);

// Copies the rest of the file, whole and durable or not at all. Refused when it is longer than the
// limit. The number of bytes when done.
Result<uint64_t> CopyToFile(const PlainFile& source, const KorString& target, uint64_t limit);

}  // namespace agent
