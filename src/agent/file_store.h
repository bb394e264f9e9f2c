// The file store neighbour: takes files for the server, and hands out what came from it.

#pragma once

#include <functional>

#include "agent/delivery_queue.h"
#include "agent/result.h"
#include "kor/container.h"
#include "kor/string.h"

namespace agent {

// While it lives, answers the action "FileStoreReceiveFile": the file at CopyPath is copied into
// the queue. 0 only when the copy is durable; 13 when CopyPath or FileType is missing or a
// parameter is of the wrong type; 1 when the file cannot be accepted, with the reason in the log.
class FileStore {
 public:
  // The queue must outlive the object; `added` is called after each file that was accepted.
  FileStore(DeliveryQueue& fileQueue, std::function<void()> added);
  ~FileStore();
  FileStore(const FileStore&) = delete;
  FileStore& operator=(const FileStore&) = delete;

 private:
  uint32_t Receive(const KorContainer& parameters);

  DeliveryQueue& queue;
  const std::function<void()> onAdded;
};

}  // namespace agent
