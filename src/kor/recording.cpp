#include "kor/recording.h"

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string>
#include <system_error>
#include <utility>

#include "kor/atomic_file.h"
#include "kor/file.h"

namespace {

using Outcome = KorCommandResult::Outcome;

constexpr std::string_view kFirstLine = "kor-recording 1";
constexpr size_t kMaxFileSize = size_t{256} * 1024 * 1024;
// Begin the lines of an output: one with its line end, and a last one that has none.
constexpr char kWholeLine = '|';
constexpr char kOpenLine = '~';

struct OutcomeWord {
  std::string_view word;
  Outcome outcome;
  // The range of its number; words without a number have none.
  int lowest = 0;
  int highest = -1;

  bool HasNumber() const { return lowest <= highest; }
};

constexpr OutcomeWord kOutcomeWords[] = {
    {"exit", Outcome::kExited, 0, 255},    {"killed", Outcome::kKilled, 1, 127},
    {"status-lost", Outcome::kStatusLost}, {"not-started", Outcome::kNotStarted},
    {"too-long", Outcome::kTooLong},
};

bool IsPlain(char character) {
  return character == '\t' || (character >= ' ' && character <= '~' && character != '\\');
}

void AppendHex(std::string& out, char character) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  const auto byte = static_cast<unsigned char>(character);
  out += "\\x";
  out += kDigits[byte >> 4U];
  out += kDigits[byte & 0x0fU];
}

void AppendEscaped(std::string& out, std::string_view text) {
  for (size_t at = 0; at < text.size(); ++at) {
    const char character = text[at];
    // A blank at the end of a line is seen by nobody and removed by many editors.
    const bool isLastBlank = at + 1 == text.size() && (character == ' ' || character == '\t');
    if (character == '\\') {
      out += "\\\\";
    } else if (IsPlain(character) && !isLastBlank) {
      out += character;
    } else {
      AppendHex(out, character);
    }
  }
}

bool ReadHexDigit(char character, unsigned& value) {
  const char* const begin = &character;
  return std::from_chars(begin, begin + 1, value, 16).ec == std::errc();
}

// The text that was escaped; false with the reason.
bool Unescape(std::string_view escaped, std::string& text, KorString& reason) {
  for (size_t at = 0; at < escaped.size(); ++at) {
    if (IsPlain(escaped[at])) {
      text += escaped[at];
      continue;
    }
    if (escaped[at] != '\\') {
      reason = "a character that must be written as \\xHH";
      return false;
    }
    const std::string_view rest = escaped.substr(at + 1);
    unsigned high = 0;
    unsigned low = 0;
    if (rest.starts_with('\\')) {
      text += '\\';
      at += 1;
    } else if (rest.size() >= 3 && rest[0] == 'x' && ReadHexDigit(rest[1], high) &&
               ReadHexDigit(rest[2], low)) {
      text += static_cast<char>(high * 16 + low);
      at += 3;
    } else {
      reason = "a backslash that begins neither \\\\ nor \\xHH";
      return false;
    }
  }
  return true;
}

void AppendRecord(std::string& out, std::string_view word, const KorString& text) {
  out += word;
  if (!text.IsEmpty()) {
    out += ' ';
    AppendEscaped(out, text.View());
  }
  out += '\n';
}

void AppendOutcome(std::string& out, const KorCommandResult& result) {
  for (const OutcomeWord& entry : kOutcomeWords) {
    if (entry.outcome != result.outcome) continue;
    out += entry.word;
    if (entry.HasNumber()) out += " " + std::to_string(result.status);
    out += '\n';
  }
}

void AppendOutput(std::string& out, std::string_view output) {
  while (!output.empty()) {
    const size_t end = output.find('\n');
    const bool isWhole = end != std::string_view::npos;
    out += isWhole ? kWholeLine : kOpenLine;
    AppendEscaped(out, output.substr(0, end));
    out += '\n';
    output.remove_prefix(isWhole ? end + 1 : output.size());
  }
}

class Parser {
 public:
  explicit Parser(std::string_view fileText) : rest(fileText) {}

  bool Parse(KorRecording& out) {
    std::string_view line;
    if (!NextLine(line) || line != kFirstLine) return Fail("not a recording of this format");
    while (!rest.empty()) {
      if (!NextLine(line) || !TakeLine(line)) return false;
    }
    if (expectsOutcome) return Fail("a command without its outcome");
    out = std::move(recording);
    return true;
  }

  KorString Error() const { return KorString(std::to_string(lineNumber)) + ": " + reason; }

 private:
  bool Fail(const KorString& why) {
    reason = why;
    return false;
  }

  bool NextLine(std::string_view& line) {
    ++lineNumber;
    const size_t end = rest.find('\n');
    if (end == std::string_view::npos) return Fail("a line without its end");
    line = rest.substr(0, end);
    rest.remove_prefix(end + 1);
    return true;
  }

  bool TakeLine(std::string_view line) {
    if (expectsOutcome) return TakeOutcome(line);
    if (line.starts_with(kWholeLine) || line.starts_with(kOpenLine)) return TakeOutput(line);
    takesOutput = false;
    if (line.empty() || line.starts_with('#')) return true;
    return TakeRecord(line);
  }

  bool TakeRecord(std::string_view line) {
    const size_t blank = line.find(' ');
    const std::string_view word = line.substr(0, blank);
    std::string text;
    if (blank != std::string_view::npos && !Unescape(line.substr(blank + 1), text, reason)) {
      return false;
    }
    KorString value(std::move(text));
    if (word == "command") {
      recording.runs.push_back({std::move(value), {}});
      expectsOutcome = true;
      return true;
    }
    if (word == "exists") return TakeFile(value, true);
    if (word == "missing") return TakeFile(value, false);
    if (word == "host") return TakeName(recording.hostName, value);
    if (word == "distribution") return TakeName(recording.distributionName, value);
    return Fail("an unknown kind of line");
  }

  bool TakeFile(const KorString& path, bool exists) {
    return recording.files.emplace(path, exists).second || Fail("a file for the second time");
  }

  bool TakeName(std::optional<KorString>& name, const KorString& value) {
    if (name.has_value()) return Fail("a name for the second time");
    name = value;
    return true;
  }

  bool TakeOutcome(std::string_view line) {
    KorCommandResult& result = recording.runs.back().result;
    for (const OutcomeWord& entry : kOutcomeWords) {
      if (!line.starts_with(entry.word)) continue;
      std::string_view tail = line.substr(entry.word.size());
      if (entry.HasNumber() ? !TakeNumber(tail, entry, result.status) : !tail.empty()) break;
      result.outcome = entry.outcome;
      expectsOutcome = false;
      takesOutput = true;
      return true;
    }
    return Fail("not the outcome of a command");
  }

  static bool TakeNumber(std::string_view text, const OutcomeWord& entry, int& number) {
    if (!text.starts_with(' ')) return false;
    text.remove_prefix(1);
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end && number >= entry.lowest && number <= entry.highest;
  }

  bool TakeOutput(std::string_view line) {
    if (!takesOutput) return Fail("a line of output without a command, or after its last line");
    std::string& output = recording.runs.back().result.output;
    if (!Unescape(line.substr(1), output, reason)) return false;
    if (line.front() == kWholeLine) {
      output += '\n';
    } else if (line.size() == 1) {
      return Fail("a last line of output that is empty");
    } else {
      takesOutput = false;
    }
    return true;
  }

  std::string_view rest;
  uint64_t lineNumber = 0;
  KorString reason;
  KorRecording recording;
  bool expectsOutcome = false;
  bool takesOutput = false;
};

}  // namespace

void KorRecording::DropTrailingRepeats() {
  // From the end: a run goes as long as the one before it, of the same command, gave the same.
  std::unordered_map<KorString, size_t> laterRun;
  std::vector<bool> goes(runs.size(), false);
  std::unordered_map<KorString, bool> settled;
  for (size_t index = runs.size(); index-- > 0;) {
    const Run& run = runs[index];
    const auto [later, isLast] = laterRun.try_emplace(run.command, index);
    bool& isSettled = settled[run.command];
    if (!isLast && !isSettled) {
      isSettled = runs[later->second].result != run.result;
      goes[later->second] = !isSettled;
    }
    later->second = index;
  }
  size_t kept = 0;
  for (size_t index = 0; index < runs.size(); ++index) {
    if (goes[index]) continue;
    if (kept != index) runs[kept] = std::move(runs[index]);
    ++kept;
  }
  runs.resize(kept);
}

std::string KorRecording::Format() const {
  KorRecording shortened = *this;
  shortened.DropTrailingRepeats();
  std::string out(kFirstLine);
  out += '\n';
  if (hostName) AppendRecord(out, "host", *hostName);
  if (distributionName) AppendRecord(out, "distribution", *distributionName);
  for (const auto& [path, exists] : files) AppendRecord(out, exists ? "exists" : "missing", path);
  for (const Run& run : shortened.runs) {
    out += '\n';
    AppendRecord(out, "command", run.command);
    AppendOutcome(out, run.result);
    AppendOutput(out, run.result.output);
  }
  return out;
}

bool KorRecording::Parse(std::string_view text, KorString& error) {
  Parser parser(text);
  if (parser.Parse(*this)) return true;
  error = parser.Error();
  return false;
}

bool KorRecording::Load(const KorString& path, KorString& error) {
  std::string text;
  const auto append = [&text](std::string_view chunk) {
    text += chunk;
    return text.size() <= kMaxFileSize;
  };
  // Files of the kernel have no size: what is read is counted, too.
  const bool isTooLarge = FileGetSize(path) > static_cast<int64_t>(kMaxFileSize);
  if (!isTooLarge && !FileReadChunks(path, append, error)) {
    error = path + ": " + error;
    return false;
  }
  if (isTooLarge || text.size() > kMaxFileSize) {
    error = path + ": larger than a recording may be";
    return false;
  }
  if (Parse(text, error)) return true;
  error = path + ":" + error;
  return false;
}

bool KorRecording::Save(const KorString& path, KorString& error) const {
  const std::string text = Format();
  if (text.size() > kMaxFileSize) {
    error = path + ": larger than a recording may be";
    return false;
  }
  KorAtomicFile file(path);
  file.Write(text);
  if (file.Commit()) return true;
  error = file.Error();
  return false;
}
