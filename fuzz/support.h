// What the fuzz targets share.

#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "kor/debug.h"
#include "kor/string.h"
#include "korcore/agent_context.h"

namespace fuzz {

// A property that does not hold is a finding.
inline void Require(bool holds, const char* property) {
  if (holds) return;
  std::fprintf(stderr, "This does not hold: %s\n", property);
  std::abort();
}

// Takes every message, which makes the product format it, and shows none.
class QuietLog : public KorDebugContext {
 public:
  bool Wants(KorLogLevel) const override { return true; }
  void Write(const KorLogRecord& record) override {
    const KorString line = KorLogLine(record);
    for (const char c : line.View()) {
      const auto byte = static_cast<unsigned char>(c);
      Require(byte >= ' ' && byte != 0x7F, "a line of the log holds no control character");
    }
  }
};

// The context of the framework's log from here on. To be called by each target.
inline void UseLog(KorDebugContext& context) {
  KorAgentSetDebugContext(&context);
}

inline std::string_view View(const uint8_t* data, size_t size) {
  return {reinterpret_cast<const char*>(data), size};
}

// The input cut at its first NUL bytes into that many parts; the last one takes the rest, parts
// that are not there are empty.
inline std::vector<std::string_view> Parts(std::string_view input, size_t count) {
  std::vector<std::string_view> parts(count);
  for (size_t part = 0; part + 1 < count; ++part) {
    const size_t end = input.find('\0');
    parts[part] = input.substr(0, end);
    if (end == std::string_view::npos) return parts;
    input.remove_prefix(end + 1);
  }
  parts.back() = input;
  return parts;
}

// Decisions taken from the input; 0 when it is used up.
class Bytes {
 public:
  explicit Bytes(std::string_view input) : rest(input) {}

  bool IsEmpty() const { return rest.empty(); }
  size_t Next() {
    if (rest.empty()) return 0;
    const auto byte = static_cast<unsigned char>(rest.front());
    rest.remove_prefix(1);
    return byte;
  }
  size_t Below(size_t limit) { return Next() % limit; }
  bool Bit() { return Below(2) == 1; }
  KorString Text(size_t most) {
    const std::string_view text = rest.substr(0, Below(most + 1));
    rest.remove_prefix(text.size());
    return KorString(text);
  }

 private:
  std::string_view rest;
};

// A folder of this process, removed at its ordinary end.
class Folder {
 public:
  Folder() {
    std::string name = (std::filesystem::temp_directory_path() / "kor-fuzz-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("cannot create a folder");
    path = name;
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(path, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  KorString Path(const char* name) const { return KorString((path / name).string()); }

  KorString Write(const char* name, std::string_view content) const {
    std::ofstream file(path / name, std::ios::binary | std::ios::trunc);
    file << content << std::flush;
    if (!file) throw std::runtime_error("cannot write a file");
    return Path(name);
  }

  std::string Read(const char* name) const {
    std::ifstream file(path / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
  }

 private:
  std::filesystem::path path;
};

}  // namespace fuzz
