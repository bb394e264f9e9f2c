#include "agent/text_table.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>

namespace agent {
namespace {

constexpr size_t kGap = 2;              // between two columns
constexpr size_t kNarrowestValue = 16;  // a wrapped value never gets less

void AppendPadded(const Cell& cell, size_t width, std::string& out) {
  for (const Glyph& glyph : cell.glyphs) out += glyph.bytes;
  out.append(width - std::min(width, cell.width), ' ');
}

// A line without the blanks at its end.
void AppendLine(std::string line, std::string& out) {
  line.erase(line.find_last_not_of(' ') + 1);
  out += line;
  out += '\n';
}

std::vector<size_t> ColumnWidths(const std::vector<std::vector<Cell>>& rows) {
  std::vector<size_t> widths(rows.front().size(), 0);
  for (const std::vector<Cell>& row : rows) {
    for (size_t at = 0; at < row.size(); ++at) widths[at] = std::max(widths[at], row[at].width);
  }
  return widths;
}

size_t LineWidth(const std::vector<size_t>& widths) {
  size_t width = widths.empty() ? 0 : kGap * (widths.size() - 1);
  for (const size_t column : widths) width += column;
  return width;
}

// The value after the name, going on below itself where it is longer than the space for it.
void AppendValue(const Cell& value, size_t indent, const TableLayout& layout, std::string line,
                 std::string& out) {
  const size_t space = std::max(layout.width - std::min(layout.width, indent), kNarrowestValue);
  size_t used = 0;
  for (const Glyph& glyph : value.glyphs) {
    if (layout.wrap && used + glyph.width > space) {
      AppendLine(std::exchange(line, std::string(indent, ' ')), out);
      used = 0;
    }
    line += glyph.bytes;
    used += glyph.width;
  }
  AppendLine(std::move(line), out);
}

}  // namespace

TableLayout LayoutOfStandardOutput() {
  TableLayout layout;
  winsize size = {};
  if (isatty(STDOUT_FILENO) == 0) return layout;
  layout.wrap = true;
  if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) layout.width = size.ws_col;
  return layout;
}

bool AppendGrid(const std::vector<std::vector<Cell>>& rows, const TableLayout& layout,
                std::string& out) {
  const std::vector<size_t> widths = ColumnWidths(rows);
  if (LineWidth(widths) > layout.width) return false;
  bool isHeading = true;
  for (const std::vector<Cell>& row : rows) {
    std::string line;
    std::string rule;
    for (size_t at = 0; at < row.size(); ++at) {
      AppendPadded(row[at], widths[at] + kGap, line);
      rule += std::string(widths[at], '-') + std::string(kGap, ' ');
    }
    AppendLine(std::move(line), out);
    if (isHeading) AppendLine(std::move(rule), out);
    isHeading = false;
  }
  return true;
}

void AppendRecord(const KorString& title, const std::vector<std::pair<Cell, Cell>>& values,
                  const TableLayout& layout, std::string& out) {
  AppendLine("#" + DisplayText(title.View()), out);
  size_t nameWidth = 0;
  for (const auto& [name, value] : values) nameWidth = std::max(nameWidth, name.width);
  for (const auto& [name, value] : values) {
    std::string line(kGap, ' ');
    AppendPadded(name, nameWidth + kGap, line);
    AppendValue(value, nameWidth + 2 * kGap, layout, std::move(line), out);
  }
}

}  // namespace agent
