// What waits to be delivered to the server: a queue in a folder that survives whatever happens to
// the process.
//
// An item is <id>.json, its meaning, and for a file <id>.payload, its content. Both are written
// whole; the .json comes last and with it the item is accepted. What a sudden end leaves half-done
// has no .json, and is removed the next time. Items that the server refused are in parked/, each
// with <id>.reason.txt; moved back (the .payload first), they are delivered again.

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>

#include "agent/plain_file.h"
#include "agent/result.h"
#include "kor/container.h"
#include "kor/mutex.h"
#include "kor/string.h"

namespace agent {

struct QueuedItem {
  std::string id;
  KorString meaning;  // JSON, one object
  KorString payload;  // path of the content; empty when the meaning is all
  bool bypass = false;
};

// Thread-safe. Several processes may add to one queue; one of them delivers. Ids are 20 digits that
// grow with time and a random UUID: ordered as they were accepted, and never given twice.
class DeliveryQueue {
 public:
  // The folder is created when it is first needed, and anew when somebody has taken it away. What
  // waits and what is parked together takes no more bytes than the limit, and is no more than so
  // many items.
  DeliveryQueue(const KorString& queueFolder, uint64_t byteLimit, size_t itemLimit = 10'000);

  void SetLimit(uint64_t byteLimit) KOR_EXCLUDES(mutex);

  // The item's id, once it is durable. The meaning is completed with "Id", "Accepted" (time) and,
  // for a file, "Size" and "MD5". A true "Bypass" in it lets the item pass transfer windows. On a
  // failure nothing is left behind.
  Result<std::string> AddFile(const KorString& source, const KorContainer& meaning)
      KOR_EXCLUDES(mutex);
  Result<std::string> AddMessage(const KorContainer& meaning) KOR_EXCLUDES(mutex);

  // The oldest item, or the oldest that passes transfer windows. It stays in the queue. One whose
  // files are damaged is parked and passed over.
  std::optional<QueuedItem> Peek(bool onlyBypass) KOR_EXCLUDES(mutex);

  // Takes the item out of the queue: it has been delivered, or a person has to look at it.
  Result<void> Done(const std::string& id) KOR_EXCLUDES(mutex);
  Result<void> Park(const std::string& id, const KorString& reason) KOR_EXCLUDES(mutex);

  // Looks at the folder again, for what other processes and people have put there.
  Result<void> Refresh() KOR_EXCLUDES(mutex);

  // Whether this object is the one that delivers: the first that asks, until it goes.
  Result<bool> BecomeDeliverer() KOR_EXCLUDES(mutex);

  size_t Count() KOR_EXCLUDES(mutex);
  Result<size_t> CountParked() const;
  const KorString& Folder() const { return folder; }

 private:
  class FolderLock;

  bool AreFoldersOpen() const KOR_REQUIRES(mutex);
  Result<void> Prepare() KOR_REQUIRES(mutex);
  Result<void> RemoveLeftovers() KOR_REQUIRES(mutex);
  Result<void> Scan() KOR_REQUIRES(mutex);
  Result<std::string> Add(const PlainFile* source, const KorContainer& meaning) KOR_REQUIRES(mutex);
  Result<void> Store(const std::string& id, const PlainFile* source, const KorContainer& meaning)
      KOR_REQUIRES(mutex);
  std::string NextId() KOR_REQUIRES(mutex);
  void Discard(const std::string& id) const;
  Result<QueuedItem> Load(const std::string& id) const;
  Result<void> ParkItem(const std::string& id, const KorString& reason) KOR_REQUIRES(mutex);

  KorString PathOf(const std::string& name) const { return folder + "/" + KorString(name); }
  KorString ParkedPathOf(const std::string& name) const { return parked + "/" + KorString(name); }

  const KorString folder;
  const KorString parked;
  const size_t mostItems;
  KorMutex mutex;
  uint64_t limit KOR_GUARDED_BY(mutex);
  Descriptor folderDescriptor KOR_GUARDED_BY(mutex);
  Descriptor parkedDescriptor KOR_GUARDED_BY(mutex);
  std::map<std::string, bool> items KOR_GUARDED_BY(mutex);  // whether they pass windows, by id
  uint64_t bytes KOR_GUARDED_BY(mutex) = 0;
  size_t parkedItems KOR_GUARDED_BY(mutex) = 0;
  uint64_t lastSequence KOR_GUARDED_BY(mutex) = 0;
};

}  // namespace agent
