#include "agent/received_folder.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "kor/file.h"

namespace agent {

ReceivedFolder::ReceivedFolder(const KorString& ownFolder) : folder(ownFolder) {
  FolderDelete(folder);
}

Result<KorString> ReceivedFolder::PathFor(const KorString& name) const {
  if (mkdir(folder.CStr(), 0700) == 0 || errno == EEXIST) return folder + "/" + name;
  Failure failure;
  failure.reason.Printf("the folder '%S' cannot be created: %s", folder, std::strerror(errno));
  return failure;
}

InboundOutcome ReceivedFolder::HandOut(InboundDispatcher& dispatcher, const InboundItem& item,
                                       const KorString& path) {
  const InboundOutcome outcome = dispatcher.Dispatch(item, path);
  // After an interruption a handler may still be reading it.
  const bool isRead = outcome.verdict != InboundOutcome::Verdict::kInterrupted;
  if (isRead && !path.IsEmpty()) FileDelete(path, 0);
  return outcome;
}

}  // namespace agent
