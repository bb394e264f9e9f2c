#include "agent/diff_command.h"

#include <string>

#include "agent/difference_json.h"
#include "agent/difference_text.h"
#include "agent/display_text.h"
#include "agent/exit_code.h"
#include "agent/output.h"
#include "agent/stored_inventory.h"
#include "agent/terminal_log.h"

namespace agent {
namespace {

struct Files {
  KorString before;
  KorString now;
};

Result<Files> ChooseFiles(const CommonOptions& common, const DiffOptions& options) {
  if (!options.newFile.empty()) {
    return Files{KorString(options.oldFile), KorString(options.newFile)};
  }
  const Result<Home> home = ChosenHome(common);
  if (!home.IsOk()) return Failure{home.Reason()};
  const Result<KorString> now = LatestInventoryFile(home.Value());
  if (!now.IsOk()) return Failure{now.Reason()};
  if (!options.oldFile.empty()) return Files{KorString(options.oldFile), now.Value()};
  const Result<KorString> before = SentInventoryFile(home.Value());
  if (!before.IsOk()) return Failure{before.Reason()};
  return Files{before.Value(), now.Value()};
}

Result<void> Compare(DocumentReader& reader, const Files& files, ObjInv& difference) {
  const Result<std::unique_ptr<ObjInv>> before = reader.ReadWhole(files.before);
  if (!before.IsOk()) return Failure{before.Reason()};
  const Result<std::unique_ptr<ObjInv>> now = reader.ReadWhole(files.now);
  if (!now.IsOk()) return Failure{now.Reason()};
  if (now.Value()->Diff(*before.Value(), difference)) return {};
  return Failure{"'" + files.before + "' and '" + files.now + "' cannot be compared"};
}

std::string Render(const Files& files, const ObjInv& difference, DiffFormat format) {
  if (format == DiffFormat::kJson) return DifferenceToJson(difference);
  if (difference.Objects().Count() == 0) return {};
  return "--- " + DisplayText(files.before.View()) + "\n+++ " + DisplayText(files.now.View()) +
         "\n" + DifferenceToText(difference, StandardOutputWantsColour());
}

int End(int status, const KorString& reason) {
  Complain(reason);
  return status;
}

}  // namespace

int RunDiff(const CommonOptions& common, const DiffOptions& options) {
  const Result<Files> files = ChooseFiles(common, options);
  if (!files.IsOk()) return End(kExitNotStarted, files.Reason());
  DocumentReader reader;
  ObjInv difference(nullptr);
  const Result<void> compared = Compare(reader, files.Value(), difference);
  if (!compared.IsOk()) return End(kExitNotStarted, compared.Reason());
  const Result<void> printed =
      WriteToStandardOutput(Render(files.Value(), difference, options.format));
  if (!printed.IsOk()) return End(kExitNotWritten, printed.Reason());
  return difference.Objects().Count() == 0 ? kExitOk : kExitDifferent;
}

}  // namespace agent
