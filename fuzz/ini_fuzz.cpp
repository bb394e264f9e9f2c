// Settings files. The input: a file, a section, a key and a value, with NUL bytes between them.

#include "kor/ini_file.h"

#include <algorithm>
#include <cctype>
#include <map>

#include "support.h"

namespace {

using Entries = std::map<std::pair<std::string, std::string>, std::string>;

std::string Trimmed(std::string_view text) {
  KorString trimmed(text);
  trimmed.Trim();
  return trimmed.Str();
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

// What the file says, read in another way than the product does.
Entries ReadAll(std::string_view content) {
  Entries entries;
  std::string section;
  while (!content.empty()) {
    const size_t end = std::min(content.find('\n'), content.size());
    std::string line(content.substr(0, end));
    content.remove_prefix(std::min(end + 1, content.size()));
    if (line.starts_with("\xEF\xBB\xBF")) line.erase(0, 3);
    line = Trimmed(line);
    if (line.empty() || line[0] == ';' || line[0] == '#') continue;
    const size_t bracket = line.find(']');
    const size_t equals = line.find('=');
    if (line[0] == '[') {
      section = bracket == std::string::npos ? "" : Lower(Trimmed(line.substr(1, bracket - 1)));
    } else if (equals != std::string::npos && equals > 0) {
      entries[{section, Lower(Trimmed(line.substr(0, equals)))}] = Trimmed(line.substr(equals + 1));
    }
  }
  return entries;
}

void CheckReading(const KorString& path, const Entries& entries) {
  const IniFile file(path);
  for (const auto& [name, value] : entries) {
    KorString text;
    const bool found =
        file.GetEntryValue(KorString(name.first), KorString(name.second), text, "default");
    fuzz::Require(found && text.Str() == value, "an entry of the file is read");
    int64_t number = 0;
    if (file.GetEntryValue(KorString(name.first), KorString(name.second), number, 7)) {
      fuzz::Require(
          std::all_of(value.begin(), value.end(),
                      [](char c) { return (c >= '0' && c <= '9') || c == '-' || c == '+'; }),
          "a number is written in digits");
    } else {
      fuzz::Require(number == 7, "what is no number gives the default");
    }
    bool truth = true;
    const bool isTruth =
        file.GetEntryValue(KorString(name.first), KorString(name.second), truth, true);
    fuzz::Require(isTruth || truth, "what is no truth gives the default");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static fuzz::QuietLog log;
  static const fuzz::Folder folder;
  fuzz::UseLog(log);

  const auto parts = fuzz::Parts(fuzz::View(data, size), 4);
  const KorString section(parts[1]);
  const KorString key(parts[2]);
  const KorString value(parts[3]);
  const KorString path = folder.Write("settings.ini", parts[0]);
  Entries expected = ReadAll(parts[0]);
  CheckReading(path, expected);

  if (!IniFile(path).SetEntryValue(section, key, value)) {
    fuzz::Require(folder.Read("settings.ini") == parts[0], "a refused entry changes nothing");
    return 0;
  }
  const std::string_view line = parts[3].substr(0, parts[3].find_first_of("\r\n"));
  expected[{Lower(section.View()), Lower(key.View())}] = Trimmed(line);
  const std::string written = folder.Read("settings.ini");
  fuzz::Require(ReadAll(written) == expected, "an entry that is set changes no other entry");
  CheckReading(path, expected);
  fuzz::Require(IniFile(path).SetEntryValue(section, key, value), "it can be set once more");
  fuzz::Require(folder.Read("settings.ini") == written, "setting it once more changes nothing");
  return 0;
}
