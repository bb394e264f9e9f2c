#include "agent/text_table.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "agent/difference_text.h"
#include "agent/report/measures.h"

namespace agent {
namespace {

constexpr size_t kGap = 2;              // between two columns
constexpr size_t kNarrowestValue = 16;  // a wrapped value never gets less
constexpr size_t kMostLines = 3;        // of a wrapped cell, or the table is none to look at

constexpr const char* kBold = "\x1b[1m";
constexpr const char* kFaint = "\x1b[2m";
constexpr const char* kPlain = "\x1b[0m";

struct Column {
  size_t width = 0;
  bool isNumeric = false;  // all of its values are numbers
};

// What of a cell stands in one line.
struct Piece {
  std::string text;
  size_t width = 0;
};

void AppendPadded(const Cell& cell, size_t width, std::string& out) {
  for (const Glyph& glyph : cell.glyphs) out += glyph.Bytes();
  out.append(width - std::min(width, cell.width), ' ');
}

// A line without the blanks at its end.
void AppendLine(std::string line, std::string& out, const char* style = nullptr) {
  line.erase(line.find_last_not_of(' ') + 1);
  if (style != nullptr) out += style;
  out += line;
  if (style != nullptr) out += kPlain;
  out += '\n';
}

bool IsNumeric(const std::vector<std::vector<Cell>>& rows, size_t at) {
  bool hasNumbers = false;
  for (size_t row = 1; row < rows.size(); ++row) {
    std::string text;
    for (const Glyph& glyph : rows[row][at].glyphs) text += glyph.Bytes();
    if (text.empty()) continue;
    if (!IsNumber(text)) return false;
    hasNumbers = true;
  }
  return hasNumbers;
}

std::vector<Column> ColumnsOf(const std::vector<std::vector<Cell>>& rows,
                              const TableLayout& layout) {
  std::vector<Column> columns(rows.front().size());
  for (const std::vector<Cell>& row : rows) {
    for (size_t at = 0; at < row.size(); ++at) {
      columns[at].width = std::max(columns[at].width, row[at].width);
    }
  }
  if (!layout.forTerminal) return columns;
  for (size_t at = 0; at < columns.size(); ++at) columns[at].isNumeric = IsNumeric(rows, at);
  return columns;
}

size_t LineWidth(const std::vector<Column>& columns) {
  size_t width = columns.empty() ? 0 : kGap * (columns.size() - 1);
  for (const Column& column : columns) width += column.width;
  return width;
}

// Takes from the widest columns, always the widest first. False when none has more to give.
bool Narrow(std::vector<Column>& columns, size_t excess) {
  for (; excess > 0; --excess) {
    const auto widest = std::max_element(
        columns.begin(), columns.end(),
        [](const Column& left, const Column& right) { return left.width < right.width; });
    if (widest->width <= kNarrowestValue) return false;
    --widest->width;
  }
  return true;
}

// The cell in lines of that width, ended at a blank where there is one in the second half.
std::vector<Piece> Pieces(const Cell& cell, size_t width) {
  std::vector<Piece> pieces;
  const std::vector<Glyph>& glyphs = cell.glyphs;
  size_t begin = 0;
  while (begin < glyphs.size()) {
    Piece piece;
    size_t end = begin;
    size_t blank = begin;
    for (; end < glyphs.size() && piece.width + glyphs[end].Width() <= width; ++end) {
      piece.width += glyphs[end].Width();
      if (glyphs[end].Bytes() == " " && piece.width * 2 > width) blank = end;
    }
    if (end == begin) ++end;  // wider than the column: no way but to put it there
    if (end < glyphs.size() && blank > begin) end = blank + 1;
    piece.width = 0;
    for (size_t at = begin; at < end; ++at) {
      piece.text += glyphs[at].Bytes();
      piece.width += glyphs[at].Width();
    }
    pieces.push_back(std::move(piece));
    begin = end;
  }
  return pieces;
}

bool FitsInFewLines(const std::vector<std::vector<Cell>>& rows,
                    const std::vector<Column>& columns) {
  for (const std::vector<Cell>& row : rows) {
    for (size_t at = 0; at < row.size(); ++at) {
      if (row[at].width <= columns[at].width) continue;
      if (Pieces(row[at], columns[at].width).size() > kMostLines) return false;
    }
  }
  return true;
}

void AppendRow(const std::vector<Cell>& row, const std::vector<Column>& columns, const char* style,
               std::string& out) {
  std::vector<std::vector<Piece>> cells;
  cells.reserve(row.size());
  size_t lines = 1;
  for (size_t at = 0; at < row.size(); ++at) {
    cells.push_back(Pieces(row[at], columns[at].width));
    lines = std::max(lines, cells.back().size());
  }
  for (size_t number = 0; number < lines; ++number) {
    std::string line;
    for (size_t at = 0; at < row.size(); ++at) {
      const Piece piece = number < cells[at].size() ? cells[at][number] : Piece();
      const std::string padding(columns[at].width - std::min(columns[at].width, piece.width), ' ');
      line += columns[at].isNumeric ? padding + piece.text : piece.text + padding;
      line.append(kGap, ' ');
    }
    AppendLine(std::move(line), out, style);
  }
}

size_t WidthOfTerminal() {
  const char* given = std::getenv("COLUMNS");
  const auto wanted = WholeNumber(given == nullptr ? "" : given);
  if (wanted && *wanted > 0) return static_cast<size_t>(*wanted);
  winsize size = {};
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  return TableLayout().width;
}

// The value after the name, going on below itself where it is longer than the space for it.
void AppendValue(const Cell& value, size_t indent, const TableLayout& layout, std::string line,
                 std::string& out) {
  const size_t space = std::max(layout.width - std::min(layout.width, indent), kNarrowestValue);
  bool isFirst = true;
  for (const Piece& piece : Pieces(value, layout.forTerminal ? space : value.width)) {
    if (!isFirst) AppendLine(std::exchange(line, std::string(indent, ' ')), out);
    line += piece.text;
    isFirst = false;
  }
  AppendLine(std::move(line), out);
}

}  // namespace

TableLayout LayoutOfStandardOutput() {
  if (isatty(STDOUT_FILENO) == 0) return {};
  return {WidthOfTerminal(), true, StandardOutputWantsColour()};
}

void AppendTitle(const std::string& line, const TableLayout& layout, std::string& out) {
  out += layout.inColour ? kBold + line + kPlain : line;
  out += '\n';
}

bool AppendGrid(const std::vector<std::vector<Cell>>& rows, const TableLayout& layout,
                std::string& out) {
  std::vector<Column> columns = ColumnsOf(rows, layout);
  const size_t width = LineWidth(columns);
  if (width > layout.width) {
    const bool canWrap = layout.forTerminal && Narrow(columns, width - layout.width) &&
                         FitsInFewLines(rows, columns);
    if (!canWrap) return false;
  }
  AppendRow(rows.front(), columns, layout.inColour ? kBold : nullptr, out);
  std::string rule;
  for (const Column& column : columns) {
    rule += std::string(column.width, '-') + std::string(kGap, ' ');
  }
  AppendLine(std::move(rule), out, layout.inColour ? kFaint : nullptr);
  for (size_t at = 1; at < rows.size(); ++at) AppendRow(rows[at], columns, nullptr, out);
  return true;
}

void AppendRecord(const KorString& title, const std::vector<std::pair<Cell, Cell>>& values,
                  const TableLayout& layout, std::string& out) {
  AppendLine("#" + DisplayText(title.View()), out, layout.inColour ? kBold : nullptr);
  size_t nameWidth = 0;
  for (const auto& [name, value] : values) nameWidth = std::max(nameWidth, name.width);
  for (const auto& [name, value] : values) {
    std::string line(kGap, ' ');
    AppendPadded(name, nameWidth + kGap, line);
    AppendValue(value, nameWidth + 2 * kGap, layout, std::move(line), out);
  }
}

}  // namespace agent
