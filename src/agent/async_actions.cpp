#include "agent/async_actions.h"

#include <utility>

#include "agent/delivery_meaning.h"
#include "kor/debug.h"
#include "korcore/action_db.h"

namespace agent {

AsyncActions::AsyncActions(DeliveryQueue& actionQueue, std::function<void()> added)
    : queue(actionQueue), onAdded(std::move(added)) {
  ActionDbRegisterAction(
      "AsynchronousActionsCall (container ParametersAsContainer, string ActionName, "
      "string LogInfo, int Priority, string TargetsAsString)",
      [this](KorContainer* container) { return Call(*container); }, this);
}

AsyncActions::~AsyncActions() {
  ActionDbDropModule(this);
}

uint32_t AsyncActions::Call(const KorContainer& parameters) {
  ParameterReader reader(parameters);
  const KorString action = reader.String("ActionName");
  const KorString targets = reader.String("TargetsAsString");
  KorContainer meaning = BeginMeaning("Action");
  meaning.SetString("ActionName", action);
  meaning.SetString("TargetsAsString", targets);
  meaning.SetInt32("Priority", reader.Int32("Priority", 0));
  meaning.SetString("LogInfo", reader.String("LogInfo"));
  meaning.SetContainer("ParametersAsContainer", reader.Container("ParametersAsContainer"));
  if (action.IsEmpty() || targets.IsEmpty() || reader.HasWrongType()) {
    return ACTIONDB_ERROR_BADPARAM;
  }
  const Result<std::string> id = queue.AddMessage(meaning);
  if (!id.IsOk()) {
    KorFrameworkLog().ErrorWithNL("The call of '%S' is not accepted for delivery: %S", action,
                                  id.Reason());
    return ACTIONDB_ERROR_FAILURE;
  }
  KorFrameworkLog().DetailWithNL("The call of '%S' waits for delivery as %s", action, id.Value());
  onAdded();
  return ACTIONDB_ERROR_SUCCESS;
}

}  // namespace agent
