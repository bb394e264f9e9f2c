#include "agent/query_result.h"

#include <gtest/gtest.h>

namespace {

agent::QueryResult TwoDisks() {
  return {.columns = {"Name", "Size"}, .rows = {{"sda", "500"}, {"sdb", ""}}, .isTruncated = false};
}

TEST(QueryResult, ComesFromTheContainer) {
  KorContainer row;
  row.SetString("Values", "sda", 0);
  row.SetString("Values", "500", 1);
  KorContainer container;
  container.SetString("Columns", "Name", 0);
  container.SetString("Columns", "Size", 1);
  container.SetContainer("Rows", row, 0);
  container.SetBool("Truncated", true);

  const agent::QueryResult result = agent::QueryResult::From(container);

  EXPECT_EQ((std::vector<KorString>{"Name", "Size"}), result.columns);
  EXPECT_EQ((std::vector<std::vector<KorString>>{{"sda", "500"}}), result.rows);
  EXPECT_TRUE(result.isTruncated);
}

TEST(QueryResult, RowsThatFitAreATable) {
  EXPECT_EQ(
      "Name  Size\n"
      "----  ----\n"
      "sda    500\n"
      "sdb\n",
      agent::QueryToTable(TwoDisks(), {.width = 10, .forTerminal = true}));
}

TEST(QueryResult, RowsThatDoNotFitAreListedValueByValue) {
  EXPECT_EQ(
      "#1\n"
      "  Name  sda\n"
      "  Size  500\n"
      "#2\n"
      "  Name  sdb\n"
      "  Size\n",
      agent::QueryToTable(TwoDisks(), {.width = 9, .forTerminal = true}));
}

TEST(QueryResult, TableWithoutRowsHasItsHeading) {
  EXPECT_EQ("a\n-\n", agent::QueryToTable({.columns = {"a"}, .rows = {}}, {}));
}

TEST(QueryResult, JsonKeepsColumnsOfTheSameName) {
  EXPECT_EQ(
      "{\n"
      "  \"columns\": [\"a\", \"a\"],\n"
      "  \"rows\": [\n"
      "    [\"1\", \"x\\\"\\u001b\\u009b\"],\n"
      "    [\"2\", \"\"]\n"
      "  ],\n"
      "  \"truncated\": true\n"
      "}\n",
      agent::QueryToJson({.columns = {"a", "a"},
                          .rows = {{"1", "x\"\x1b\xc2\x9b"}, {"2", ""}},
                          .isTruncated = true}));
  EXPECT_EQ("{\n  \"columns\": [\"a\"],\n  \"rows\": [],\n  \"truncated\": false\n}\n",
            agent::QueryToJson({.columns = {"a"}, .rows = {}}));
}

TEST(QueryResult, CsvQuotesWhatNeedsIt) {
  const agent::QueryResult result = {.columns = {"a", "b,c"},
                                     .rows = {{"x\"y", "1\n2"}, {"plain", "\xff"}}};
  EXPECT_EQ("a,\"b,c\"\n\"x\"\"y\",\"1\n2\"\nplain,\xff\n", agent::QueryToCsv(result, false));
}

TEST(QueryResult, CsvForATerminalHasNoRawControls) {
  const agent::QueryResult result = {.columns = {"a"}, .rows = {{"\x1b[31m\n,"}}};
  EXPECT_EQ("a\n\"\\x1b[31m\\n,\"\n", agent::QueryToCsv(result, true));
}

}  // namespace
