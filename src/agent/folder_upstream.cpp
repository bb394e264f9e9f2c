#include "agent/folder_upstream.h"

#include "agent/plain_file.h"
#include "agent/queue_folder.h"
#include "kor/atomic_file.h"
#include "kor/file.h"

namespace agent {
namespace {

DeliveryResult Later(const KorString& reason) {
  return {DeliveryResult::Verdict::kRetry, reason};
}

}  // namespace

// The meaning comes last: whoever reads the folder takes what has one.
DeliveryResult FolderUpstream::Deliver(const QueuedItem& item) {
  if (!PathCreate(folder)) return Later("the folder '" + folder + "' cannot be created");
  const Result<QueueListing> there = ListQueueFolder(folder);
  if (!there.IsOk()) return Later(there.Reason());
  if (there.Value().bytes >= limit) {
    return Later("the folder '" + folder + "' is full (QueueLimit); somebody has to collect it");
  }
  const uint64_t room = limit - there.Value().bytes;
  const KorString stem = folder + "/" + KorString(item.id);
  if (!item.payload.IsEmpty()) {
    const Result<PlainFile> content = OpenPlainFile(item.payload);
    if (!content.IsOk()) return {DeliveryResult::Verdict::kRefused, content.Reason()};
    const Result<uint64_t> copied = CopyToFile(content.Value(), stem + ".data", room);
    if (!copied.IsOk()) return Later(copied.Reason());
  }
  KorAtomicFile meaning(stem + ".json");
  meaning.Write(item.meaning.View());
  if (!meaning.Commit()) return Later(meaning.Error());
  return {};
}

Result<std::vector<InboxEntry>> FolderUpstream::ListInbox() {
  return std::vector<InboxEntry>();
}

Result<void> FolderUpstream::FetchInboxFile(const InboxEntry&, const KorString&) {
  return Failure{"a folder has no inbox"};
}

Result<void> FolderUpstream::Acknowledge(const std::string&, const KorString&) {
  return {};
}

}  // namespace agent
