#include "agent/document_table.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace agent {
namespace {

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

// "Free Percentage (%)".
KorString WithUnit(const ObjType& type, const KorString& name) {
  const ObjTypeAttr* attribute = type.Attributes().Get(name);
  if (attribute == nullptr || attribute->GetUnit().IsEmpty()) return name;
  return name + " (" + attribute->GetUnit() + ")";
}

std::vector<Row> Grid(const ObjType& type, const TableLayout& layout) {
  const std::vector<KorString> names = ColumnNames(type);
  Row heading{Cell("#")};
  for (const KorString& name : names) {
    heading.emplace_back(layout.forTerminal ? WithUnit(type, name) : name);
  }
  std::vector<Row> rows{std::move(heading)};
  for (const ObjInst* instance : type.Instances()) rows.push_back(InstanceRow(*instance, names));
  return rows;
}

void AppendInstance(const ObjType& type, const ObjInst& instance, const TableLayout& layout,
                    std::string& out) {
  std::vector<std::pair<Cell, Cell>> values;
  for (const ObjInstAttr* value : instance.Attributes()) {
    const KorString& name = value->GetName();
    values.emplace_back(layout.forTerminal ? WithUnit(type, name) : name, value->GetValue());
  }
  AppendRecord(instance.GetName(), values, layout, out);
}

void AppendClass(const ObjType& type, const TableLayout& layout, std::string& out) {
  const Cell title(type.GetName());
  AppendTitle(DisplayText(type.GetName().View()), layout, out);
  out += std::string(title.width, '=') + '\n';
  if (type.Instances().Count() == 0) {
    out += "(none)\n";
    return;
  }
  if (AppendGrid(Grid(type, layout), layout, out)) return;
  for (const ObjInst* instance : type.Instances()) AppendInstance(type, *instance, layout, out);
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
