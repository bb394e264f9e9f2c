#include "agent/report_command.h"

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "agent/exit_code.h"
#include "agent/output.h"
#include "agent/report/report_page.h"
#include "agent/stored_inventory.h"
#include "agent/terminal_log.h"
#include "agent/time_text.h"
#include "kor/atomic_file.h"
#include "kor/file.h"

namespace agent {
namespace {

// Where a report goes that would otherwise be poured onto a terminal.
constexpr const char* kDefaultFile = "kor-agent-report.html";
constexpr const char* kStandardOutput = "-";

struct Files {
  KorString now;
  KorString before;     // empty: nothing to compare with
  std::string which;    // of them `before` is: "the inventory last sent"
  std::string nothing;  // why there is none
};

Result<Files> ChooseFiles(const CommonOptions& common, const ReportOptions& options) {
  Files files = {KorString(options.file), KorString(options.oldFile), "the older inventory",
                 "There is nothing to compare this inventory with."};
  if (!options.file.empty()) return files;
  const Result<Home> home = ChosenHome(common);
  if (!home.IsOk()) return Failure{home.Reason()};
  const Result<KorString> now = LatestInventoryFile(home.Value());
  if (!now.IsOk()) return Failure{now.Reason()};
  files.now = now.Value();
  if (!options.oldFile.empty()) return files;
  files.which = "the inventory last sent";
  files.nothing = "No inventory has been sent yet: there is nothing to compare with.";
  const Result<KorString> sent = SentInventoryFile(home.Value());
  if (sent.IsOk()) files.before = sent.Value();
  return files;
}

// "2026-01-31 12:34 UTC", when the file was written; empty where that cannot be told.
std::string WrittenAt(const KorString& file) {
  struct stat status;
  if (stat(file.CStr(), &status) != 0) return {};
  const std::string text = TimeText(std::chrono::system_clock::from_time_t(status.st_mtime));
  constexpr size_t kDate = std::string_view("2026-01-31").size();
  constexpr size_t kTime = std::string_view("12:34").size();
  return text.substr(0, kDate) + " " + text.substr(kDate + 1, kTime) + " UTC";
}

std::string SentenceOfChanges(const Files& files, bool hasChanges) {
  const std::string which = files.which + " (" + WrittenAt(files.before) + ")";
  if (files.now == files.before) {
    return "This is the inventory last sent: nothing has been examined since.";
  }
  return hasChanges ? "What changed since " + which + "."
                    : "Nothing has changed since " + which + ".";
}

// An inventory and what changed in it.
class MarkedInventory {
 public:
  Result<void> Read(const Files& files) {
    Result<std::unique_ptr<ObjInv>> read = reader.Read(files.now);
    if (!read.IsOk()) return Failure{read.Reason()};
    switch (KindOf(*read.Value())) {
      case DocumentKind::kDifferential:
        return Failure{"'" + files.now + "' is a differential, not an inventory"};
      case DocumentKind::kMerge:
        TakeMerge(std::move(read.Value()));
        break;
      case DocumentKind::kWhole:
        now = std::move(read.Value());
        sentence = files.nothing;
        break;
    }
    return files.before.IsEmpty() ? Result<void>() : Compare(files);
  }

  Report Describe(const KorString& file) const {
    return {*now, marked.get(), WrittenAt(file), sentence};
  }

 private:
  // A merge brings its changes along.
  void TakeMerge(std::unique_ptr<ObjInv> merge) {
    now = std::make_unique<ObjInv>(nullptr);
    now->SetName(merge->GetName());
    merge->ReadNew(*now);
    marked = std::move(merge);
    sentence = "What changed, as the file itself says.";
  }

  Result<void> Compare(const Files& files) {
    const Result<std::unique_ptr<ObjInv>> before = reader.ReadWhole(files.before);
    if (!before.IsOk()) return Failure{before.Reason()};
    ObjInv difference(nullptr);
    auto merge = std::make_unique<ObjInv>(nullptr);
    merge->CopyFrom(*now);
    if (!now->Diff(*before.Value(), difference) || !merge->Merge(difference)) {
      return Failure{"'" + files.before + "' and '" + files.now + "' cannot be compared"};
    }
    marked = std::move(merge);
    sentence = SentenceOfChanges(files, difference.Objects().Count() > 0);
    return {};
  }

  DocumentReader reader;
  std::unique_ptr<ObjInv> now;
  std::unique_ptr<ObjInv> marked;
  std::string sentence;
};

Result<void> WriteToFile(const KorString& path, const std::string& page) {
  KorAtomicFile file(path);
  file.Write(page);
  if (file.Commit()) return {};
  return Failure{KorString("the report cannot be written: ") + file.Error()};
}

Result<void> Write(const ReportOptions& options, const std::string& page) {
  if (options.outputFile == kStandardOutput) return WriteToStandardOutput(page);
  if (!options.outputFile.empty()) return WriteToFile(KorString(options.outputFile), page);
  if (isatty(STDOUT_FILENO) == 0) return WriteToStandardOutput(page);
  const KorString path = CompletePath(kDefaultFile);
  Result<void> written = WriteToFile(path, page);
  if (written.IsOk()) Complain("the report is in '" + path + "'");
  return written;
}

int End(int status, const KorString& reason) {
  Complain(reason);
  return status;
}

}  // namespace

int RunReport(const CommonOptions& common, const ReportOptions& options) {
  const Result<Files> files = ChooseFiles(common, options);
  if (!files.IsOk()) return End(kExitNotStarted, files.Reason());
  MarkedInventory inventory;
  const Result<void> read = inventory.Read(files.Value());
  if (!read.IsOk()) return End(kExitNotStarted, read.Reason());
  const Result<void> written = Write(options, ReportPage(inventory.Describe(files.Value().now)));
  return written.IsOk() ? kExitOk : End(kExitNotWritten, written.Reason());
}

}  // namespace agent
