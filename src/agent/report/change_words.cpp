#include "agent/report/change_words.h"

namespace agent {

std::string_view ChangeWord(const ObjBase& element) {
  switch (element.GetChange()) {
    case ObjChange::kAdded:
      return "added";
    case ObjChange::kRemoved:
      return "removed";
    case ObjChange::kModified:
      return "modified";
    case ObjChange::kNone:
      break;
  }
  return element.HasMarks() ? "moved" : "";
}

void WriteChangeBox(const ObjBase& element, HtmlWriter& html) {
  const EscapedText word(ChangeWord(element));
  if (word.Html().empty()) return;
  html << "<span class=\"tag " << word << "\">" << word << "</span>";
}

void WriteChangeTag(const ObjBase& element, HtmlWriter& html) {
  if (!ChangeWord(element).empty()) html << " ";
  WriteChangeBox(element, html);
}

void OpenRow(const ObjBase& element, HtmlWriter& html) {
  const EscapedText word(ChangeWord(element));
  if (word.Html().empty()) {
    html << "<tr>";
  } else {
    html << "<tr class=\"" << word << "\">";
  }
}

}  // namespace agent
