// URLs of local files. The input is what follows "file:"; "@" in it stands for a folder with the
// file "source".

#include "kor/file.h"
#include "support.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  constexpr std::string_view kContent = "what is fetched";
  constexpr std::string_view kBefore = "as it was";
  static fuzz::QuietLog log;
  static const fuzz::Folder folder;
  fuzz::UseLog(log);

  folder.Write("source", kContent);
  KorString url(fuzz::View(data, size));
  url.ReplaceAll("@", folder.Path("."), true);
  url = KorString("file:") + url;
  const KorString target = folder.Write("target", kBefore);
  const bool isFetched = FileCopyNet(url, target, 0) == 0;
  const std::string after = folder.Read("target");
  if (!isFetched) fuzz::Require(after == kBefore, "a failure leaves the file as it was");
  if (url == KorString("file://") + folder.Path("source")) {
    fuzz::Require(isFetched && after == kContent, "a file is fetched");
  }
  return 0;
}
