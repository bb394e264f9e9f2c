#include "agent/filter_host.h"

#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

#include "agent/exit_code.h"
#include "kor/file.h"
#include "kor/ini_file.h"
#include "korcore/action_db.h"

namespace agent {
namespace {

// Also keeps away what would be read without an end.
Result<void> CheckReadable(const KorString& file) {
  struct stat status;
  if (stat(file.CStr(), &status) != 0) return Failure{std::strerror(errno)};
  if (!S_ISREG(status.st_mode)) return Failure{"it is not a file"};
  if (status.st_size == 0) return Failure{"it is empty"};
  std::string content;
  KorString error;
  if (!FileReadAll(file, content, error)) return Failure{error};
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
  return ActionDbInvokeContainer("", action, container, 0, -1, -1, 0);
}

int FilterHost::Ended(int status) {
  return StopSignal::Received() == 0 ? status : kExitSignalBase + StopSignal::Received();
}

}  // namespace agent
