#include "agent/inventory_command.h"

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
#include "agent/inventory_run.h"
#include "agent/machine_choice.h"
#include "agent/output.h"
#include "agent/scan_gaps.h"
#include "agent/stop_signal.h"
#include "agent/stored_inventory.h"
#include "agent/terminal_log.h"
#include "agent/upload_step.h"
#include "kor/container.h"
#include "kor/file.h"
#include "kor/ini_file.h"
#include "kor/mutex.h"
#include "korcore/agent_context.h"
#include "korcore/obj_inv.h"

namespace agent {
namespace {

using Clock = std::chrono::steady_clock;

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

KorContainer StartParameters(const InventoryOptions& options) {
  KorContainer container;
  if (!options.upload) return container;
  container.SetBool("UploadAfterUpdate", true);
  container.SetBool("ForceUpload", options.force);
  container.SetBool("BypassTransferWindows", options.bypassWindows);
  // Without it the configuration decides.
  if (options.whole) container.SetBool("DifferencialUpload", false);
  return container;
}

struct Inventory {
  ObjInv document{KorAgentGetDebugContext()};
  std::string xml;  // as it is stored
};

// What the run stored.
Result<std::unique_ptr<Inventory>> ReadInventory(const Home& home) {
  const Result<KorString> latest = LatestInventoryFile(home);
  if (!latest.IsOk()) return Failure{latest.Reason()};
  const KorString& file = latest.Value();
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

void PrintCounts(const ObjInv& document, Clock::duration duration) {
  unsigned long instances = 0;
  for (const ObjType* type : document.Objects()) instances += type->Instances().Count();
  const auto tenths = static_cast<unsigned long>(
      std::chrono::duration_cast<std::chrono::milliseconds>(duration).count() / 100);
  KorString summary;
  summary.Printf("%gu classes, %gu instances in %gu.%gu s", document.Objects().Count(), instances,
                 tenths / 10, tenths % 10);
  Complain(summary);
}

void PrintGaps(const ScanGaps& gaps) {
  for (const std::string& line : gaps.Reasons()) Complain(KorString(line));
}

// What is empty without a reason, which is ordinary.
void PrintEmptyClasses(const ScanGaps& gaps, const std::string& failedScans) {
  for (const std::string& name : gaps.EmptyClasses()) Complain(KorString(name + ": nothing found"));
  if (!failedScans.empty()) Complain(KorString("scans that failed: " + failedScans));
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
    hostOptions.keepsEvidence = !temporaryHome.has_value();
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
    std::optional<ScanGaps> gaps;
    if (WantsSummary()) gaps.emplace(ThisProcess(options.replayFile.empty()));
    UploadWatch upload(*host);
    const Result<bool> endedWell = RunInventoryOnce(*host, StartParameters(options));
    if (StopSignal::Received() != 0) return kExitSignalBase + StopSignal::Received();
    if (!endedWell.IsOk()) return End(kExitFailed, endedWell.Reason());
    if (!endedWell.Value()) return End(kExitFailed, "the inventory run failed");
    const int printed = Print(start);
    if (gaps.has_value()) Explain(*gaps, failedScans);
    const int uploaded = options.upload ? EndUpload(upload) : kExitOk;
    if (StopSignal::Received() != 0) return kExitSignalBase + StopSignal::Received();
    return printed == kExitOk ? uploaded : printed;
  }

  int Print(Clock::time_point start) {
    const auto inventory = ReadInventory(host->GetHome());
    if (!inventory.IsOk()) return End(kExitNotWritten, inventory.Reason());
    const Result<void> printed = WriteToStandardOutput(Render(*inventory.Value(), options.format));
    if (!printed.IsOk()) return End(kExitNotWritten, printed.Reason());
    if (WantsSummary()) PrintCounts(inventory.Value()->document, Clock::now() - start);
    return kExitOk;
  }

  void Explain(const ScanGaps& gaps, FailedScans& failedScans) const {
    PrintGaps(gaps);
    if (common.logLevel <= KorLogLevel::kDetail) PrintEmptyClasses(gaps, failedScans.Names());
    if (temporaryHome.has_value()) return;
    const Result<KorString> stored = LatestInventoryFile(host->GetHome());
    if (!stored.IsOk()) return;
    Complain("the inventory is in '" + stored.Value() + "', the log in '" +
             host->GetHome().DataDir() + "kor-agent.log'");
  }

  bool WantsSummary() const {
    return isatty(STDERR_FILENO) != 0 || common.logLevel <= KorLogLevel::kDetail;
  }

  int EndUpload(UploadWatch& upload) {
    int status = kExitOk;
    switch (upload.Find()) {
      case UploadWatch::Outcome::kAccepted:
        break;
      case UploadWatch::Outcome::kUnchanged:
        if (WantsSummary()) Complain("nothing has changed since the last upload");
        break;
      case UploadWatch::Outcome::kTooEarly:
        Complain("it is too early for the next upload (UploadGap); --force uploads now");
        break;
      case UploadWatch::Outcome::kNotRecorded:
        status = End(kExitNotWritten,
                     "the inventory was accepted for delivery, which could not be recorded; the "
                     "next upload sends it again");
        break;
      case UploadWatch::Outcome::kNotAccepted:
        status = End(kExitNotWritten, "the inventory was not accepted for delivery");
        break;
    }
    DeliverForAWhile(*host);
    return status;
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
