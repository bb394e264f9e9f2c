#include "agent/near_miss.h"

#include <algorithm>
#include <utility>

namespace agent {
namespace {

// Names are short; more than this is not one.
constexpr size_t kLongestWord = 256;

std::string LowerCase(std::string_view word) {
  std::string lower(word);
  for (char& byte : lower) {
    if (byte >= 'A' && byte <= 'Z') byte = static_cast<char>(byte - 'A' + 'a');
  }
  return lower;
}

// The number of slips between the two words.
size_t Distance(const std::string& one, const std::string& other) {
  std::vector<size_t> beforeLast(other.size() + 1);
  std::vector<size_t> last(other.size() + 1);
  std::vector<size_t> current(other.size() + 1);
  for (size_t column = 0; column <= other.size(); ++column) current[column] = column;
  for (size_t row = 1; row <= one.size(); ++row) {
    std::swap(beforeLast, last);
    std::swap(last, current);
    current[0] = row;
    for (size_t column = 1; column <= other.size(); ++column) {
      const size_t wrong = one[row - 1] == other[column - 1] ? 0 : 1;
      current[column] =
          std::min({last[column] + 1, current[column - 1] + 1, last[column - 1] + wrong});
      if (row > 1 && column > 1 && one[row - 1] == other[column - 2] &&
          one[row - 2] == other[column - 1]) {
        current[column] = std::min(current[column], beforeLast[column - 2] + 1);
      }
    }
  }
  return current[other.size()];
}

}  // namespace

std::optional<std::string> NearMiss(std::string_view word,
                                    const std::vector<std::string>& candidates) {
  if (word.empty() || word.size() > kLongestWord) return std::nullopt;
  const std::string lower = LowerCase(word);
  const size_t bound = std::max<size_t>(1, word.size() / 3);
  size_t fewest = bound + 1;
  std::optional<std::string> nearest;
  for (const std::string& candidate : candidates) {
    if (candidate.size() >= word.size() + fewest || word.size() >= candidate.size() + fewest) {
      continue;
    }
    const size_t slips = Distance(lower, LowerCase(candidate));
    if (slips >= fewest) continue;
    fewest = slips;
    nearest = candidate;
  }
  return nearest;
}

std::string DidYouMean(std::string_view word, const std::vector<std::string>& candidates) {
  const std::optional<std::string> nearest = NearMiss(word, candidates);
  return nearest.has_value() ? "; did you mean '" + *nearest + "'?" : std::string();
}

}  // namespace agent
