// Named actions: the way modules offer their functions to each other, the console and the server.

#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "kor/container.h"
#include "kor/string.h"

// Results of an action. 0 and 1 are the handlers' own; the others are the database's, or agreed.
inline constexpr uint32_t ACTIONDB_ERROR_SUCCESS = 0;
inline constexpr uint32_t ACTIONDB_ERROR_FAILURE = 1;
inline constexpr uint32_t ACTIONDB_ERROR_ACTIONNOTFOUND = 2;
inline constexpr uint32_t ACTIONDB_ERROR_ACTIONDUPLICATE = 3;
inline constexpr uint32_t ACTIONDB_ERROR_BADPARAM = 13;

// Takes the action's parameters and gives its results in the same container.
using ActionHandler = std::function<uint32_t(KorContainer*)>;

// One parameter of a signature such as "Name (bool First, string Second)".
struct ActionParameter {
  KorString type;  // string, bool, int or container
  KorString name;
};

struct ActionDescription {
  KorString name;
  KorString signature;
  std::vector<ActionParameter> parameters;
};

// The key under which an invoked action's result comes back in its container, a 32-bit integer.
inline constexpr const char* ACTIONDB_ERRORCODE = "ErrorCode";

// Reads a signature: a name and, in parentheses, the parameters, each a type and a name. Names are
// letters, digits and underscores. False, with `out` undefined, for anything else.
bool ActionDbParseSignature(const KorString& signature, ActionDescription& out);

// Registers an action. The handle names the module that owns it (any unique pointer).
// ACTIONDB_ERROR_ACTIONDUPLICATE when the name is taken, ACTIONDB_ERROR_BADPARAM when the signature
// cannot be read.
uint32_t ActionDbRegisterAction(const KorString& signature, ActionHandler handler,
                                const void* module);

// Invokes an action on the calling thread. An empty target is this agent; others are not reachable
// (ACTIONDB_ERROR_ACTIONNOTFOUND). Parameters outside the signature are passed on. An exception out
// of the handler is logged and counts as ACTIONDB_ERROR_FAILURE. The result is also put into the
// container under ACTIONDB_ERRORCODE when the action is known. The trailing arguments are ignored.
uint32_t ActionDbInvokeContainer(const KorString& target, const KorString& action,
                                 KorContainer& container, int unused1 = 0, int unused2 = -1,
                                 int unused3 = -1, int unused4 = 0);

// All actions in the order of their registration.
std::vector<ActionDescription> ActionDbActions();

// Forgets the actions of the module and waits until none of them is being invoked. Not to be called
// from a handler of that module.
void ActionDbDropModule(const void* module);
