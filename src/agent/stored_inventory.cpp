#include "agent/stored_inventory.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "kor/file.h"
#include "korcore/agent_context.h"

namespace agent {
namespace {

constexpr const char* kLastFile = "HardwareInventory/HardwareInventoryLast.xml";
constexpr const char* kSentFile = "HardwareInventory/HardwareInventorySent.xml";
constexpr const char* kDumpFile = "HardwareInventory/HardwareInventoryLast.sqlite3";

Failure Missing(const Home& home, const char* what, const char* command) {
  Failure failure;
  failure.reason.Printf("%s in the home '%S' yet; run '%s'", what, home.path, command);
  return failure;
}

// True when it is there, false when it is not; a failure when that cannot be told.
Result<bool> IsThere(const KorString& path) {
  struct stat status;
  if (stat(path.CStr(), &status) == 0) return true;
  if (errno == ENOENT || errno == ENOTDIR) return false;
  Failure failure;
  failure.reason.Printf("'%S' cannot be read: %s", path, std::strerror(errno));
  return failure;
}

Result<KorString> FirstThere(std::initializer_list<KorString> paths, const Failure& missing) {
  for (const KorString& path : paths) {
    const Result<bool> there = IsThere(path);
    if (!there.IsOk()) return Failure{there.Reason()};
    if (there.Value()) return path;
  }
  return missing;
}

}  // namespace

Result<Home> ChosenHome(const CommonOptions& common) {
  const Result<KorString> path =
      common.home.empty() ? DefaultHomePath() : Result<KorString>(KorString(common.home));
  if (!path.IsOk()) return Failure{path.Reason()};
  std::string absolute = CompletePath(path.Value()).Str();
  while (absolute.size() > 1 && absolute.ends_with('/')) absolute.pop_back();
  return Home{KorString(absolute)};
}

Result<KorString> LatestInventoryFile(const Home& home) {
  const KorString last = home.DataDir() + kLastFile;
  const KorString sent = home.DataDir() + kSentFile;
  // A run may put a new one there while the second is looked for.
  return FirstThere({last, sent, last},
                    Missing(home, "no inventory has been made", "kor-agent inventory"));
}

Result<KorString> SentInventoryFile(const Home& home) {
  return FirstThere({home.DataDir() + kSentFile},
                    Missing(home, "no inventory has been sent", "kor-agent inventory --upload"));
}

Result<KorString> InventoryDumpFile(const Home& home) {
  return FirstThere({home.DataDir() + kDumpFile},
                    Missing(home, "no inventory has been made", "kor-agent inventory"));
}

DocumentReader::DocumentReader() {
  listener = log.AddListener(KorLogLevel::kError, [this](const KorLogRecord& record) {
    const KorMutexLock lock(mutex);
    lastError = record.text;
  });
  KorAgentSetDebugContext(&log);
}

DocumentReader::~DocumentReader() {
  KorAgentSetDebugContext(nullptr);
  log.RemoveListener(listener);
}

Result<std::unique_ptr<ObjInv>> DocumentReader::Read(const KorString& file) {
  auto document = std::make_unique<ObjInv>(&log);
  if (document->Parse(file, nullptr)) return document;
  const KorMutexLock lock(mutex);
  return Failure{KorString(lastError)};
}

Result<std::unique_ptr<ObjInv>> DocumentReader::ReadWhole(const KorString& file) {
  Result<std::unique_ptr<ObjInv>> read = Read(file);
  if (!read.IsOk()) return read;
  switch (KindOf(*read.Value())) {
    case DocumentKind::kWhole:
      return read;
    case DocumentKind::kDifferential:
      return Failure{"'" + file + "' is a differential, not an inventory"};
    case DocumentKind::kMerge:
      break;
  }
  auto document = std::make_unique<ObjInv>(&log);
  document->SetName(read.Value()->GetName());
  read.Value()->ReadNew(*document);
  return document;
}

DocumentKind KindOf(const ObjInv& document) {
  constexpr unsigned long kMergeType = 3;
  constexpr unsigned long kDifferentialType = 2;
  if (document.GetType() == kMergeType) return DocumentKind::kMerge;
  if (document.GetType() == kDifferentialType) return DocumentKind::kDifferential;
  for (const ObjType* type : document.Objects()) {
    if (type->HasMarks()) return DocumentKind::kDifferential;
  }
  return DocumentKind::kWhole;
}

}  // namespace agent
