// The parts of the table that are measured inside of one process.

#pragma once

namespace bench {

void FilterRows();
void DocumentRows();
void FrameworkRows();
void ConsoleRows();

}  // namespace bench
