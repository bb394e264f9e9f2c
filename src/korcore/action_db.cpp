#include "korcore/action_db.h"

#include <array>
#include <exception>
#include <map>
#include <memory>
#include <string_view>
#include <utility>

#include "kor/condition.h"
#include "kor/debug.h"
#include "kor/mutex.h"
#include "kor/reason.h"
#include "kor/thread.h"

namespace {

constexpr std::array<std::string_view, 4> kParameterTypes = {"string", "bool", "int", "container"};

bool IsNameByte(char byte) {
  return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') ||
         (byte >= '0' && byte <= '9') || byte == '_';
}

// Walks over a signature; every operation skips the blanks before it.
class SignatureReader {
 public:
  explicit SignatureReader(std::string_view text) : rest(text) {}

  bool Take(char byte) {
    SkipBlanks();
    if (rest.empty() || rest.front() != byte) return false;
    rest.remove_prefix(1);
    return true;
  }

  // Empty when there is no name here.
  std::string_view TakeName() {
    SkipBlanks();
    size_t length = 0;
    while (length < rest.size() && IsNameByte(rest[length])) ++length;
    const std::string_view name = rest.substr(0, length);
    rest.remove_prefix(length);
    return name;
  }

  bool AtEnd() {
    SkipBlanks();
    return rest.empty();
  }

 private:
  void SkipBlanks() {
    while (rest.starts_with(' ')) rest.remove_prefix(1);
  }

  std::string_view rest;
};

bool ReadParameter(SignatureReader& reader, ActionParameter& parameter) {
  const std::string_view type = reader.TakeName();
  parameter.type = KorString(type);
  parameter.name = KorString(reader.TakeName());
  bool known = false;
  for (const std::string_view candidate : kParameterTypes) known = known || candidate == type;
  return known && !parameter.name.IsEmpty();
}

struct Action {
  ActionDescription description;
  ActionHandler handler;
  const void* module = nullptr;
};

// Every registered action, and how many calls are under way in each module. Handlers are called
// without the lock, so that an action may invoke another.
class Database {
 public:
  uint32_t Register(Action action) KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    if (Lookup(action.description.name) != nullptr) return ACTIONDB_ERROR_ACTIONDUPLICATE;
    actions.push_back(std::make_shared<const Action>(std::move(action)));
    return ACTIONDB_ERROR_SUCCESS;
  }

  // Counts a call in the action's module until Leave().
  std::shared_ptr<const Action> Enter(const KorString& name) KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    std::shared_ptr<const Action> action = Lookup(name);
    if (action != nullptr) ++callsUnderWay[action->module];
    return action;
  }

  void Leave(const void* module) KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    const auto calls = callsUnderWay.find(module);
    if (--calls->second > 0) return;
    callsUnderWay.erase(calls);
    callEnded.NotifyAll();
  }

  std::vector<ActionDescription> Descriptions() KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    std::vector<ActionDescription> descriptions;
    for (const auto& action : actions) descriptions.push_back(action->description);
    return descriptions;
  }

  void Drop(const void* module) KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    std::erase_if(actions, [module](const auto& action) { return action->module == module; });
    while (callsUnderWay.contains(module)) callEnded.Wait(mutex);
  }

 private:
  std::shared_ptr<const Action> Lookup(const KorString& name) KOR_REQUIRES(mutex) {
    for (const auto& action : actions) {
      if (action->description.name == name) return action;
    }
    return nullptr;
  }

  KorMutex mutex;
  KorCondition callEnded;
  std::vector<std::shared_ptr<const Action>> actions KOR_GUARDED_BY(mutex);
  std::map<const void*, int> callsUnderWay KOR_GUARDED_BY(mutex);
};

Database& TheDatabase() {
  static Database database;
  return database;
}

// One call: keeps the action's module from going away, and lets go of the handler, whose code may
// lie in the module, before it lets the module go.
class Call {
 public:
  explicit Call(const KorString& name) : action(TheDatabase().Enter(name)) {}
  ~Call() {
    if (action == nullptr) return;
    const void* module = action->module;
    action.reset();
    TheDatabase().Leave(module);
  }
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  bool IsKnown() const { return action != nullptr; }

  uint32_t Run(KorContainer& container) const {
    try {
      return action->handler(&container);
    } catch (const KorThreadCancelled&) {
      throw;
    } catch (const std::exception& error) {
      KorFrameworkLog().ErrorWithNL("The action '%S' failed: %s", action->description.name,
                                    KorReasonOf(error));
    } catch (...) {
      KorFrameworkLog().ErrorWithNL("The action '%S' failed with an exception of unknown type",
                                    action->description.name);
    }
    return ACTIONDB_ERROR_FAILURE;
  }

 private:
  std::shared_ptr<const Action> action;
};

}  // namespace

bool ActionDbParseSignature(const KorString& signature, ActionDescription& out) {
  SignatureReader reader(signature.View());
  out.signature = signature;
  out.name = KorString(reader.TakeName());
  out.parameters.clear();
  if (out.name.IsEmpty() || !reader.Take('(')) return false;
  if (reader.Take(')')) return reader.AtEnd();
  do {
    if (!ReadParameter(reader, out.parameters.emplace_back())) return false;
  } while (reader.Take(','));
  return reader.Take(')') && reader.AtEnd();
}

uint32_t ActionDbRegisterAction(const KorString& signature, ActionHandler handler,
                                const void* module) {
  Action action;
  if (handler == nullptr || !ActionDbParseSignature(signature, action.description)) {
    KorFrameworkLog().ErrorWithNL("The action signature '%S' cannot be registered", signature);
    return ACTIONDB_ERROR_BADPARAM;
  }
  action.handler = std::move(handler);
  action.module = module;
  return TheDatabase().Register(std::move(action));
}

uint32_t ActionDbInvokeContainer(const KorString& target, const KorString& action,
                                 KorContainer& container, int, int, int, int) {
  if (!target.IsEmpty()) return ACTIONDB_ERROR_ACTIONNOTFOUND;
  const Call call(action);
  if (!call.IsKnown()) return ACTIONDB_ERROR_ACTIONNOTFOUND;
  const uint32_t result = call.Run(container);
  container.SetInt32(ACTIONDB_ERRORCODE, static_cast<int32_t>(result));
  return result;
}

std::vector<ActionDescription> ActionDbActions() {
  return TheDatabase().Descriptions();
}

void ActionDbDropModule(const void* module) {
  TheDatabase().Drop(module);
}
