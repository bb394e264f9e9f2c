// The tests and sources that docs/limits.md and docs/security.md name are there.

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr const char* kPage = KOR_SOURCE_DIR "/docs/limits.md";
constexpr const char* kSecurityPage = KOR_SOURCE_DIR "/docs/security.md";
constexpr size_t kColumns = 5;

struct Row {
  std::string what;
  std::string place;
  std::string test;
};

std::string Trimmed(const std::string& text) {
  const size_t first = text.find_first_not_of(' ');
  return first == std::string::npos ? ""
                                    : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::vector<Row> ReadRows() {
  std::vector<Row> rows;
  std::ifstream page(kPage);
  for (std::string line; std::getline(page, line);) {
    if (!line.starts_with("| ") || line.starts_with("| what |")) continue;
    std::vector<std::string> cells;
    std::istringstream rest(line.substr(1));
    for (std::string cell; std::getline(rest, cell, '|');) cells.push_back(Trimmed(cell));
    EXPECT_EQ(kColumns, cells.size()) << line;
    if (cells.size() == kColumns) rows.push_back({cells[0], cells[2], cells[4]});
  }
  return rows;
}

std::string AllTests() {
  std::string all;
  for (const auto& entry : fs::recursive_directory_iterator(KOR_SOURCE_DIR "/tests")) {
    if (entry.path().extension() != ".cpp") continue;
    std::ifstream file(entry.path());
    all.append(std::istreambuf_iterator<char>(file), {});
  }
  return all;
}

TEST(LimitsPage, EachRowNamesATestThatExists) {
  const std::string tests = AllTests();
  const std::vector<Row> rows = ReadRows();
  EXPECT_GT(rows.size(), 40U);
  for (const Row& row : rows) {
    const size_t dot = row.test.find('.');
    ASSERT_NE(std::string::npos, dot) << row.what;
    const std::string arguments =
        "(" + row.test.substr(0, dot) + ", " + row.test.substr(dot + 1) + ")";
    EXPECT_NE(std::string::npos, tests.find(arguments)) << row.what << ": " << row.test;
  }
}

TEST(SecurityPage, EachRefusalNamesATestThatExists) {
  const std::string tests = AllTests();
  std::ifstream page(kSecurityPage);
  bool isInside = false;
  size_t count = 0;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("| refused |")) {
      isInside = true;
      continue;
    }
    isInside = isInside && line.starts_with("|");
    if (!isInside || line.starts_with("|---")) continue;
    const std::string cells = line.substr(0, line.rfind(" |"));
    const std::string test = cells.substr(cells.rfind("| ") + 2);
    const size_t dot = test.find('.');
    ASSERT_NE(std::string::npos, dot) << line;
    ++count;
    EXPECT_NE(std::string::npos,
              tests.find("(" + test.substr(0, dot) + ", " + test.substr(dot + 1) + ")"))
        << line;
  }
  EXPECT_GT(count, 20U);
}

TEST(LimitsPage, EachPlaceIsASource) {
  for (const Row& row : ReadRows()) {
    if (!row.place.starts_with('`')) continue;
    const std::string path = row.place.substr(1, row.place.size() - 2);
    EXPECT_TRUE(fs::exists(KOR_SOURCE_DIR "/src/" + path)) << row.what << ": " << path;
  }
}

}  // namespace
