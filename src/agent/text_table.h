// Rows and records of cells as text for a terminal.

#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "agent/display_text.h"
#include "kor/string.h"

namespace agent {

struct TableLayout {
  size_t width = 100;
  // For a person at a terminal: values too long for the width go on in the next line, numbers stand
  // below each other's ends, headings tell units. Else a value makes its line as long as it is.
  bool forTerminal = false;
  bool inColour = false;
};

// COLUMNS, else the terminal's own width; for everything else a width that suits a page.
TableLayout LayoutOfStandardOutput();

// A text that is shown with its escapes (agent/display_text.h).
struct Cell {
  std::vector<Glyph> glyphs;
  size_t width = 0;

  explicit Cell(const KorString& text)
      : glyphs(DisplayGlyphs(text.View())), width(DisplayWidth(glyphs)) {}
};

// A line that stands above others, in colour if that is wanted.
void AppendTitle(const std::string& line, const TableLayout& layout, std::string& out);

// The rows, all of one length, as columns below the first row and a rule; on a terminal the widest
// columns become narrower where that makes them fit. False, and nothing is appended, where they are
// wider than the layout.
bool AppendGrid(const std::vector<std::vector<Cell>>& rows, const TableLayout& layout,
                std::string& out);

// "#title" and a line for each name and value.
void AppendRecord(const KorString& title, const std::vector<std::pair<Cell, Cell>>& values,
                  const TableLayout& layout, std::string& out);

}  // namespace agent
