// SQLite's handles for the dump's writer and its reader.

#pragma once

#include <sqlite3.h>

#include <memory>
#include <string_view>

#include "kor/string.h"

struct SqliteClose {
  void operator()(sqlite3* database) const { sqlite3_close(database); }
};
using SqliteDatabase = std::unique_ptr<sqlite3, SqliteClose>;

struct SqliteFinalize {
  void operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }
};
using SqliteStatement = std::unique_ptr<sqlite3_stmt, SqliteFinalize>;

// Opens an existing file with the given URI parameters ("mode=ro"). Null, with the reason, when
// that fails.
SqliteDatabase SqliteOpen(const KorString& path, std::string_view parameters, KorString& error);
