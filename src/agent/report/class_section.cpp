#include "agent/report/class_section.h"

#include <algorithm>
#include <unordered_set>
#include <vector>

#include "agent/report/change_words.h"
#include "agent/report/measures.h"

namespace agent {
namespace {

struct Column {
  KorString name;
  const ObjTypeAttr* definition = nullptr;  // null: values without a definition
  bool hasValues = false;
  bool isNumeric = true;  // all of its values
};

void Look(const ObjInst& instance, Column& column) {
  const ObjInstAttr* value = instance.Attributes().Get(column.name);
  if (value == nullptr) return;
  if (value->HasMarks()) column.hasValues = true;
  if (value->GetValue().IsEmpty()) return;
  column.hasValues = true;
  column.isNumeric = column.isNumeric && IsNumber(value->GetValue().View());
}

// What is defined, in its order, and after it what is not.
std::vector<Column> Columns(const ObjType& type) {
  std::vector<Column> columns;
  std::unordered_set<KorString> known;
  for (const ObjTypeAttr* attribute : type.Attributes()) {
    columns.push_back({attribute->GetName(), attribute});
    known.insert(attribute->GetName());
  }
  for (const ObjInst* instance : type.Instances()) {
    for (const ObjInstAttr* value : instance->Attributes()) {
      if (known.insert(value->GetName()).second) columns.push_back({value->GetName()});
    }
  }
  for (Column& column : columns) {
    for (const ObjInst* instance : type.Instances()) Look(*instance, column);
  }
  return columns;
}

void WriteName(const Column& column, HtmlWriter& html) {
  html << EscapedText(column.name);
  if (column.definition == nullptr) return;
  if (!column.definition->GetUnit().IsEmpty()) {
    html << " <span class=\"unit\">" << EscapedText(column.definition->GetUnit()) << "</span>";
  }
  WriteChangeTag(*column.definition, html);
}

// What it was stands behind what it is.
void WriteValue(const ObjInstAttr& value, HtmlWriter& html) {
  const KorString* previous = value.GetPreviousValue();
  switch (value.GetChange()) {
    case ObjChange::kAdded:
      html << "<ins>" << EscapedText(value.GetValue()) << "</ins>";
      return;
    case ObjChange::kRemoved:
      html << "<del>" << EscapedText(value.GetValue()) << "</del>";
      return;
    case ObjChange::kModified:
      html << "<ins>" << EscapedText(value.GetValue()) << "</ins>";
      if (previous == nullptr) return;
      html << " <del>";
      if (previous->IsEmpty()) html << "(empty)";
      html << EscapedText(*previous) << "</del>";
      return;
    case ObjChange::kNone:
      break;
  }
  html << EscapedText(value.GetValue());
}

void OpenCell(const Column& column, const ObjInstAttr* value, bool isWithinWhole,
              HtmlWriter& html) {
  const bool isMarked = value != nullptr && value->HasMarks() && !isWithinWhole;
  if (column.isNumeric) {
    html << (isMarked ? Markup("<td class=\"num changed\">") : Markup("<td class=\"num\">"));
  } else {
    html << (isMarked ? Markup("<td class=\"changed\">") : Markup("<td>"));
  }
}

// In an instance that came or went as a whole the row says so for every value.
void WriteCell(const ObjInst& instance, const Column& column, HtmlWriter& html) {
  const ObjInstAttr* value = instance.Attributes().Get(column.name);
  const bool isWithinWhole =
      instance.GetChange() == ObjChange::kAdded || instance.GetChange() == ObjChange::kRemoved;
  OpenCell(column, value, isWithinWhole, html);
  if (value != nullptr && isWithinWhole) {
    html << EscapedText(value->GetValue());
  } else if (value != nullptr) {
    WriteValue(*value, html);
  }
  html << "</td>";
}

void WriteHeading(const Column& column, HtmlWriter& html) {
  html << "<th scope=\"col\"";
  if (column.isNumeric) html << " class=\"num\"";
  if (column.definition != nullptr && !column.definition->GetDesc().IsEmpty()) {
    html << " title=\"" << EscapedText(column.definition->GetDesc()) << "\"";
  }
  html << ">";
  WriteName(column, html);
  html << "</th>";
}

void WriteGrid(const ObjType& type, const std::vector<Column>& columns, HtmlWriter& html) {
  html << "<table class=\"grid\">\n<thead><tr><th scope=\"col\">Instance</th>";
  for (const Column& column : columns) WriteHeading(column, html);
  html << "</tr></thead>\n<tbody>\n";
  for (const ObjInst* instance : type.Instances()) {
    OpenRow(*instance, html);
    html << "<th scope=\"row\">" << EscapedText(instance->GetName());
    WriteChangeTag(*instance, html);
    html << "</th>";
    for (const Column& column : columns) WriteCell(*instance, column, html);
    html << "</tr>\n";
  }
  html << "</tbody>\n</table>\n";
}

void WriteRecord(const ObjInst& instance, const std::vector<Column>& columns, HtmlWriter& html) {
  html << "<table class=\"record\">\n<thead><tr><th scope=\"col\">Attribute</th>"
          "<th scope=\"col\">Value</th></tr></thead>\n<tbody>\n";
  for (Column column : columns) {
    const bool isDescribed =
        column.definition != nullptr && !column.definition->GetDesc().IsEmpty();
    html << "<tr><th scope=\"row\">";
    WriteName(column, html);
    if (isDescribed) {
      html << "<span class=\"note\">" << EscapedText(column.definition->GetDesc()) << "</span>";
    }
    html << "</th>";
    column.isNumeric = false;  // values of many kinds stand below each other
    WriteCell(instance, column, html);
    html << "</tr>\n";
  }
  html << "</tbody>\n</table>\n";
}

void WriteTitle(const ObjType& type, size_t number, HtmlWriter& html) {
  html << "<h3 id=\"class-" << number << "-name\"><span>" << EscapedText(type.GetName())
       << "</span>";
  WriteChangeTag(type, html);
  html << " <span class=\"count\">";
  if (type.Instances().Count() == 1) {
    const ObjInst& instance = **type.Instances().begin();
    html << "instance " << EscapedText(instance.GetName());
    if (ChangeWord(instance) != ChangeWord(type)) WriteChangeTag(instance, html);
  } else {
    html << type.Instances().Count() << " instances";
  }
  html << "</span></h3>\n";
}

// So that nobody looks for a column that has nothing to show.
void WriteAbsent(const std::vector<Column>& absent, HtmlWriter& html) {
  if (absent.empty()) return;
  html << "<p class=\"note\">Without values: ";
  for (const Column& column : absent) {
    if (&column != &absent.front()) html << ", ";
    html << EscapedText(column.name);
  }
  html << "</p>\n";
}

}  // namespace

void WriteClass(const ObjType& type, size_t number, HtmlWriter& html) {
  std::vector<Column> columns = Columns(type);
  const auto firstAbsent =
      std::stable_partition(columns.begin(), columns.end(), [](const Column& column) {
        return column.hasValues || (column.definition != nullptr && column.definition->HasMarks());
      });
  const std::vector<Column> absent(firstAbsent, columns.end());
  columns.erase(firstAbsent, columns.end());

  html << "<section class=\"class\" id=\"class-" << number << "\">\n";
  WriteTitle(type, number, html);
  html << "<div class=\"scroll\" role=\"region\" aria-labelledby=\"class-" << number
       << "-name\" tabindex=\"0\">\n";
  if (type.Instances().Count() == 1) {
    WriteRecord(**type.Instances().begin(), columns, html);
  } else {
    WriteGrid(type, columns, html);
  }
  html << "</div>\n";
  WriteAbsent(absent, html);
  html << "</section>\n";
}

}  // namespace agent
