#include "korcore/assignment.h"

#include "kor/file.h"
#include "kor/ini_file.h"
#include "kor/mutex.h"
#include "korcore/agent_context.h"

const KorString KorAssignment::strFILETYPE = "Assignment";

namespace {

// As much as comes over the network.
constexpr size_t kLargestContent = size_t{64} * 1024 * 1024;

// What is remembered is read, acted upon and written again without another assignment in between.
// Held around the locks of modules, never within them.
KorMutex performLock;

KorString RegisterPath() {
  KorString path;
  KorAgentGetDataDir(path);
  return path + "assignments.ini";
}

// A name as a key of a settings file: every byte that could end or change a key there is written as
// %HH.
KorString KeyOf(const KorString& name) {
  static constexpr char kHex[] = "0123456789ABCDEF";
  KorString key;
  for (const char byte : name.View()) {
    const auto value = static_cast<unsigned char>(byte);
    const bool plain = (byte >= 'a' && byte <= 'z') || (byte >= '0' && byte <= '9') ||
                       byte == '_' || byte == '-' || byte == '.';
    if (plain) {
      key += KorString(&byte, 1);
    } else {
      const char escape[] = {'%', kHex[value >> 4], kHex[value & 15]};
      key += KorString(escape, sizeof(escape));
    }
  }
  return key;
}

// The checksum that was remembered; empty when the assignment is not known.
KorString Remembered(const KorString& module, const KorString& name) {
  KorString checksum;
  IniFile(RegisterPath()).GetEntryValue(module, KeyOf(name), checksum, "");
  return checksum;
}

bool Remember(const KorString& module, const KorString& name, const KorString& checksum) {
  return IniFile(RegisterPath()).SetEntryValue(module, KeyOf(name), checksum);
}

bool IsOperation(const KorString& word) {
  return word == assignment_operation::kAssign || word == assignment_operation::kAdvertise ||
         word == assignment_operation::kWithdraw;
}

}  // namespace

KorAssignment::~KorAssignment() = default;

void KorAssignment::Initialise(const KorString& moduleName, KorContainer* parameters,
                               KorDebugContext* context, bool contentInContainer, bool /*unused*/) {
  debug.SetContext(context);
  module = moduleName;
  valid = parameters != nullptr && ReadParameters(*parameters, contentInContainer);
}

bool KorAssignment::ReadParameters(const KorContainer& parameters, bool contentInContainer) {
  KorString forModule;
  if (!parameters.GetString(assignment_key::kModule, forModule) || forModule != module) {
    return false;  // somebody else's: nothing to complain about
  }
  if (!contentInContainer) {
    KorString fileType;
    parameters.GetString(assignment_key::kFileType, fileType);
    if (fileType != strFILETYPE) return false;
  }
  parameters.GetString(assignment_key::kName, name);
  if (name.IsEmpty()) return Refuse("AssignmentName is missing");
  operation = assignment_operation::kAssign;
  parameters.GetString(assignment_key::kOperation, operation);
  if (!IsOperation(operation)) {
    return Refuse(KorString("AssignmentOperation '") + operation +
                  "' is none of assign, advertise, withdraw");
  }
  return operation == assignment_operation::kWithdraw ||
         ReadContent(parameters, contentInContainer);
}

bool KorAssignment::ReadContent(const KorContainer& parameters, bool contentInContainer) {
  if (contentInContainer) {
    return parameters.GetString(assignment_key::kContent, content) ||
           Refuse("AssignmentContent is missing");
  }
  KorString path;
  if (!parameters.GetString(assignment_key::kFilePath, path)) return Refuse("FilePath is missing");
  std::string bytes;
  KorString error;
  if (!FileReadAll(path, bytes, error, kLargestContent)) return Refuse(error);
  content = KorString(std::move(bytes));
  return true;
}

bool KorAssignment::Refuse(const KorString& reason) {
  debug.WarningWithNL("Assignment '%S' for module '%S' is refused: %S", name, module, reason);
  return false;
}

int64_t KorAssignment::PerformAssignment() {
  if (!valid) return 0;
  const KorMutexLock lock(performLock);
  if (operation == assignment_operation::kAdvertise) return Advertise();
  if (operation == assignment_operation::kWithdraw) return Withdraw();
  return AssignOrUpdate();
}

int64_t KorAssignment::AssignOrUpdate() {
  const KorString before = Remembered(module, name);
  const KorString checksum = TextMd5(content);
  if (before == checksum) {
    debug.DetailWithNL("Assignment '%S' for module '%S' is unchanged", name, module);
    return 0;
  }
  const int64_t code = before.IsEmpty() ? Assign() : Update();
  // Remembered only when it is done: after a crash in between it is done once more, which is
  // harmless.
  const KorString remembered = failed ? KorString() : checksum;
  if (!Remember(module, name, remembered)) {
    debug.WarningWithNL("Assignment '%S' for module '%S' could not be remembered in '%S'", name,
                        module, RegisterPath());
  }
  return code;
}

int64_t KorAssignment::Withdraw() {
  if (Remembered(module, name).IsEmpty()) return 0;
  const int64_t code = Delete();
  if (!Remember(module, name, "")) {
    debug.WarningWithNL("Assignment '%S' for module '%S' could not be forgotten in '%S'", name,
                        module, RegisterPath());
  }
  return code;
}

int64_t KorAssignment::Assign() {
  return 0;
}
int64_t KorAssignment::Advertise() {
  return 0;
}
int64_t KorAssignment::Update() {
  return 0;
}
int64_t KorAssignment::Delete() {
  return 0;
}
