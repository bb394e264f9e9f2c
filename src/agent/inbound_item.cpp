#include "agent/inbound_item.h"

#include <algorithm>
#include <array>
#include <utility>

#include "agent/container_json.h"
#include "kor/condition.h"
#include "kor/debug.h"
#include "kor/mutex.h"
#include "korcore/action_db.h"
#include "korcore/assignment.h"
#include "korcore/callback_db.h"
#include "korcore/host_worker.h"

namespace agent {
namespace {

constexpr const char* kReceivedFileEvent = "FileStoreCallbackReceivedFile";

// What the server may ask for: nothing that changes settings or hands data to whom it asks.
constexpr std::array<std::string_view, 5> kAllowedActions = {
    "HardwareStartInventory", "HardwareUploadInventory", "HardwareSynchronize", "HardwareAssign",
    "HardwareInventoryInventoryReset"};

// What handlers of received files answer.
constexpr uint32_t kHandlerOk = 44002;
constexpr uint32_t kHandlerDelete = 44003;

bool IsBareName(const KorString& name) {
  return !name.StartsWith(".", true) && name.View().find_first_of("/\\") == std::string_view::npos;
}

Result<InboundItem> ReadFileItem(const KorContainer& json) {
  InboundItem item;
  json.GetString("FileType", item.fileType);
  json.GetString("File", item.file);
  json.GetContainer("Parameters", item.parameters);
  if (item.fileType.IsEmpty()) return Failure{"FileType is empty"};
  if (!IsBareName(item.file)) return Failure{"File must be the bare name of a file beside it"};
  KorString operation;
  item.parameters.GetString(assignment_key::kOperation, operation);
  if (item.file.IsEmpty() && operation != assignment_operation::kWithdraw) {
    return Failure{"File is missing"};
  }
  return item;
}

Result<InboundItem> ReadActionItem(const KorContainer& json) {
  InboundItem item;
  json.GetString("ActionName", item.action);
  json.GetContainer("Parameters", item.parameters);
  const bool isAllowed = std::find(kAllowedActions.begin(), kAllowedActions.end(),
                                   item.action.View()) != kAllowedActions.end();
  if (isAllowed) return item;
  Failure failure;
  failure.reason.Printf("the action '%S' is none of those that may be asked for", item.action);
  return failure;
}

InboundOutcome RaiseReceivedFile(const InboundItem& item, const KorString& path) {
  KorContainer received = item.parameters;
  received.SetString(assignment_key::kFileType, item.fileType);
  received.SetString(assignment_key::kFilePath, path);
  bool isTaken = false;
  for (const KorString& action : CallbackDbActions(kReceivedFileEvent)) {
    KorContainer parameters = received;
    const uint32_t code = ActionDbInvokeContainer("", action, parameters, 0, -1, -1, 0);
    KorFrameworkLog().DetailWithNL("The event '%s' was delivered to '%S' (result %u)",
                                   kReceivedFileEvent, action, code);
    isTaken =
        isTaken || code == kHandlerOk || code == kHandlerDelete || code == ACTIONDB_ERROR_SUCCESS;
  }
  if (isTaken) return {InboundOutcome::Verdict::kTaken, KorString()};
  return {InboundOutcome::Verdict::kRefused, "no module took the file; the log may say why"};
}

InboundOutcome InvokeAction(const InboundItem& item) {
  KorContainer parameters = item.parameters;
  const uint32_t code = ActionDbInvokeContainer("", item.action, parameters, 0, -1, -1, 0);
  if (code == ACTIONDB_ERROR_SUCCESS) return {InboundOutcome::Verdict::kTaken, KorString()};
  InboundOutcome refused{InboundOutcome::Verdict::kRefused, KorString()};
  refused.reason.Printf("the action '%S' ended with code %u", item.action, code);
  return refused;
}

}  // namespace

Result<InboundItem> ParseInboundItem(std::string_view text) {
  const Result<KorContainer> json = ContainerFromJsonText(text);
  if (!json.IsOk()) return Failure{json.Reason()};
  const bool isFile = json.Value().CountValues("FileType") != -1;
  const bool isAction = json.Value().CountValues("ActionName") != -1;
  if (isFile == isAction) return Failure{"it must have either FileType or ActionName"};
  return isFile ? ReadFileItem(json.Value()) : ReadActionItem(json.Value());
}

// Outlives the dispatcher while the host's worker still has a call of it.
struct InboundDispatcher::Shared {
  KorMutex mutex;
  KorCondition changed;
  bool stopped KOR_GUARDED_BY(mutex) = false;
  int calls KOR_GUARDED_BY(mutex) = 0;  // that the worker has, or has not dropped yet
  InboundOutcome outcome KOR_GUARDED_BY(mutex);

  // Counts as long as the worker keeps the call, also when it drops it without running it.
  class Call {
   public:
    explicit Call(std::shared_ptr<Shared> dispatcher) : shared(std::move(dispatcher)) {
      const KorMutexLock lock(shared->mutex);
      ++shared->calls;
      shared->outcome = InboundOutcome();
    }
    ~Call() {
      const KorMutexLock lock(shared->mutex);
      --shared->calls;
      shared->changed.NotifyAll();
    }
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    void Run(const InboundItem& item, const KorString& path) {
      {
        const KorMutexLock lock(shared->mutex);
        if (shared->stopped) return;
      }
      InboundOutcome result =
          item.action.IsEmpty() ? RaiseReceivedFile(item, path) : InvokeAction(item);
      const KorMutexLock lock(shared->mutex);
      shared->outcome = std::move(result);
    }

   private:
    const std::shared_ptr<Shared> shared;
  };
};

InboundDispatcher::InboundDispatcher() : shared(std::make_shared<Shared>()) {}

InboundDispatcher::~InboundDispatcher() {
  Stop();
}

InboundOutcome InboundDispatcher::Dispatch(const InboundItem& item, const KorString& path) {
  {
    auto call = std::make_shared<Shared::Call>(shared);
    HostWorkerQueue([call, item, path] { call->Run(item, path); });
  }
  const KorMutexLock lock(shared->mutex);
  while (!shared->stopped && shared->calls > 0) shared->changed.Wait(shared->mutex);
  return shared->stopped ? InboundOutcome() : shared->outcome;
}

void InboundDispatcher::Stop() {
  const KorMutexLock lock(shared->mutex);
  shared->stopped = true;
  shared->changed.NotifyAll();
}

}  // namespace agent
