#include "agent/report/change_section.h"

#include <string>

#include "agent/difference_text.h"
#include "agent/report/change_words.h"
#include "agent/report/measures.h"

namespace agent {
namespace {

bool IsWhole(const ObjBase& element) {
  return element.GetChange() == ObjChange::kAdded || element.GetChange() == ObjChange::kRemoved;
}

// Whether the element has a row, rather than only what is within it.
bool HasOwnRow(const ObjBase& element) {
  return element.HasMarks() && element.GetChange() != ObjChange::kModified;
}

// One row, cell by cell.
class Row {
 public:
  Row(const ObjBase& element, HtmlWriter& writer) : html(writer) {
    OpenRow(element, html);
    html << "<td>";
    WriteChangeBox(element, html);
    html << "</td>";
  }
  ~Row() { html << "</tr>\n"; }
  Row(const Row&) = delete;
  Row& operator=(const Row&) = delete;

  void Add(const KorString& text) { html << "<td>" << EscapedText(text) << "</td>"; }
  void Add(const std::string& text) { html << "<td>" << EscapedText(text) << "</td>"; }
  // An empty text would be overlooked.
  void AddState(const KorString* state) {
    if (state != nullptr && state->IsEmpty()) {
      html << "<td class=\"note\">(empty)</td>";
    } else {
      Add(state == nullptr ? KorString() : *state);
    }
  }

 private:
  HtmlWriter& html;
};

class Table {
 public:
  explicit Table(HtmlWriter* writer) : html(writer) {}

  void Take(const ObjType& type) {
    if (HasOwnRow(type)) TakeWhole(type, type, CountOf(type));
    if (IsWhole(type)) return;
    for (const ObjTypeAttr* attribute : type.Attributes()) Take(type, *attribute);
    for (const ObjInst* instance : type.Instances()) Take(type, *instance);
  }

  size_t Count() const { return count; }

 private:
  static std::string CountOf(const ObjType& type) {
    return CountText(type.Instances().Count(), "instance", "instances");
  }

  // A class or an instance; the content is told where it came or went with it.
  void TakeWhole(const ObjType& type, const ObjBase& element, const std::string& content) {
    ++count;
    if (html == nullptr) return;
    Row row(element, *html);
    row.Add(type.GetName());
    row.Add(&element == &type ? KorString() : element.GetName());
    row.Add(std::string());
    row.Add(element.GetChange() == ObjChange::kRemoved ? content : std::string());
    row.Add(element.GetChange() == ObjChange::kAdded ? content : std::string());
  }

  void Take(const ObjType& type, const ObjTypeAttr& attribute) {
    if (!attribute.HasMarks()) return;
    ++count;
    if (html == nullptr) return;
    Row row(attribute, *html);
    row.Add(type.GetName());
    row.Add(std::string());
    row.Add(attribute.GetName());
    row.Add(std::string());
    row.Add("definition" + DefinitionText(attribute));
  }

  void Take(const ObjType& type, const ObjInst& instance) {
    if (HasOwnRow(instance)) {
      TakeWhole(type, instance, CountText(instance.Attributes().Count(), "value", "values"));
    }
    if (IsWhole(instance)) return;
    for (const ObjInstAttr* value : instance.Attributes()) Take(type, instance, *value);
  }

  void Take(const ObjType& type, const ObjInst& instance, const ObjInstAttr& value) {
    if (!value.HasMarks()) return;
    ++count;
    if (html == nullptr) return;
    const bool isGone = value.GetChange() == ObjChange::kRemoved;
    Row row(value, *html);
    row.Add(type.GetName());
    row.Add(instance.GetName());
    row.Add(value.GetName());
    row.AddState(isGone ? &value.GetValue() : value.GetPreviousValue());
    row.AddState(isGone ? nullptr : &value.GetValue());
  }

  HtmlWriter* html;  // null: only counted
  size_t count = 0;
};

}  // namespace

size_t CountChanges(const ObjInv& marked) {
  Table table(nullptr);
  for (const ObjType* type : marked.Objects()) table.Take(*type);
  return table.Count();
}

void WriteChangeTable(const ObjInv& marked, HtmlWriter& html) {
  html << "<div class=\"scroll\" role=\"region\" aria-labelledby=\"changes-name\" tabindex=\"0\">\n"
          "<table class=\"grid\">\n<thead><tr><th scope=\"col\">Change</th>"
          "<th scope=\"col\">Class</th><th scope=\"col\">Instance</th>"
          "<th scope=\"col\">Attribute</th><th scope=\"col\">Before</th>"
          "<th scope=\"col\">Now</th></tr></thead>\n<tbody>\n";
  Table table(&html);
  for (const ObjType* type : marked.Objects()) table.Take(*type);
  html << "</tbody>\n</table>\n</div>\n";
}

}  // namespace agent
