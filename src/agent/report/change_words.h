// How a report says that something has changed.

#pragma once

#include <string_view>

#include "agent/report/html_writer.h"
#include "korcore/obj_base.h"

namespace agent {

// "added", "removed", "modified" or "moved"; empty when nothing has changed.
std::string_view ChangeWord(const ObjBase& element);

// The word in a box; nothing when nothing has changed.
void WriteChangeBox(const ObjBase& element, HtmlWriter& html);
// The same behind a name, after a blank.
void WriteChangeTag(const ObjBase& element, HtmlWriter& html);

// Opens a table's row with the change as its class.
void OpenRow(const ObjBase& element, HtmlWriter& html);

}  // namespace agent
