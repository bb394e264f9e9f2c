#include <chrono>
#include <cstddef>
#include <cstring>
#include <string_view>

#include "kor/file.h"
#include "korcore/obj_inv.h"
#include "korcore/obj_inv_functions.h"
#include "korcore/obj_inv_sqlite.h"

namespace {

using Clock = std::chrono::steady_clock;

// What the container keeps for a value besides its bytes, roughly.
constexpr size_t kValueUpkeep = 64;
// A call of a function cannot be interrupted: the time of a query is bounded only as far as no call
// takes long.
constexpr int kLongestText = 1'048'576;
constexpr size_t kLongestQuery = 1'048'576;
constexpr int kLongestPattern = 1'000;
constexpr int kDeepestExpression = 200;
constexpr int kMostSelects = 50;
constexpr int kStepsBetweenClockReadings = 10;

constexpr const char* kQueryKey = "Query";
constexpr const char* kColumnsKey = "Columns";
constexpr const char* kRowsKey = "Rows";
constexpr const char* kValuesKey = "Values";
constexpr const char* kTruncatedKey = "Truncated";
constexpr const char* kErrorKey = "Error";

// What loads code, and what takes the product of the lengths of two texts.
bool IsRefused(const char* function) {
  for (const char* const refused : {"load_extension", "fts3_tokenizer", "json_patch"}) {
    if (std::strcmp(function, refused) == 0) return true;
  }
  return false;
}

// Allows to read and nothing else. Pragmas that pose as tables come here as pragmas.
int Authorise(void* /*user*/, int action, const char* /*first*/, const char* second,
              const char* /*database*/, const char* /*trigger*/) {
  switch (action) {
    case SQLITE_SELECT:
    case SQLITE_READ:
    case SQLITE_RECURSIVE:
      return SQLITE_OK;
    case SQLITE_FUNCTION:
      return IsRefused(second) ? SQLITE_DENY : SQLITE_OK;
    default:
      return SQLITE_DENY;
  }
}

int IsTooLate(void* deadline) {
  return Clock::now() >= *static_cast<const Clock::time_point*>(deadline) ? 1 : 0;
}

bool Confine(sqlite3* database, Clock::time_point& deadline) {
  sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0, nullptr);
  sqlite3_db_config(database, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0, nullptr);
  sqlite3_limit(database, SQLITE_LIMIT_ATTACHED, 0);
  sqlite3_limit(database, SQLITE_LIMIT_LENGTH, kLongestText);
  sqlite3_limit(database, SQLITE_LIMIT_LIKE_PATTERN_LENGTH, kLongestPattern);
  sqlite3_limit(database, SQLITE_LIMIT_EXPR_DEPTH, kDeepestExpression);
  sqlite3_limit(database, SQLITE_LIMIT_COMPOUND_SELECT, kMostSelects);
  sqlite3_limit(database, SQLITE_LIMIT_WORKER_THREADS, 0);
  sqlite3_set_authorizer(database, Authorise, nullptr);
  sqlite3_progress_handler(database, kStepsBetweenClockReadings, IsTooLate, &deadline);
  return BoundSqliteFunctions(database);
}

KorString ColumnText(sqlite3_stmt* statement, int column) {
  // Texts are asked for as blobs too: the dump's encoding is the one that we want.
  const bool isBytes = sqlite3_column_type(statement, column) == SQLITE_BLOB;
  const void* bytes = isBytes ? sqlite3_column_blob(statement, column)
                              : static_cast<const void*>(sqlite3_column_text(statement, column));
  if (bytes == nullptr) return {};
  return {static_cast<const char*>(bytes),
          static_cast<size_t>(sqlite3_column_bytes(statement, column))};
}

// One query on one dump; Run() is called once.
class DumpQuery {
 public:
  DumpQuery(const ObjQueryLimits& queryLimits, KorContainer& emptyResult)
      : limits(queryLimits), result(emptyResult) {}

  bool Run(const KorString& path, const KorString& query) {
    if (!FileExists(path)) return Fail("There is no inventory dump '" + path + "'");
    // SQLite would wait for who writes to a pipe.
    if (FileIsSpecial(path)) return FailToOpen(path, "it is not a file");
    KorString error;
    // A dump is never changed in place, only replaced: no locks and no journal are needed.
    database = SqliteOpen(path, "mode=ro&immutable=1", error);
    if (database == nullptr) return FailToOpen(path, error);
    if (!Confine(database.get(), deadline)) return FailWith(SQLITE_ERROR);
    if (!Prepare(query)) return false;
    ReadColumns();
    return ReadRows();
  }

 private:
  bool Prepare(const KorString& query) {
    if (query.GetLength() > kLongestQuery) return Fail("The query is too long");
    if (query.View().find('\0') != std::string_view::npos) {
      return Fail("The query holds a NUL byte");
    }
    const char* rest = nullptr;
    if (!PrepareOne(query.CStr(), statement, rest)) return false;
    if (statement == nullptr) return Fail("The query holds no statement");
    SqliteStatement second;
    const char* end = rest;
    while (*rest != '\0' && second == nullptr) {
      if (!PrepareOne(rest, second, end)) return false;
      if (end == rest) break;
      rest = end;
    }
    return second == nullptr || Fail("The query holds more than one statement");
  }

  bool PrepareOne(const char* sql, SqliteStatement& prepared, const char*& rest) {
    sqlite3_stmt* made = nullptr;
    const int code = sqlite3_prepare_v2(database.get(), sql, -1, &made, &rest);
    prepared.reset(made);
    return code == SQLITE_OK || FailWith(code);
  }

  void ReadColumns() {
    const int count = sqlite3_column_count(statement.get());
    for (int column = 0; column < count; ++column) {
      const char* name = sqlite3_column_name(statement.get(), column);
      result.SetString(kColumnsKey, name, static_cast<size_t>(column));
    }
  }

  bool ReadRows() {
    size_t rows = 0;
    size_t bytes = 0;
    int code = SQLITE_ROW;
    while ((code = sqlite3_step(statement.get())) == SQLITE_ROW) {
      KorContainer row;
      bytes += ReadRow(row);
      if (rows == limits.rows || bytes > limits.bytes) return Finish(true);
      result.SetContainer(kRowsKey, row, rows++);
    }
    if (code == SQLITE_INTERRUPT && rows != 0) return Finish(true);
    return code == SQLITE_DONE ? Finish(false) : FailWith(code);
  }

  size_t ReadRow(KorContainer& row) {
    size_t bytes = 0;
    const int count = sqlite3_data_count(statement.get());
    for (int column = 0; column < count; ++column) {
      const KorString value = ColumnText(statement.get(), column);
      bytes += value.GetLength() + kValueUpkeep;
      row.SetString(kValuesKey, value, static_cast<size_t>(column));
    }
    return bytes;
  }

  bool Finish(bool isTruncated) { return result.SetBool(kTruncatedKey, isTruncated); }

  bool FailWith(int code) {
    if (code == SQLITE_AUTH) return Fail("The query does more than read the inventory dump");
    if (code == SQLITE_INTERRUPT) return Fail("The query takes too long");
    return Fail(KorString(sqlite3_errmsg(database.get())));
  }

  bool FailToOpen(const KorString& path, const KorString& reason) {
    return Fail("Cannot open the inventory dump '" + path + "': " + reason);
  }

  bool Fail(const KorString& reason) {
    result.Clear();
    result.SetString(kErrorKey, reason);
    return false;
  }

  const ObjQueryLimits& limits;
  KorContainer& result;
  Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(limits.milliseconds);
  SqliteDatabase database;
  SqliteStatement statement;
};

}  // namespace

bool ObjInv::Query(const KorString& path, KorContainer& container, const ObjQueryLimits& limits) {
  KorString query;
  const bool hasQuery = container.GetString(kQueryKey, query);
  container.Clear();
  if (!hasQuery) {
    container.SetString(kErrorKey, "There is no text \"Query\"");
    return false;
  }
  return DumpQuery(limits, container).Run(path, query);
}
