#include "korcore/obj_inv_functions.h"

#include <cstdint>
#include <memory>
#include <utility>

#include "korcore/obj_inv_sqlite.h"

namespace {

constexpr int64_t kMostComparisons = int64_t{1} << 28;

struct Function {
  const char* name;
  int arguments;
  const char* sql;
};

constexpr Function kFunctions[] = {{"instr", 2, "select instr(?1, ?2)"},
                                   {"replace", 3, "select replace(?1, ?2, ?3)"},
                                   {"trim", 2, "select trim(?1, ?2)"},
                                   {"ltrim", 2, "select ltrim(?1, ?2)"},
                                   {"rtrim", 2, "select rtrim(?1, ?2)"}};

// The library's own function, on a database of its own, where it has not been replaced.
struct Original {
  SqliteDatabase database;
  SqliteStatement statement;
};

std::unique_ptr<Original> Prepare(const char* sql) {
  auto original = std::make_unique<Original>();
  sqlite3* opened = nullptr;
  const int result =
      sqlite3_open_v2(":memory:", &opened, SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX, nullptr);
  original->database.reset(opened);
  if (result != SQLITE_OK) return nullptr;
  sqlite3_stmt* made = nullptr;
  const bool isPrepared = sqlite3_prepare_v2(opened, sql, -1, &made, nullptr) == SQLITE_OK;
  original->statement.reset(made);
  return isPrepared ? std::move(original) : nullptr;
}

void Call(sqlite3_context* context, int count, sqlite3_value** values) {
  const int64_t comparisons =
      int64_t{sqlite3_value_bytes(values[0])} * int64_t{sqlite3_value_bytes(values[1])};
  if (comparisons > kMostComparisons) {
    sqlite3_result_error(context, "the texts are too long to be compared", -1);
    return;
  }
  sqlite3_stmt* const statement =
      static_cast<Original*>(sqlite3_user_data(context))->statement.get();
  for (int n = 0; n < count; ++n) sqlite3_bind_value(statement, n + 1, values[n]);
  if (sqlite3_step(statement) == SQLITE_ROW) {
    sqlite3_result_value(context, sqlite3_column_value(statement, 0));
  } else {
    sqlite3_result_error(context, sqlite3_errmsg(sqlite3_db_handle(statement)), -1);
  }
  sqlite3_reset(statement);
  sqlite3_clear_bindings(statement);
}

void Destroy(void* original) {
  const std::unique_ptr<Original> owner(static_cast<Original*>(original));
}

}  // namespace

bool BoundSqliteFunctions(sqlite3* database) {
  constexpr int kFlags = SQLITE_UTF8 | SQLITE_DETERMINISTIC | SQLITE_INNOCUOUS;
  for (const Function& function : kFunctions) {
    std::unique_ptr<Original> original = Prepare(function.sql);
    if (original == nullptr) return false;
    // It destroys the original also when it fails.
    const int result =
        sqlite3_create_function_v2(database, function.name, function.arguments, kFlags,
                                   original.release(), Call, nullptr, nullptr, Destroy);
    if (result != SQLITE_OK) return false;
  }
  return true;
}
