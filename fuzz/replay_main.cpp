// Runs one target on every file of a folder, in any build: fuzz_replay TARGET FOLDER

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

// The build gives the list: KOR_FUZZ_TARGET(name) for each target.
#define KOR_FUZZ_TARGET(name) extern "C" int fuzz_##name(const uint8_t* data, size_t size);
KOR_FUZZ_TARGETS
#undef KOR_FUZZ_TARGET

namespace {

using Target = int (*)(const uint8_t* data, size_t size);

Target Find(const char* wanted) {
#define KOR_FUZZ_TARGET(name) \
  if (std::strcmp(wanted, #name) == 0) return fuzz_##name;
  KOR_FUZZ_TARGETS
#undef KOR_FUZZ_TARGET
  return nullptr;
}

std::vector<std::filesystem::path> FilesOf(const char* folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  return files;
}

void Replay(Target target, const std::filesystem::path& path) {
  // Told before, so that the last name is that of the input that ended the process.
  std::printf("%s\n", path.filename().c_str());
  std::fflush(stdout);
  std::ifstream file(path, std::ios::binary);
  const std::vector<char> content((std::istreambuf_iterator<char>(file)),
                                  std::istreambuf_iterator<char>());
  target(reinterpret_cast<const uint8_t*>(content.data()), content.size());
}

}  // namespace

int main(int argc, char** argv) {
  const Target target = argc == 3 ? Find(argv[1]) : nullptr;
  if (target == nullptr) {
    std::fprintf(stderr, "fuzz_replay TARGET FOLDER\n");
    return 2;
  }
  const std::vector<std::filesystem::path> files = FilesOf(argv[2]);
  for (const auto& path : files) Replay(target, path);
  std::printf("%zu inputs\n", files.size());
  return files.empty() ? 1 : 0;
}
