#include "kor/ini_file.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "kor/atomic_file.h"
#include "kor/debug.h"
#include "kor/file.h"
#include "kor/mutex.h"

namespace {

constexpr size_t kLargestFile = size_t{1024} * 1024;
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\n\v\f\r";
  const size_t start = text.find_first_not_of(kBlanks);
  if (start == std::string_view::npos) return {};
  return text.substr(start, text.find_last_not_of(kBlanks) - start + 1);
}

bool SameName(std::string_view left, std::string_view right) {
  return KorString(left).IsEqualTo(KorString(right), false);
}

enum class LineKind { kOther, kSection, kEntry };

// One line understood; the views point into it.
struct Line {
  LineKind kind = LineKind::kOther;  // blank, comment, or not understood
  std::string_view name;             // of the section or key
  std::string_view value;
};

Line Understand(std::string_view text) {
  if (text.starts_with(kByteOrderMark)) text.remove_prefix(kByteOrderMark.size());
  text = Trimmed(text);
  if (text.empty() || text.front() == ';' || text.front() == '#') return {};
  if (text.front() == '[') {
    const size_t end = text.find(']');
    // A damaged header ends the section before it: the keys that follow are not that section's.
    const size_t length = end == std::string_view::npos ? 0 : end - 1;
    return {LineKind::kSection, Trimmed(text.substr(1, length)), {}};
  }
  const size_t equals = text.find('=');
  if (equals == std::string_view::npos || equals == 0) return {};
  return {LineKind::kEntry, Trimmed(text.substr(0, equals)), Trimmed(text.substr(equals + 1))};
}

std::vector<std::string> SplitLines(std::string_view content) {
  std::vector<std::string> lines;
  while (!content.empty()) {
    const size_t length = std::min(content.find('\n'), content.size() - 1) + 1;
    lines.emplace_back(content.substr(0, length));
    content.remove_prefix(length);
  }
  return lines;
}

// Whether the name would be read back as itself.
bool IsWritableName(std::string_view name) {
  const auto isPlain = [](char c) { return static_cast<unsigned char>(c) >= ' ' && c != '\x7f'; };
  return !name.empty() && Trimmed(name) == name && std::ranges::all_of(name, isPlain) &&
         name.find_first_of("[]=") == std::string_view::npos && name.front() != ';' &&
         name.front() != '#' && !name.starts_with(kByteOrderMark);
}

// Settings of this process that stand before what the files say.
class Overrides {
 public:
  static Overrides& Instance() {
    static Overrides instance;
    return instance;
  }

  void Set(const KorString& section, const KorString& key, const KorString& value) {
    const KorMutexLock lock(mutex);
    values.insert_or_assign(NameOf(section, key), value);
  }
  void Clear() {
    const KorMutexLock lock(mutex);
    values.clear();
  }
  std::optional<KorString> Find(const KorString& section, const KorString& key) {
    const KorMutexLock lock(mutex);
    const auto found = values.find(NameOf(section, key));
    if (found == values.end()) return std::nullopt;
    return found->second;
  }

 private:
  using Name = std::pair<std::string, std::string>;

  static std::string Folded(std::string text) {
    for (char& c : text) {
      if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    }
    return text;
  }
  static Name NameOf(const KorString& section, const KorString& key) {
    return {Folded(section.Str()), Folded(key.Str())};
  }

  KorMutex mutex;
  std::map<Name, KorString> values KOR_GUARDED_BY(mutex);
};

bool ParseInteger(const KorString& text, int64_t& out) {
  std::string_view digits = text.View();
  if (digits.starts_with('+')) {
    digits.remove_prefix(1);
    if (digits.starts_with('-')) return false;
  }
  int64_t number = 0;
  const char* end = digits.data() + digits.size();
  const auto [stop, status] = std::from_chars(digits.data(), end, number);
  if (status != std::errc() || stop != end) return false;
  out = number;
  return true;
}

bool ParseBool(const KorString& text, bool& out) {
  constexpr std::array<std::pair<const char*, bool>, 8> kWords = {{{"yes", true},
                                                                   {"true", true},
                                                                   {"on", true},
                                                                   {"1", true},
                                                                   {"no", false},
                                                                   {"false", false},
                                                                   {"off", false},
                                                                   {"0", false}}};
  for (const auto& [word, value] : kWords) {
    if (!text.IsEqualTo(word, false)) continue;
    out = value;
    return true;
  }
  return false;
}

}  // namespace

// The file's lines, with their ends, just as they stand: a write changes or adds one line and
// leaves everything else as its author wrote it, also what is not understood.
struct IniFile::State {
  KorString path;
  std::vector<std::string> lines;
  KorString error;

  explicit State(const KorString& filePath) : path(filePath) {
    std::string content;
    if (FileReadAll(path, content, error, kLargestFile)) {
      lines = SplitLines(content);
    } else if (MeansMissing(errno)) {
      error.Clear();
    } else {
      KorFrameworkLog().WarningWithNL("Cannot read '%S': %S", path, error);
    }
  }

  struct Place {
    std::optional<size_t> entry;       // the line of the key; of several, the last counts
    std::optional<size_t> sectionEnd;  // the last line of the section that is not a comment
  };
  Place Find(const KorString& section, const KorString& key) const {
    Place place;
    bool isInside = section.IsEmpty();
    for (size_t i = 0; i < lines.size(); ++i) {
      const Line line = Understand(lines[i]);
      if (line.kind == LineKind::kSection) isInside = SameName(line.name, section.View());
      if (!isInside || line.kind == LineKind::kOther) continue;
      place.sectionEnd = i;
      if (line.kind == LineKind::kEntry && SameName(line.name, key.View())) place.entry = i;
    }
    return place;
  }

  std::optional<KorString> Value(const KorString& section, const KorString& key) const {
    if (auto overridden = Overrides::Instance().Find(section, key)) return overridden;
    const Place place = Find(section, key);
    if (!place.entry) return std::nullopt;
    return KorString(Understand(lines[*place.entry]).value);
  }

  bool Save(std::vector<std::string> changed) {
    KorAtomicFile file(path);
    for (const std::string& line : changed) file.Write(line);
    if (!file.Commit()) {
      KorFrameworkLog().WarningWithNL("%S", file.Error());
      return false;
    }
    lines = std::move(changed);
    return true;
  }
};

namespace {

std::string_view LineEndOf(const std::vector<std::string>& lines) {
  return !lines.empty() && lines.front().ends_with("\r\n") ? "\r\n" : "\n";
}

void EndLastLine(std::vector<std::string>& lines, std::string_view lineEnd) {
  if (!lines.empty() && !lines.back().ends_with('\n')) lines.back() += lineEnd;
}

// The line with another value: what stands before the value, and the line end, are kept.
std::string WithValue(const std::string& line, std::string_view value) {
  const size_t afterEquals = line.find('=') + 1;
  const size_t valueStart =
      std::min(line.find_first_not_of(" \t", afterEquals), line.find_first_of("\r\n", afterEquals));
  const size_t lineEnd = std::min(line.find_last_not_of("\r\n") + 1, line.size());
  return line.substr(0, std::min(valueStart, lineEnd)).append(value).append(line.substr(lineEnd));
}

}  // namespace

IniFile::IniFile(const KorString& path) : state(std::make_unique<State>(path)) {}

IniFile::~IniFile() = default;

const KorString& IniFile::Error() const {
  return state->error;
}

bool IniFile::GetEntryValue(const KorString& section, const KorString& key, KorString& out,
                            const KorString& defaultValue) const {
  const std::optional<KorString> value = state->Value(section, key);
  out = value ? *value : defaultValue;
  return value.has_value();
}

bool IniFile::GetEntryValue(const KorString& section, const KorString& key, int64_t& out,
                            int64_t defaultValue) const {
  const std::optional<KorString> value = state->Value(section, key);
  out = defaultValue;
  return value && ParseInteger(*value, out);
}

bool IniFile::GetEntryValue(const KorString& section, const KorString& key, bool& out,
                            bool defaultValue) const {
  const std::optional<KorString> value = state->Value(section, key);
  out = defaultValue;
  return value && ParseBool(*value, out);
}

bool IniFile::SetEntryValue(const KorString& section, const KorString& key,
                            const KorString& value) {
  // What could not be read would be lost.
  if (!state->error.IsEmpty()) return false;
  if (!IsWritableName(section.View()) || !IsWritableName(key.View())) return false;
  // Without the blanks that no reading gives: they would grow with every write.
  const std::string_view text = Trimmed(value.View().substr(0, value.View().find_first_of("\r\n")));
  const State::Place place = state->Find(section, key);
  std::vector<std::string> lines = state->lines;
  const std::string lineEnd(LineEndOf(lines));
  const std::string newLine = key.Str() + " = " + std::string(text) + lineEnd;
  if (place.entry) {
    lines[*place.entry] = WithValue(lines[*place.entry], text);
  } else if (place.sectionEnd) {
    EndLastLine(lines, lineEnd);
    lines.insert(lines.begin() + static_cast<std::ptrdiff_t>(*place.sectionEnd) + 1, newLine);
  } else {
    EndLastLine(lines, lineEnd);
    if (!lines.empty()) lines.push_back(lineEnd);
    lines.push_back("[" + section.Str() + "]" + lineEnd);
    lines.push_back(newLine);
  }
  return state->Save(std::move(lines));
}

bool IniFile::SetEntryValue(const KorString& section, const KorString& key, int64_t value) {
  return SetEntryValue(section, key, KorString(std::to_string(value)));
}

void IniFile::Override(const KorString& section, const KorString& key, const KorString& value) {
  Overrides::Instance().Set(section, key, value);
}

void IniFile::ClearOverrides() {
  Overrides::Instance().Clear();
}
