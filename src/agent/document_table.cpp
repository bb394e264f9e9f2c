#include "agent/document_table.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "agent/display_text.h"

namespace agent {
namespace {

constexpr size_t kGap = 2;              // between two columns
constexpr size_t kNarrowestValue = 16;  // a wrapped value never gets less

struct Cell {
  std::vector<Glyph> glyphs;
  size_t width = 0;

  explicit Cell(const KorString& text)
      : glyphs(DisplayGlyphs(text.View())), width(DisplayWidth(glyphs)) {}
};

void AppendGlyphs(const std::vector<Glyph>& glyphs, std::string& out) {
  for (const Glyph& glyph : glyphs) out += glyph.bytes;
}

void AppendPadded(const Cell& cell, size_t width, std::string& out) {
  AppendGlyphs(cell.glyphs, out);
  out.append(width - std::min(width, cell.width), ' ');
}

// A line without the blanks at its end.
void AppendLine(std::string line, std::string& out) {
  line.erase(line.find_last_not_of(' ') + 1);
  out += line;
  out += '\n';
}

// Attribute names that are defined or used, in that order: a value may stand without a definition.
std::vector<KorString> ColumnNames(const ObjType& type) {
  std::vector<KorString> names;
  for (const ObjTypeAttr* attribute : type.Attributes()) names.push_back(attribute->GetName());
  for (const ObjInst* instance : type.Instances()) {
    for (const ObjInstAttr* value : instance->Attributes()) {
      const bool isDefined = type.Attributes().Get(value->GetName()) != nullptr;
      if (isDefined || std::find(names.begin(), names.end(), value->GetName()) != names.end()) {
        continue;
      }
      names.push_back(value->GetName());
    }
  }
  return names;
}

using Row = std::vector<Cell>;

Row InstanceRow(const ObjInst& instance, const std::vector<KorString>& names) {
  Row row{Cell(instance.GetName())};
  for (const KorString& name : names) {
    const ObjInstAttr* value = instance.Attributes().Get(name);
    row.emplace_back(value == nullptr ? KorString() : value->GetValue());
  }
  return row;
}

std::vector<Row> Grid(const ObjType& type) {
  const std::vector<KorString> names = ColumnNames(type);
  Row heading{Cell("#")};
  for (const KorString& name : names) heading.emplace_back(name);
  std::vector<Row> rows{std::move(heading)};
  for (const ObjInst* instance : type.Instances()) rows.push_back(InstanceRow(*instance, names));
  return rows;
}

std::vector<size_t> ColumnWidths(const std::vector<Row>& rows) {
  std::vector<size_t> widths(rows.front().size(), 0);
  for (const Row& row : rows) {
    for (size_t at = 0; at < row.size(); ++at) widths[at] = std::max(widths[at], row[at].width);
  }
  return widths;
}

size_t LineWidth(const std::vector<size_t>& widths) {
  size_t width = kGap * (widths.size() - 1);
  for (const size_t column : widths) width += column;
  return width;
}

void AppendGrid(const std::vector<Row>& rows, const std::vector<size_t>& widths, std::string& out) {
  bool isHeading = true;
  for (const Row& row : rows) {
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

void AppendInstance(const ObjInst& instance, const TableLayout& layout, std::string& out) {
  AppendLine("#" + DisplayText(instance.GetName().View()), out);
  size_t nameWidth = 0;
  for (const ObjInstAttr* value : instance.Attributes()) {
    nameWidth = std::max(nameWidth, Cell(value->GetName()).width);
  }
  for (const ObjInstAttr* value : instance.Attributes()) {
    std::string line(kGap, ' ');
    AppendPadded(Cell(value->GetName()), nameWidth + kGap, line);
    AppendValue(Cell(value->GetValue()), nameWidth + 2 * kGap, layout, std::move(line), out);
  }
}

void AppendClass(const ObjType& type, const TableLayout& layout, std::string& out) {
  const Cell title(type.GetName());
  AppendGlyphs(title.glyphs, out);
  out += '\n' + std::string(title.width, '=') + '\n';
  if (type.Instances().Count() == 0) {
    out += "(none)\n";
    return;
  }
  const std::vector<Row> rows = Grid(type);
  const std::vector<size_t> widths = ColumnWidths(rows);
  if (LineWidth(widths) <= layout.width) {
    AppendGrid(rows, widths, out);
    return;
  }
  for (const ObjInst* instance : type.Instances()) AppendInstance(*instance, layout, out);
}

}  // namespace

std::string DocumentToTables(const ObjInv& document, const TableLayout& layout) {
  std::string out;
  for (const ObjType* type : document.Objects()) {
    if (!out.empty()) out += '\n';
    AppendClass(*type, layout, out);
  }
  return out;
}

}  // namespace agent
