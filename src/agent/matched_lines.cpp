#include "agent/matched_lines.h"

#include <algorithm>
#include <cctype>
#include <cstddef>

#include "kor/regex.h"

namespace agent {
namespace {

constexpr std::string_view kBlanks = " \t\r\n\v\f";
constexpr size_t kShortestWord = 3;

std::vector<std::string_view> LinesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const size_t end = text.find('\n');
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return lines;
}

bool IsBlank(std::string_view text) {
  return text.find_first_not_of(kBlanks) == std::string_view::npos;
}

// Whole lines around [begin, end), whose blanks at both ends do not count.
void AppendLines(std::string_view text, size_t begin, size_t end, std::vector<std::string>& lines) {
  while (end > begin && kBlanks.find(text[end - 1]) != std::string_view::npos) --end;
  while (begin < end && kBlanks.find(text[begin]) != std::string_view::npos) ++begin;
  const size_t before = begin == 0 ? std::string_view::npos : text.rfind('\n', begin - 1);
  const size_t first = before == std::string_view::npos ? 0 : before + 1;
  const size_t last = std::min(text.find('\n', end), text.size());
  for (const std::string_view line : LinesOf(text.substr(first, last - first))) {
    lines.emplace_back(line);
  }
}

std::string Lower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return lower;
}

bool IsLetter(char c) {
  return std::isalpha(static_cast<unsigned char>(c)) != 0;
}

// The literal words of an expression, in small letters. The letter of an escape belongs to none.
std::vector<std::string> WordsOf(std::string_view pattern) {
  std::vector<std::string> words;
  std::string word;
  const auto finish = [&] {
    if (word.size() >= kShortestWord) words.push_back(Lower(word));
    word.clear();
  };
  for (size_t at = 0; at < pattern.size(); ++at) {
    if (IsLetter(pattern[at])) {
      word += pattern[at];
      continue;
    }
    finish();
    if (pattern[at] == '\\') ++at;
    if (pattern[at] == '[') at = std::min(pattern.find(']', at), pattern.size() - 1);
  }
  finish();
  return words;
}

// How much of the words' beginnings the line has.
size_t Likeness(const std::string& line, const std::vector<std::string>& words) {
  size_t likeness = 0;
  for (const std::string& word : words) {
    size_t length = word.size();
    while (length >= kShortestWord && line.find(word.substr(0, length)) == std::string::npos) {
      --length;
    }
    if (length >= kShortestWord) likeness += length;
  }
  return likeness;
}

}  // namespace

std::optional<std::vector<std::string>> MatchedLines(const KorTraceSource& source) {
  std::vector<std::string> lines;
  if (source.pattern.data() == nullptr) {
    for (const std::string_view line : LinesOf(source.text)) lines.emplace_back(line);
    return lines;
  }
  const KorString pattern(source.pattern);
  size_t begin = 0;
  size_t end = 0;
  if (!LocatePcre(source.text, 0, pattern, source.options, begin, end)) return {};
  AppendLines(source.text, begin, end, lines);
  while (source.everyMatch && end > begin &&
         LocatePcre(source.text, end, pattern, source.options, begin, end)) {
    AppendLines(source.text, begin, end, lines);
  }
  return lines;
}

std::string NearestLine(std::string_view text, std::string_view pattern) {
  const std::vector<std::string> words = WordsOf(pattern);
  std::string_view nearest;
  size_t most = 0;
  for (const std::string_view line : LinesOf(text)) {
    const size_t likeness = Likeness(Lower(line), words);
    if (likeness > most || (nearest.empty() && !IsBlank(line))) nearest = line;
    most = std::max(most, likeness);
  }
  return std::string(nearest);
}

}  // namespace agent
