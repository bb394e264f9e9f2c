// Replacing a file whole: readers see the old content or the new, never a part.

#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "kor/string.h"

// Makes what was renamed, created or removed in the folder of the path durable. A folder that
// cannot be synchronised is reported in the framework's log: the change itself has been made.
void SyncFolderOf(const KorString& path);

// Writes into a temporary file, mode 0600, in the folder of the target; Commit() makes it durable
// and renames it onto the target. Without a successful Commit the target stays as it was and
// nothing is left behind. A target that is a link is replaced, not followed; a device, a pipe or a
// socket is refused.
class KorAtomicFile {
 public:
  explicit KorAtomicFile(const KorString& path);
  ~KorAtomicFile();
  KorAtomicFile(const KorAtomicFile&) = delete;
  KorAtomicFile& operator=(const KorAtomicFile&) = delete;

  // Buffered. After a failure further writes do nothing and Commit fails.
  void Write(std::string_view bytes);

  // Flush, fsync, rename, fsync of the folder. True when the new file is in place; else Error()
  // says why. To be called once.
  bool Commit();

  // "<path>: <what failed>: <reason>"; empty while all went well.
  const KorString& Error() const { return error; }

  // For writers that need the file itself (a database): its path, while the object lives. What they
  // write goes to the same place; they must be done before Commit().
  const KorString& TemporaryPath() const { return temporaryPath; }

 private:
  bool CreateTemporary(const KorString& stem);
  void Flush();
  void Fail(const char* what);
  void Discard();

  KorString path;
  KorString temporaryPath;
  KorString error;
  std::string buffer;
  int descriptor = -1;
};
