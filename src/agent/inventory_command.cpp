#include "agent/inventory_command.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/display_text.h"
#include "agent/document_json.h"
#include "agent/document_table.h"
#include "agent/exit_code.h"
#include "agent/home.h"
#include "agent/host.h"
#include "agent/machine_choice.h"
#include "agent/output.h"
#include "agent/stop_signal.h"
#include "agent/terminal_log.h"
#include "kor/container.h"
#include "kor/file.h"
#include "kor/ini_file.h"
#include "kor/mutex.h"
#include "kor/thread.h"
#include "korcore/action_db.h"
#include "korcore/agent_context.h"
#include "korcore/obj_inv.h"

namespace agent {
namespace {

using Clock = std::chrono::steady_clock;

// How often a run in progress looks for a signal.
constexpr uint32_t kSignalCheckMilliseconds = 100;

constexpr const char* kInventoryFile = "HardwareInventory/HardwareInventoryLast.xml";

// The scans of a run that failed; the run itself goes on without them.
class FailedScans {
 public:
  explicit FailedScans(KorLogDispatcher& logDispatcher) : dispatcher(logDispatcher) {
    listener = dispatcher.AddListener(KorLogLevel::kTrace,
                                      [this](const KorLogRecord& record) { Take(record); });
  }
  ~FailedScans() { dispatcher.RemoveListener(listener); }
  FailedScans(const FailedScans&) = delete;
  FailedScans& operator=(const FailedScans&) = delete;

  // "keyboard, video controller", empty when none failed.
  std::string Names() KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    return names;
  }

 private:
  void Take(const KorLogRecord& record) KOR_EXCLUDES(mutex) {
    constexpr std::string_view kFailed = "Failed to scan ";
    if (!record.text.starts_with(kFailed)) return;
    const std::string_view scan = record.text.substr(kFailed.size());
    // Always fails: there is nothing that it examines.
    if (scan == "desktop monitor") return;
    KorMutexLock lock(mutex);
    if (!names.empty()) names += ", ";
    names += scan;
  }

  KorLogDispatcher& dispatcher;
  KorMutex mutex;
  std::string names KOR_GUARDED_BY(mutex);
  int listener = 0;
};

Result<void> Invoke(const KorString& action, KorContainer& container) {
  const uint32_t result = ActionDbInvokeContainer("", action, container, 0, -1, -1, 0);
  if (result == ACTIONDB_ERROR_SUCCESS) return {};
  Failure failure;
  if (result == ACTIONDB_ERROR_ACTIONNOTFOUND) {
    failure.reason.Printf("no module offers the action '%S'", action);
  } else {
    failure.reason.Printf("the action '%S' failed (result %u)", action, result);
  }
  return failure;
}

// Whether the run ended well; false also when a signal ended it.
Result<bool> RunOnce(Host& host) {
  KorContainer container;
  const Result<void> started = Invoke("HardwareStartInventory", container);
  if (!started.IsOk()) return Failure{started.Reason()};
  while (!KorThread::WaitUntilNoneRuns(kSignalCheckMilliseconds)) {
    if (StopSignal::Received() == 0) continue;
    host.CancelRuns();
    EndWithoutThreads(kExitSignalBase + StopSignal::Received());
  }
  host.Terminal().EraseProgress();
  container.Clear();
  const Result<void> asked = Invoke("HardwareInventoryWithError", container);
  if (!asked.IsOk()) return Failure{asked.Reason()};
  // The name notwithstanding, the answer is true when the run ended well.
  bool endedWell = false;
  container.GetBool("WithError", endedWell);
  return endedWell;
}

struct Inventory {
  ObjInv document{KorAgentGetDebugContext()};
  std::string xml;  // as it is stored
};

Result<std::unique_ptr<Inventory>> ReadInventory(const KorString& file) {
  auto inventory = std::make_unique<Inventory>();
  KorString error;
  if (!FileReadAll(file, inventory->xml, error)) {
    return Failure{KorString("the inventory '") + file + "' cannot be read: " + error};
  }
  if (!inventory->document.Parse(file, nullptr)) {
    return Failure{KorString("the inventory '") + file + "' cannot be parsed"};
  }
  return inventory;
}

// A terminal's own width; for everything else a width that suits a page.
TableLayout LayoutOfStandardOutput() {
  TableLayout layout;
  winsize size = {};
  if (isatty(STDOUT_FILENO) == 0) return layout;
  layout.wrap = true;
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) layout.width = size.ws_col;
  return layout;
}

std::string Render(const Inventory& inventory, Format format) {
  switch (format) {
    case Format::kXml:
      return inventory.xml;
    case Format::kJson:
      return DocumentToJson(inventory.document);
    case Format::kTable:
      break;
  }
  return DocumentToTables(inventory.document, LayoutOfStandardOutput());
}

void PrintSummary(const ObjInv& document, Clock::duration duration, const std::string& failed) {
  unsigned long instances = 0;
  for (const ObjType* type : document.Objects()) instances += type->Instances().Count();
  const auto tenths = static_cast<unsigned long>(
      std::chrono::duration_cast<std::chrono::milliseconds>(duration).count() / 100);
  KorString summary;
  summary.Printf("%gu classes, %gu instances in %gu.%gu s", document.Objects().Count(), instances,
                 tenths / 10, tenths % 10);
  if (!failed.empty()) summary += KorString("; scans that failed: " + failed);
  Complain(summary);
}

Result<KorString> ChooseHome(const CommonOptions& common,
                             const std::optional<TemporaryHome>& temporary) {
  if (temporary.has_value()) return temporary->Path();
  if (!common.home.empty()) return KorString(common.home);
  return DefaultHomePath();
}

// A path is taken as the user sees it, not as relative to the configuration folder.
void OverrideTranslationFile(const std::string& given) {
  if (given.empty()) return;
  const bool isUrl = given.find("://") != std::string::npos;
  IniFile::Override("HardwareInventory", "TranslationFile",
                    isUrl ? KorString(given) : CompletePath(KorString(given)));
}

class InventoryRun {
 public:
  InventoryRun(const CommonOptions& commonOptions, const InventoryOptions& inventoryOptions)
      : common(commonOptions), options(inventoryOptions) {}

  int Run() {
    const Result<void> opened = Open();
    if (!opened.IsOk()) return End(kExitNotStarted, opened.Reason());
    const int status = RunAndPrint();
    const Result<void> saved = machine->Finish();
    if (!saved.IsOk()) return End(status == kExitOk ? kExitNotWritten : status, saved.Reason());
    return status;
  }

 private:
  static int End(int status, const KorString& reason) {
    Complain(reason);
    return status;
  }

  Result<void> Open() {
    Result<std::unique_ptr<MachineChoice>> chosen = MachineChoice::Create(options);
    if (!chosen.IsOk()) return Failure{chosen.Reason()};
    machine = std::move(chosen.Value());
    if (!options.replayFile.empty() && common.home.empty()) {
      Result<TemporaryHome> created = TemporaryHome::Create();
      if (!created.IsOk()) return Failure{created.Reason()};
      temporaryHome.emplace(std::move(created.Value()));
    }
    const Result<KorString> home = ChooseHome(common, temporaryHome);
    if (!home.IsOk()) return Failure{home.Reason()};
    OverrideTranslationFile(options.translationFile);
    return OpenHost(home.Value());
  }

  Result<void> OpenHost(const KorString& home) {
    HostOptions hostOptions;
    hostOptions.home = home;
    for (const std::string& module : common.modules) hostOptions.modules.emplace_back(module);
    hostOptions.terminal.level = common.logLevel;
    hostOptions.terminal.showProgress = isatty(STDERR_FILENO) != 0;
    Result<std::unique_ptr<Host>> opened = Host::Open(hostOptions);
    if (!opened.IsOk()) return Failure{opened.Reason()};
    host = std::move(opened.Value());
    return {};
  }

  int RunAndPrint() {
    const Clock::time_point start = Clock::now();
    FailedScans failedScans(host->Log());
    const Result<bool> endedWell = RunOnce(*host);
    if (StopSignal::Received() != 0) return kExitSignalBase + StopSignal::Received();
    if (!endedWell.IsOk()) return End(kExitFailed, endedWell.Reason());
    if (!endedWell.Value()) return End(kExitFailed, "the inventory run failed");
    const auto inventory = ReadInventory(host->GetHome().DataDir() + kInventoryFile);
    if (!inventory.IsOk()) return End(kExitNotWritten, inventory.Reason());
    const Result<void> printed = WriteToStandardOutput(Render(*inventory.Value(), options.format));
    if (!printed.IsOk()) return End(kExitNotWritten, printed.Reason());
    const bool wantsSummary = isatty(STDERR_FILENO) != 0 || common.logLevel <= KorLogLevel::kDetail;
    if (wantsSummary) {
      PrintSummary(inventory.Value()->document, Clock::now() - start, failedScans.Names());
    }
    return kExitOk;
  }

  const CommonOptions& common;
  const InventoryOptions& options;
  const StopSignal stop;
  std::unique_ptr<MachineChoice> machine;
  std::optional<TemporaryHome> temporaryHome;
  std::unique_ptr<Host> host;
};

}  // namespace

int RunInventory(const CommonOptions& common, const InventoryOptions& options) {
  return InventoryRun(common, options).Run();
}

}  // namespace agent
