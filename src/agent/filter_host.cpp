#include "agent/filter_host.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "agent/exit_code.h"
#include "agent/module_host.h"
#include "kor/file.h"
#include "kor/ini_file.h"
#include "kor/thread.h"
#include "kor/xml_sax_parser.h"
#include "korcore/action_db.h"

namespace agent {
namespace {

// How often what is in progress looks for a signal.
constexpr uint32_t kSignalCheckMilliseconds = 100;

// The action on a thread, which can be ended.
class Invocation : public KorThread {
 public:
  Invocation(const KorString& invokedAction, KorContainer& itsParameters)
      : action(invokedAction), parameters(itsParameters) {}
  ~Invocation() override { Cancel(0, true); }
  Invocation(const Invocation&) = delete;
  Invocation& operator=(const Invocation&) = delete;

  // ACTIONDB_ERROR_FAILURE when it was ended by a signal or could not begin.
  uint32_t Run() {
    if (!Start()) return ACTIONDB_ERROR_FAILURE;
    while (!WaitUntilNoneRuns(kSignalCheckMilliseconds)) {
      if (StopSignal::Received() == 0) continue;
      Cancel(0, true);
      EndWithoutThreads(kExitSignalBase + StopSignal::Received());
    }
    return result;
  }

 protected:
  void ThreadMain() override {
    result = ActionDbInvokeContainer("", action, parameters, 0, -1, -1, 0);
  }

 private:
  const KorString action;
  KorContainer& parameters;
  uint32_t result = ACTIONDB_ERROR_FAILURE;
};

// Also keeps away what would be read without an end.
Result<void> CheckReadable(const KorString& file) {
  struct stat status;
  if (stat(file.CStr(), &status) != 0) return Failure{std::strerror(errno)};
  if (!S_ISREG(status.st_mode)) return Failure{"it is not a file"};
  if (status.st_size == 0) return Failure{"it is empty"};
  std::string content;
  KorString error;
  if (!FileReadAll(file, content, error, kXmlSizeLimit)) return Failure{error};
  return {};
}

}  // namespace

std::variant<std::unique_ptr<FilterHost>, FilterHost::Failed> FilterHost::Open(
    const CommonOptions& common, const KorString& file, bool hideFindings) {
  const Result<void> readable = CheckReadable(file);
  if (!readable.IsOk()) return Failed{file + ": " + readable.Reason(), kExitFailed};
  Result<TemporaryHome> temporary = TemporaryHome::Create();
  if (!temporary.IsOk()) return Failed{temporary.Reason(), kExitNotStarted};
  std::unique_ptr<FilterHost> opened(new FilterHost(std::move(temporary.Value())));
  HostOptions options;
  options.home = opened->home.Path();
  options.keepsEvidence = false;
  for (const std::string& module : common.modules) options.modules.emplace_back(module);
  options.terminal.level = common.logLevel;
  options.terminal.hideFindings = hideFindings;
  IniFile::Override("HardwareInventory", "TranslationFile", CompletePath(file));
  Result<std::unique_ptr<Host>> host = Host::Open(options);
  if (!host.IsOk()) return Failed{host.Reason(), kExitNotStarted};
  opened->host = std::move(host.Value());
  return opened;
}

uint32_t FilterHost::Invoke(const KorString& action, KorContainer& container) {
  return Invocation(action, container).Run();
}

int FilterHost::Ended(int status) {
  return StopSignal::Received() == 0 ? status : kExitSignalBase + StopSignal::Received();
}

}  // namespace agent
