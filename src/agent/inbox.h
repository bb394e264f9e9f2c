// The inbox folder: what people and deployment tools put there for the modules.

#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "agent/inbound_item.h"
#include "agent/plain_file.h"
#include "agent/received_folder.h"
#include "agent/repeated_reason.h"
#include "agent/result.h"
#include "kor/string.h"

namespace agent {

// NAME.json and the file that it names. When it has been dealt with, both go to done/, or to
// refused/ with NAME.reason.txt; of each of the two folders the files that came last are kept. The
// modules get a copy of the file, which whoever may write into the inbox cannot exchange. One
// thread at a time.
class Inbox {
 public:
  // A description that cannot be used yet is given `patience` after its last change: it may be in
  // the middle of being written, or its file may still come.
  Inbox(const KorString& inboxFolder, InboundDispatcher& itemDispatcher,
        const ReceivedFolder& receivedFolder,
        std::chrono::seconds itemPatience = std::chrono::seconds(5));

  // How much done/ and refused/ keep each.
  static constexpr size_t kFilesKept = 300;
  static constexpr uint64_t kBytesKept = uint64_t{256} * 1024 * 1024;

  // Creates the folders.
  Result<void> Prepare() const;

  // Deals with everything that is there, in the order of the names. True when something has to be
  // looked at again after `patience`.
  bool Process();

  const KorString& Folder() const { return folder; }

 private:
  enum class Step { kDone, kLater, kStuck, kStop };
  // By what it is known whether an item has changed.
  struct Version {
    uint64_t inode = 0;
    int64_t seconds = 0;
    int64_t nanoseconds = 0;
    bool operator==(const Version&) const = default;
  };

  std::vector<std::string> Names() const;
  bool ArePlacesUsable();
  Step ProcessOne(const std::string& name);
  bool IsFresh(const KorString& path) const;
  std::optional<Version> VersionOf(const std::string& name) const;
  Result<KorString> CopyOf(const PlainFile& file, const KorString& name) const;
  Step WaitFor(const std::string& name, const KorString& reason);
  Step Finish(const std::string& name, const KorString& file, const KorString& reason);
  Step Remove(const std::string& name) const;
  struct Place;

  Result<Place> OpenPlace(const char* name) const;
  static void Prune(const Place& place);
  bool MoveTo(const Place& place, const KorString& name) const;

  const KorString folder;
  InboundDispatcher& dispatcher;
  const ReceivedFolder& received;
  const std::chrono::seconds patience;
  RepeatedReason loggedFailure;
  RepeatedReason loggedWait;
  // What has been dealt with and can neither be put away nor removed.
  std::map<std::string, std::optional<Version>> stuck;
};

}  // namespace agent
