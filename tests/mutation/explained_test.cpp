// The explanations of surviving mutants, which must not outlive the code that they speak of.

#include "mutation/mutator.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

const std::string kRoot = std::string(KOR_SOURCE_DIR) + "/";

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// The paragraphs of the file, each as its lines. The first one explains the file itself.
std::vector<std::vector<std::string>> Entries() {
  std::istringstream text(ReadFile(kRoot + "tests/mutation/explained"));
  std::vector<std::vector<std::string>> paragraphs(1);
  for (std::string line; std::getline(text, line);) {
    if (!line.empty()) {
      paragraphs.back().push_back(line);
    } else if (!paragraphs.back().empty()) {
      paragraphs.emplace_back();
    }
  }
  if (paragraphs.back().empty()) paragraphs.pop_back();
  paragraphs.erase(paragraphs.begin());
  return paragraphs;
}

size_t CountMutants(const std::string& file, const std::string& before, const std::string& after) {
  const std::string source = ReadFile(kRoot + file);
  size_t count = 0;
  for (const mutation::Mutant& mutant : mutation::FindMutants(source)) {
    if ("- " + mutation::Before(source, mutant) == before &&
        "+ " + mutation::After(source, mutant) == after) {
      ++count;
    }
  }
  return count;
}

}  // namespace

TEST(ExplainedMutants, AreMutantsOfTheSourcesAsTheyAreWithAReasonEach) {
  std::set<std::string> keys;
  for (const std::vector<std::string>& entry : Entries()) {
    SCOPED_TRACE(testing::PrintToString(entry));
    ASSERT_GE(entry.size(), 4u) << "file, before, after and a reason";
    EXPECT_EQ(CountMutants(entry[0], entry[1], entry[2]), 1U);
    EXPECT_TRUE(keys.insert(entry[0] + entry[1] + entry[2]).second) << "twice";
  }
}
