// ZIP archives from anywhere: an entry comes out whole or the file stays as it was.

#include "kor/zip_archive.h"

#include <algorithm>

#include "support.h"

namespace {

constexpr std::string_view kBefore = "as it was";
constexpr uint64_t kMostEntries = 8;
constexpr uintmax_t kLargest = uintmax_t{64} * 1024 * 1024;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::QuietLog log;
  static const fuzz::Folder folder;
  fuzz::UseLog(log);

  ZipArchive archive(folder.Write("archive.zip", fuzz::View(data, size)), 0);
  const uint64_t count = archive.GetCount();
  fuzz::Require(count == 0 || archive.GetLastError() == 0, "what has entries is open");
  fuzz::Require(count <= size, "an entry takes a byte and more");
  // The first entry is 1: the others of these are none.
  for (uint64_t n = 0; n <= std::min(count, kMostEntries) + 1; ++n) {
    const KorString target = folder.Write("target", kBefore);
    if (archive.Extract(n, target)) {
      fuzz::Require(n >= 1 && n <= count, "what is extracted is an entry");
      fuzz::Require(std::filesystem::file_size(target.Str()) <= kLargest, "it is not too large");
    } else {
      fuzz::Require(archive.GetLastError() != 0, "a failure has a number");
      fuzz::Require(folder.Read("target") == kBefore, "a failure leaves the file as it was");
    }
  }
  archive.Close();
  fuzz::Require(archive.GetLastError() != 0 && !archive.Extract(1, folder.Path("target")),
                "a closed archive gives nothing");
  return 0;
}
