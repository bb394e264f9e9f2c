#include "agent/query_result.h"

#include <utility>

#include "agent/display_text.h"
#include "agent/json_object_writer.h"

namespace agent {
namespace {

std::vector<KorString> Strings(const KorContainer& container, const KorString& key) {
  std::vector<KorString> texts;
  KorString text;
  for (size_t at = 0; container.GetString(key, text, at); ++at) texts.push_back(text);
  return texts;
}

std::vector<Cell> Cells(const std::vector<KorString>& texts) {
  std::vector<Cell> cells;
  cells.reserve(texts.size());
  for (const KorString& text : texts) cells.emplace_back(text);
  return cells;
}

std::string JsonArray(const std::vector<KorString>& texts) {
  std::string json = "[";
  for (const KorString& text : texts) {
    if (json.size() > 1) json += ", ";
    json += QuotedJson(text);
  }
  return json + "]";
}

std::string CsvField(const KorString& text, bool forTerminal) {
  const std::string shown = forTerminal ? DisplayText(text.View()) : text.Str();
  if (shown.find_first_of(",\"\r\n") == std::string::npos) return shown;
  std::string quoted = "\"";
  for (const char byte : shown) quoted.append(byte == '"' ? 2 : 1, byte);
  return quoted + "\"";
}

void AppendCsvLine(const std::vector<KorString>& texts, bool forTerminal, std::string& out) {
  bool isFirst = true;
  for (const KorString& text : texts) {
    if (!std::exchange(isFirst, false)) out += ',';
    out += CsvField(text, forTerminal);
  }
  out += '\n';
}

}  // namespace

QueryResult QueryResult::From(const KorContainer& container) {
  QueryResult result;
  result.columns = Strings(container, "Columns");
  KorContainer row;
  for (size_t at = 0; container.GetContainer("Rows", row, at); ++at) {
    result.rows.push_back(Strings(row, "Values"));
  }
  container.GetBool("Truncated", result.isTruncated);
  return result;
}

std::string QueryToTable(const QueryResult& result, const TableLayout& layout) {
  std::vector<std::vector<Cell>> grid{Cells(result.columns)};
  for (const std::vector<KorString>& row : result.rows) grid.push_back(Cells(row));
  std::string out;
  if (AppendGrid(grid, layout, out)) return out;
  for (size_t number = 1; number < grid.size(); ++number) {
    std::vector<std::pair<Cell, Cell>> values;
    for (size_t at = 0; at < grid[number].size(); ++at) {
      values.emplace_back(grid.front()[at], grid[number][at]);
    }
    AppendRecord(KorString(std::to_string(number)), values, layout, out);
  }
  return out;
}

std::string QueryToJson(const QueryResult& result) {
  std::string json = "{\n  \"columns\": " + JsonArray(result.columns) + ",\n  \"rows\": [";
  bool isFirst = true;
  for (const std::vector<KorString>& row : result.rows) {
    json += std::exchange(isFirst, false) ? "\n    " : ",\n    ";
    json += JsonArray(row);
  }
  json += result.rows.empty() ? "]" : "\n  ]";
  return json + ",\n  \"truncated\": " + (result.isTruncated ? "true" : "false") + "\n}\n";
}

std::string QueryToCsv(const QueryResult& result, bool forTerminal) {
  std::string out;
  AppendCsvLine(result.columns, forTerminal, out);
  for (const std::vector<KorString>& row : result.rows) AppendCsvLine(row, forTerminal, out);
  return out;
}

}  // namespace agent
