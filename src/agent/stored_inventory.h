// The inventories that a home holds, looked at without the module and without claiming the home.

#pragma once

#include <memory>
#include <string>

#include "agent/command_line.h"
#include "agent/home.h"
#include "agent/result.h"
#include "kor/log_dispatcher.h"
#include "kor/mutex.h"
#include "korcore/obj_inv.h"

namespace agent {

// The home of the command line, else the usual one. Nothing is created.
Result<Home> ChosenHome(const CommonOptions& common);

// Paths of files that are there; failures say what to run.
//
// Once it has been sent, the latest inventory is the one last sent.
Result<KorString> LatestInventoryFile(const Home& home);
Result<KorString> SentInventoryFile(const Home& home);
Result<KorString> InventoryDumpFile(const Home& home);

// Keeps what the document has to say of a file for the reason of a failure. One at a time; the
// documents that were read must not outlive it.
class DocumentReader {
 public:
  DocumentReader();
  ~DocumentReader();
  DocumentReader(const DocumentReader&) = delete;
  DocumentReader& operator=(const DocumentReader&) = delete;

  Result<std::unique_ptr<ObjInv>> Read(const KorString& file) KOR_EXCLUDES(mutex);

  // The same, but of a merge only the new inventory. A differential, which is not an inventory, is
  // refused.
  Result<std::unique_ptr<ObjInv>> ReadWhole(const KorString& file) KOR_EXCLUDES(mutex);

 private:
  KorLogDispatcher log;
  KorMutex mutex;
  std::string lastError KOR_GUARDED_BY(mutex);
  int listener = 0;
};

enum class DocumentKind { kWhole, kDifferential, kMerge };

// Told by its marks where the document itself does not say it.
DocumentKind KindOf(const ObjInv& document);

}  // namespace agent
