#include "agent/explain_command.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "agent/exit_code.h"
#include "agent/explanation.h"
#include "agent/explanation_json.h"
#include "agent/explanation_text.h"
#include "agent/home.h"
#include "agent/host.h"
#include "agent/inventory_run.h"
#include "agent/machine_choice.h"
#include "agent/output.h"
#include "agent/run_evidence.h"
#include "agent/run_trace.h"
#include "agent/stop_signal.h"
#include "agent/stored_inventory.h"
#include "agent/terminal_log.h"
#include "kor/file.h"
#include "kor/ini_file.h"

namespace agent {
namespace {

// The kept run once more, in a home of its own and with a listener.
class RunAgain {
 public:
  // What goes wrong says why in `trouble`.
  RunAgain(const CommonOptions& common, const KeptRun& kept) {
    Result<TemporaryHome> created = TemporaryHome::Create();
    if (!created.IsOk()) {
      trouble = created.Reason();
      return;
    }
    home.emplace(std::move(created.Value()));
    const Result<void> run = Run(common, kept);
    if (!run.IsOk()) trouble = run.Reason();
  }

  const KorString& Trouble() const { return trouble; }
  const RunTrace& Trace() const { return trace; }
  Home GetHome() const { return {home->Path()}; }

 private:
  Result<void> Run(const CommonOptions& common, const KeptRun& kept) {
    const KorString rules = home->Path() + "/rules.xml";
    if (!SaveFileFromString(rules, KorString(kept.rules))) {
      return Failure{"'" + rules + "' cannot be written"};
    }
    IniFile::Override("HardwareInventory", "TranslationFile", rules);
    InventoryOptions machineOptions;
    machineOptions.replayFile = kept.recordingFile.Str();
    const Result<std::unique_ptr<MachineChoice>> machine = MachineChoice::Create(machineOptions);
    if (!machine.IsOk()) return Failure{machine.Reason()};
    HostOptions options;
    options.home = home->Path();
    options.keepsEvidence = false;
    for (const std::string& module : common.modules) options.modules.emplace_back(module);
    // What the run had to complain of, it has said.
    options.terminal.level = common.isLogLevelGiven ? common.logLevel : KorLogLevel::kError;
    const Result<std::unique_ptr<Host>> host = Host::Open(options);
    if (!host.IsOk()) return Failure{host.Reason()};
    const Result<bool> endedWell = RunInventoryOnce(*host.Value(), KorContainer());
    if (!endedWell.IsOk()) return Failure{endedWell.Reason()};
    return endedWell.Value() ? Result<void>() : Failure{"the last run cannot be repeated"};
  }

  const StopSignal stop;  // so that the temporary home is removed in any case
  std::optional<TemporaryHome> home;
  RunTrace trace;
  KorString trouble;
};

Result<std::unique_ptr<ObjInv>> ReadLatest(DocumentReader& reader, const Home& home) {
  const Result<KorString> file = LatestInventoryFile(home);
  if (!file.IsOk()) return Failure{file.Reason()};
  return reader.ReadWhole(file.Value());
}

std::optional<std::string> ValueIn(const ObjInv& document, const TracedKey& key) {
  const ObjType* const type = document.Objects().Get(KorString(key.className));
  if (type == nullptr) return {};
  const ObjInst* const instance = type->Instances().Get(KorString(key.instance));
  if (instance == nullptr) return {};
  const ObjInstAttr* const value = instance->Attributes().Get(KorString(key.attribute));
  if (value == nullptr) return {};
  return value->GetValue().Str();
}

// Whether it has the instance, or any of the class where none is named.
bool Has(const ObjInv& document, const TracedKey& key) {
  const ObjType* const type = document.Objects().Get(KorString(key.className));
  if (type == nullptr) return false;
  if (key.instance.empty()) return type->Instances().Count() > 0;
  return type->Instances().Get(KorString(key.instance)) != nullptr;
}

// One line when what is stored is of another run than what is explained.
void CompareWithStored(const ObjInv& stored, std::vector<Explanation>& explanations) {
  size_t others = 0;
  for (Explanation& explained : explanations) {
    explained.stored = ValueIn(stored, explained.key);
    explained.isOther = explained.key.attribute.empty() ? Has(stored, explained.key)
                                                        : explained.stored != explained.value;
    if (explained.isOther) ++others;
  }
  if (others == 0) return;
  KorString text;
  text.Printf(
      "the stored inventory differs in %gu of these values: what was kept is of another "
      "run; run 'kor-agent inventory' and ask again",
      others);
  Complain(text);
}

void CompareRules(const KeptRun& kept) {
  std::string now;
  KorString error;
  if (FileReadAll(kept.translationFile, now, error) && now == kept.rules) return;
  Complain("the translation file '" + kept.translationFile +
           "' was changed since the run; the rules explained are those of the run");
}

std::string Render(const std::vector<Explanation>& explanations, const ExplainOptions& options,
                   const KorString& translationFile) {
  if (options.format == ExplainFormat::kJson) {
    return ExplanationsToJson(explanations, translationFile);
  }
  return options.instance.empty() ? ExplanationsToShortText(explanations, translationFile)
                                  : ExplanationsToText(explanations, translationFile);
}

int End(int status, const KorString& reason) {
  if (StopSignal::Received() != 0) return kExitSignalBase + StopSignal::Received();
  Complain(reason);
  return status;
}

}  // namespace

int RunExplain(const CommonOptions& common, const ExplainOptions& options) {
  const Result<Home> home = ChosenHome(common);
  if (!home.IsOk()) return End(kExitNotStarted, home.Reason());
  const Result<KeptRun> kept = ReadKeptRun(home.Value());
  if (!kept.IsOk()) return End(kExitNotStarted, kept.Reason());
  const RunAgain again(common, kept.Value());
  if (!again.Trouble().IsEmpty()) return End(kExitNotStarted, again.Trouble());
  DocumentReader reader;
  const auto result = ReadLatest(reader, again.GetHome());
  if (!result.IsOk()) return End(kExitNotStarted, result.Reason());
  const auto stored = ReadLatest(reader, home.Value());
  if (!stored.IsOk()) return End(kExitNotStarted, stored.Reason());
  Result<std::vector<Explanation>> explained = Explain(
      again.Trace(), *result.Value(), {options.className, options.instance, options.attribute});
  if (!explained.IsOk()) return End(kExitFailed, explained.Reason());
  CompareWithStored(*stored.Value(), explained.Value());
  CompareRules(kept.Value());
  const Result<void> printed =
      WriteToStandardOutput(Render(explained.Value(), options, kept.Value().translationFile));
  return printed.IsOk() ? kExitOk : End(kExitNotWritten, printed.Reason());
}

}  // namespace agent
