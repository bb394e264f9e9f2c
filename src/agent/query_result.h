// What a query answered, for people and scripts.

#pragma once

#include <string>
#include <vector>

#include "agent/text_table.h"
#include "kor/container.h"
#include "kor/string.h"

namespace agent {

struct QueryResult {
  std::vector<KorString> columns;
  std::vector<std::vector<KorString>> rows;
  bool isTruncated = false;

  // From the container that ObjInv::Query filled.
  static QueryResult From(const KorContainer& container);
};

// One line per row where that fits the width, else one line per value.
std::string QueryToTable(const QueryResult& result, const TableLayout& layout);

// {"columns": [...], "rows": [[...], ...], "truncated": false}: names of columns may repeat.
std::string QueryToJson(const QueryResult& result);

// RFC 4180 with line feeds, names first. Bytes as they are, or escaped for a terminal.
std::string QueryToCsv(const QueryResult& result, bool forTerminal);

}  // namespace agent
