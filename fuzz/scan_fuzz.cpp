// All scanners on a machine that is the input: pieces that begin with "\n$", a letter and a text.
//
//   $0 COMMAND\nOUTPUT   what the command prints; 1 and 7 for an exit status of 1 and 127, k
//   killed,
//                        l status lost, n not started, t too long
//   $0 *\nOUTPUT         the same for commands that are not told
//   $? PATH   $@ NAME   $% NAME   a file that exists, the names of host and distribution

#include <algorithm>
#include <map>

#include "hardware/inventory/scan_run.h"
#include "hardware/module/globals.h"
#include "kor/recording.h"
#include "korcore/obj_inv.h"
#include "support.h"

namespace {

using Outcome = KorCommandResult::Outcome;

constexpr size_t kLongestOutput = 16 * 1024;

KorCommandResult ResultOf(char letter, std::string_view output) {
  const std::string text(output.substr(0, kLongestOutput));
  switch (letter) {
    case '1':
      return {Outcome::kExited, 1, text};
    case '7':
      return {Outcome::kExited, 127, text};
    case 'k':
      return {Outcome::kKilled, 9, text};
    case 'l':
      return {Outcome::kStatusLost, 0, text};
    case 'n':
      return {Outcome::kNotStarted, 0, ""};
    case 't':
      return {Outcome::kTooLong, 0, text};
    default:
      return {Outcome::kExited, 0, text};
  }
}

class InputMachine : public KorMachine {
 public:
  explicit InputMachine(std::string_view input) {
    for (size_t start = input.find("\n$"); start != std::string_view::npos;) {
      const size_t end = input.find("\n$", start + 1);
      TakePiece(input.substr(start + 2, end - start - 2));
      start = end;
    }
  }

  // The n-th run of a command gives its n-th result; the last one repeats.
  KorCommandResult RunCommand(const KorString& command) override {
    auto known = results.find(command.Str());
    if (known == results.end()) known = results.find("*");
    if (known == results.end()) return ResultOf('7', "");
    size_t& times = runs[command.Str()];
    const size_t index = std::min(times++, known->second.size() - 1);
    return known->second[index];
  }
  bool FileExists(const KorString& path) override {
    return std::find(files.begin(), files.end(), path.Str()) != files.end();
  }
  KorString HostName() override { return host; }
  KorString DistributionName() override { return distribution; }

 private:
  void TakePiece(std::string_view piece) {
    if (piece.size() < 2) return;
    const char letter = piece[0];
    piece.remove_prefix(2);
    const std::string_view head = piece.substr(0, piece.find('\n'));
    piece.remove_prefix(std::min(head.size() + 1, piece.size()));
    if (letter == '?') {
      files.emplace_back(head);
    } else if (letter == '@') {
      host = KorString(head);
    } else if (letter == '%') {
      distribution = KorString(head);
    } else {
      results[std::string(head)].push_back(ResultOf(letter, piece));
    }
  }

  std::map<std::string, std::vector<KorCommandResult>> results;
  std::map<std::string, size_t> runs;
  std::vector<std::string> files;
  KorString host;
  KorString distribution;
};

void ScanAll(KorMachine& machine, ObjInv& document) {
  KorMachine* const before = KorMachine::SetCurrent(&machine);
  for (const HardwareInventory::Scanner& scanner : HardwareInventory::Scanners()) {
    HardwareInventory::RunScanner(scanner, document);
  }
  KorMachine::SetCurrent(before);
}

// Whether a shell takes the text for one word in which nothing is special.
bool IsOneWord(std::string_view text) {
  bool isQuoted = false;
  for (size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<unsigned char>(text[at]);
    if (byte == '\'') {
      isQuoted = !isQuoted;
    } else if (!isQuoted && byte == '\\') {
      ++at;
    } else if (!isQuoted && std::string_view(" \t\n|&;<>()$`\"*?[#~!{}").find(text[at]) !=
                                std::string_view::npos) {
      return false;
    }
  }
  return !isQuoted;
}

// The text as it is left by the back-quotes around it; "`" where it would end them.
std::string OutOfBackQuotes(std::string_view text) {
  std::string out;
  for (size_t at = 0; at < text.size(); ++at) {
    if (text[at] == '`') return "`";
    const bool isEscape = text[at] == '\\' && at + 1 < text.size() &&
                          std::string_view("\\`$").find(text[at + 1]) != std::string_view::npos;
    out += text[isEscape ? ++at : at];
  }
  return out;
}

// Interface names are the only words of the machine that get into a command.
void CheckCommand(std::string_view command) {
  constexpr std::string_view kRoute = "route | grep ";
  constexpr std::string_view kRouteEnd = "$ | tr -s '[:blank:]' | cut -d ' ' -f2 | grep -v '*'";
  constexpr std::string_view kPci = "lspci -s `file /sys/bus/pci/devices/*/net/";
  constexpr std::string_view kPciEnd = " | cut -d / -f6`";
  if (command.starts_with(kRoute)) {
    command.remove_prefix(kRoute.size());
    fuzz::Require(command.ends_with(kRouteEnd), "a name does not end the command");
    command.remove_suffix(kRouteEnd.size());
    fuzz::Require(IsOneWord(command), "a name is one word of the command");
  } else if (command.starts_with(kPci)) {
    command.remove_prefix(kPci.size());
    fuzz::Require(command.ends_with(kPciEnd), "a name does not end the command");
    command.remove_suffix(kPciEnd.size());
    fuzz::Require(IsOneWord(OutOfBackQuotes(command)), "a name is one word of the command");
  }
}

void CheckDocument(const fuzz::Folder& folder, const ObjInv& document) {
  for (const ObjType* type : document.Objects()) {
    for (const ObjInst* instance : type->Instances()) {
      for (const ObjInstAttr* value : instance->Attributes()) {
        fuzz::Require(type->Attributes().Get(value->GetName()) != nullptr,
                      "each value has a definition");
      }
    }
  }
  ObjInv read(nullptr);
  const KorString path = folder.Path("document.xml");
  fuzz::Require(document.Save(path) && read.Parse(path, nullptr), "a scan can be saved and read");
  fuzz::Require(SameDocuments(document, read), "Parse(Save(d)) = d");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::QuietLog log;
  static const fuzz::Folder folder;
  fuzz::UseLog(log);
  HardwareInventory::debugInv.SetContext(&log);

  InputMachine machine(fuzz::View(data, size));
  KorRecordingMachine noting(machine);
  ObjInv document(nullptr);
  ScanAll(noting, document);
  CheckDocument(folder, document);

  KorRecording recording = noting.Recording();
  for (const KorRecording::Run& run : recording.runs) CheckCommand(run.command.View());
  KorString error;
  fuzz::Require(recording.Parse(recording.Format(), error), "a recording can be read");
  KorReplayMachine replay(recording);
  ObjInv again(nullptr);
  ScanAll(replay, again);
  fuzz::Require(replay.Missing().empty(), "a recording holds all that a scan asks for");
  fuzz::Require(SameDocuments(document, again), "a replayed scan gives the same document");
  return 0;
}
