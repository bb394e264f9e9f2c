// SQL functions whose cost is the product of the lengths of their arguments.

#pragma once

#include <sqlite3.h>

// Puts bounded ones in their place: instr, replace and the trims of a set of characters. They mean
// the same, but a call that could take long is an error, as nothing can interrupt it. False when
// the library does not allow it.
bool BoundSqliteFunctions(sqlite3* database);
