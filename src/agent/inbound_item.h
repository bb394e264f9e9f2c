// One thing that the server, a person or a deployment tool has for this device (docs/upstream.md).

#pragma once

#include <functional>
#include <memory>
#include <string_view>

#include "agent/result.h"
#include "kor/container.h"
#include "kor/string.h"

namespace agent {

// A file with its type, or an action.
struct InboundItem {
  KorString fileType;
  KorString file;  // its bare name; empty where the type needs none
  KorString action;
  KorContainer parameters;
};

// {"FileType": "Assignment", "File": "name.xml", "Parameters": {...}} or
// {"ActionName": "HardwareStartInventory", "Parameters": {...}}. Only actions of a short list.
Result<InboundItem> ParseInboundItem(std::string_view json);

// What became of it: taken, refused with a reason, or neither, when the agent ended first.
struct InboundOutcome {
  enum class Verdict { kTaken, kRefused, kInterrupted };
  Verdict verdict = Verdict::kInterrupted;
  KorString reason;
};

// Hands items to the modules, on the host's worker, one after another. Stop() may come from any
// thread.
class InboundDispatcher {
 public:
  InboundDispatcher();
  ~InboundDispatcher();
  InboundDispatcher(const InboundDispatcher&) = delete;
  InboundDispatcher& operator=(const InboundDispatcher&) = delete;

  // Raises "FileStoreCallbackReceivedFile" with the file's path, or invokes the action, and waits
  // until the last handler has returned. Not to be called on the host's worker.
  InboundOutcome Dispatch(const InboundItem& item, const KorString& path);

  // Ends the wait in progress, and every later one at once.
  void Stop();

 private:
  struct Shared;
  std::shared_ptr<Shared> shared;
};

}  // namespace agent
