#include "agent/filter_check_command.h"

#include <string>
#include <variant>

#include "agent/display_text.h"
#include "agent/exit_code.h"
#include "agent/filter_host.h"
#include "agent/output.h"
#include "agent/terminal_log.h"
#include "kor/container.h"
#include "kor/mutex.h"
#include "kor/regex.h"
#include "korcore/action_db.h"

namespace agent {
namespace {

// Collects what the module says while it reads the file.
class Findings {
 public:
  explicit Findings(const KorString& file) : shownFile(DisplayText(file.View())) {}

  void Take(const KorLogRecord& record) KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    const KorString text(record.text);
    KorVector<KorString> counts;
    if (FindPcre(text,
                 R"(^Filter entries have been loaded \((\d+) WMI classes, (\d+) attributes\)$)",
                 counts, 0, 1, 1)) {
      loaded = counts[0].Str() + " classes, " + counts[1].Str() + " rules";
    } else if (record.position != nullptr) {
      Add(record);
    }
  }

  // One line per finding, and the counts.
  std::string Report() KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    return lines + shownFile + ": " + (loaded.empty() ? "not loaded" : loaded) + "; " +
           Counted(complaints, "complaint") + ", " + Counted(notes, "note") + "\n";
  }

  bool IsClean() KOR_EXCLUDES(mutex) {
    KorMutexLock lock(mutex);
    return !loaded.empty() && complaints == 0;
  }

 private:
  void Add(const KorLogRecord& record) KOR_REQUIRES(mutex) {
    const bool isComplaint = record.level >= KorLogLevel::kWarning;
    ++(isComplaint ? complaints : notes);
    lines += shownFile;
    if (record.position->line > 0) lines += ":" + std::to_string(record.position->line);
    lines += ": ";
    lines += isComplaint ? KorLogLevelName(record.level) : "note";
    lines += ": " + DisplayText(WithoutPlace(record)) + "\n";
  }

  // A message about XML that is not well-formed names the place itself.
  static std::string_view WithoutPlace(const KorLogRecord& record) {
    KorString place;
    place.Printf("%S: line %gu: ", record.position->file, record.position->line);
    std::string_view text = record.text;
    if (text.starts_with(place.View())) text.remove_prefix(place.GetLength());
    return text;
  }

  static std::string Counted(size_t count, const std::string& what) {
    return std::to_string(count) + " " + what + (count == 1 ? "" : "s");
  }

  const std::string shownFile;
  KorMutex mutex;
  std::string lines KOR_GUARDED_BY(mutex);
  std::string loaded KOR_GUARDED_BY(mutex);  // empty until the file has been read to its end
  size_t complaints KOR_GUARDED_BY(mutex) = 0;
  size_t notes KOR_GUARDED_BY(mutex) = 0;
};

int Check(FilterHost& host, const KorString& file) {
  Findings findings(file);
  const int listener = host.Log().AddListener(
      KorLogLevel::kTrace, [&findings](const KorLogRecord& record) { findings.Take(record); });
  KorContainer container;
  container.SetBool("Check", true);
  const uint32_t result = FilterHost::Invoke("HardwareInventoryGetWmiFilter", container);
  host.Log().RemoveListener(listener);
  if (result == ACTIONDB_ERROR_ACTIONNOTFOUND) {
    Complain("no module offers the action 'HardwareInventoryGetWmiFilter'");
    return kExitNotStarted;
  }
  const Result<void> written = WriteToStandardOutput(findings.Report());
  if (!written.IsOk()) {
    Complain(written.Reason());
    return kExitNotWritten;
  }
  return result == ACTIONDB_ERROR_SUCCESS && findings.IsClean() ? kExitOk : kExitFailed;
}

}  // namespace

int RunFilterCheck(const CommonOptions& common, const FilterCheckOptions& options) {
  const KorString file(options.file);
  const auto opened = FilterHost::Open(common, file, true);
  if (const auto* failed = std::get_if<FilterHost::Failed>(&opened)) {
    Complain(failed->reason);
    return failed->status;
  }
  return FilterHost::Ended(Check(*std::get<0>(opened), file));
}

}  // namespace agent
