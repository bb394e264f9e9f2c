#include <array>
#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>

#include "kor/atomic_file.h"
#include "kor/debug.h"
#include "kor/reason.h"
#include "korcore/obj_inv.h"
#include "korcore/obj_inv_sqlite.h"
#include "korcore/obj_inv_xml.h"
#include "korcore/utf8.h"

namespace {

// SQLite gives no more than 2,000 columns.
constexpr size_t kViewAttributes = 1'900;
constexpr std::string_view kInstanceColumn = "Instance";
// All that the schema itself names; SQLite has one name space for tables, views and indexes.
constexpr std::array<std::string_view, 8> kSchemaNames = {"document",    "class",   "attribute",
                                                          "instance",    "value",   "attribute_of",
                                                          "instance_of", "value_of"};

constexpr const char* kSchema = R"(
PRAGMA journal_mode = OFF;
PRAGMA synchronous = OFF;
PRAGMA locking_mode = EXCLUSIVE;
BEGIN;
PRAGMA user_version = 1;
CREATE TABLE document (name TEXT, kind TEXT, checksum TEXT, last_checksum TEXT);
CREATE TABLE class (id INTEGER PRIMARY KEY, name TEXT, change TEXT);
CREATE TABLE attribute (id INTEGER PRIMARY KEY, class INTEGER, name TEXT, type TEXT, unit TEXT,
                        description TEXT, change TEXT);
CREATE TABLE instance (id INTEGER PRIMARY KEY, class INTEGER, name TEXT, change TEXT);
CREATE TABLE value (id INTEGER PRIMARY KEY, instance INTEGER, name TEXT, value TEXT,
                    previous TEXT, change TEXT);
)";

constexpr const char* kIndexes = R"(
CREATE UNIQUE INDEX attribute_of ON attribute (class, name);
CREATE UNIQUE INDEX instance_of ON instance (class, id);
CREATE UNIQUE INDEX value_of ON value (instance, name);
)";

class DumpError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

bool IsText(std::string_view bytes) {
  return bytes.find('\0') == std::string_view::npos && IsUtf8(bytes);
}

// As SQLite compares names.
std::string Folded(std::string_view name) {
  std::string folded(name);
  for (char& character : folded) {
    if (character >= 'A' && character <= 'Z') character = static_cast<char>(character + 32);
  }
  return folded;
}

std::string Quoted(std::string_view text, char quote) {
  std::string quoted(1, quote);
  for (const char character : text) {
    if (character == quote) quoted += quote;
    quoted += character;
  }
  return quoted += quote;
}

// Gives each name a form that no other has: "Disk", "disk (2)".
class UniqueNames {
 public:
  void Take(std::string_view name) { taken.insert(Folded(name)); }

  std::string MakeUnique(std::string_view name) {
    if (taken.insert(Folded(name)).second) return std::string(name);
    size_t& number = lastNumber[Folded(name)];
    if (number == 0) number = 1;
    while (true) {
      const std::string candidate = std::string(name) + " (" + std::to_string(++number) + ")";
      if (taken.insert(Folded(candidate)).second) return candidate;
    }
  }

 private:
  std::unordered_set<std::string> taken;
  std::unordered_map<std::string, size_t> lastNumber;
};

// A prepared statement that inserts one row after the other.
class Insertion {
 public:
  Insertion(sqlite3* openDatabase, const char* sql) : database(openDatabase) {
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v2(database, sql, -1, &prepared, nullptr) != SQLITE_OK) {
      throw DumpError(sqlite3_errmsg(database));
    }
    statement.reset(prepared);
  }

  // The texts must live until Run().
  Insertion& Bind(const KorString& text) {
    const auto length = static_cast<sqlite3_uint64>(text.GetLength());
    Check(IsText(text.View())
              ? sqlite3_bind_text64(statement.get(), ++column, text.CStr(), length, SQLITE_STATIC,
                                    SQLITE_UTF8)
              : sqlite3_bind_blob64(statement.get(), ++column, text.CStr(), length, SQLITE_STATIC));
    return *this;
  }

  // NULL for null.
  Insertion& Bind(const KorString* text) {
    if (text != nullptr) return Bind(*text);
    Check(sqlite3_bind_null(statement.get(), ++column));
    return *this;
  }

  Insertion& Bind(sqlite3_int64 number) {
    Check(sqlite3_bind_int64(statement.get(), ++column, number));
    return *this;
  }

  Insertion& Bind(ObjChange change) {
    const std::string_view word = obj_inv_xml::ChangeWord(change);
    if (word.empty()) return Bind(static_cast<const KorString*>(nullptr));
    Check(sqlite3_bind_text64(statement.get(), ++column, word.data(), word.size(), SQLITE_STATIC,
                              SQLITE_UTF8));
    return *this;
  }

  void Run() {
    Check(sqlite3_step(statement.get()));
    Check(sqlite3_reset(statement.get()));
    column = 0;
  }

 private:
  void Check(int result) {
    if (result != SQLITE_OK && result != SQLITE_DONE) throw DumpError(sqlite3_errmsg(database));
  }

  sqlite3* database;
  SqliteStatement statement;
  int column = 0;
};

void Execute(sqlite3* database, const char* sql) {
  if (sqlite3_exec(database, sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw DumpError(sqlite3_errmsg(database));
  }
}

class TableWriter {
 public:
  explicit TableWriter(sqlite3* openDatabase)
      : database(openDatabase),
        classes(database, "INSERT INTO class VALUES (?, ?, ?)"),
        attributes(database, "INSERT INTO attribute VALUES (NULL, ?, ?, ?, ?, ?, ?)"),
        instances(database, "INSERT INTO instance VALUES (?, ?, ?, ?)"),
        values(database, "INSERT INTO value VALUES (NULL, ?, ?, ?, ?, ?)") {}

  void Write(const ObjInv& document) {
    const KorString kind(std::to_string(document.GetType()));
    Insertion(database, "INSERT INTO document VALUES (?, ?, ?, ?)")
        .Bind(document.GetName())
        .Bind(kind)
        .Bind(document.GetChecksum())
        .Bind(document.GetLastChecksum())
        .Run();
    sqlite3_int64 id = 0;
    for (const ObjType* type : document.Objects()) WriteClass(++id, *type);
  }

 private:
  void WriteClass(sqlite3_int64 id, const ObjType& type) {
    classes.Bind(id).Bind(type.GetName()).Bind(type.GetChange()).Run();
    for (const ObjTypeAttr* attribute : type.Attributes()) {
      attributes.Bind(id)
          .Bind(attribute->GetName())
          .Bind(attribute->GetType())
          .Bind(attribute->GetUnit())
          .Bind(attribute->GetDesc())
          .Bind(attribute->GetChange())
          .Run();
    }
    for (const ObjInst* instance : type.Instances()) WriteInstance(id, *instance);
  }

  void WriteInstance(sqlite3_int64 classId, const ObjInst& instance) {
    const sqlite3_int64 id = ++instanceCount;
    instances.Bind(id).Bind(classId).Bind(instance.GetName()).Bind(instance.GetChange()).Run();
    for (const ObjInstAttr* value : instance.Attributes()) {
      values.Bind(id)
          .Bind(value->GetName())
          .Bind(value->GetValue())
          .Bind(value->GetPreviousValue())
          .Bind(value->GetChange())
          .Run();
    }
  }

  sqlite3* database;
  Insertion classes;
  Insertion attributes;
  Insertion instances;
  Insertion values;
  sqlite3_int64 instanceCount = 0;
};

std::string ViewSql(std::string_view viewName, size_t classId, const ObjType& type) {
  UniqueNames columnNames;
  std::string sql = "CREATE VIEW " + Quoted(viewName, '"') + " AS SELECT i.name AS " +
                    Quoted(columnNames.MakeUnique(kInstanceColumn), '"');
  size_t columns = 0;
  for (const ObjTypeAttr* attribute : type.Attributes()) {
    const std::string_view name = attribute->GetName().View();
    if (name.empty() || !IsText(name)) continue;
    if (++columns > kViewAttributes) break;
    sql += ",\n (SELECT v.value FROM main.value v WHERE v.instance = i.id AND v.name = " +
           Quoted(name, '\'') + ") AS " + Quoted(columnNames.MakeUnique(name), '"');
  }
  return sql + "\nFROM main.instance i WHERE i.class = " + std::to_string(classId);
}

// The views are written as the rows of the schema that they are. CREATE VIEW would parse each of
// them twice and keep what it has read, for half of the time of a dump; nobody asks this
// connection.
void WriteViews(sqlite3* database, const ObjInv& document) {
  sqlite3_db_config(database, SQLITE_DBCONFIG_DEFENSIVE, 0, nullptr);
  Execute(database, "PRAGMA writable_schema = ON");
  Insertion views(database, "INSERT INTO sqlite_master VALUES ('view', ?1, ?1, 0, ?2)");
  UniqueNames viewNames;
  for (const std::string_view name : kSchemaNames) viewNames.Take(name);
  size_t classId = 0;
  for (const ObjType* type : document.Objects()) {
    ++classId;
    const std::string_view name = type->GetName().View();
    if (name.empty() || !IsText(name) || Folded(name).starts_with("sqlite_")) continue;
    const KorString viewName(viewNames.MakeUnique(name));
    const KorString sql(ViewSql(viewName.View(), classId, *type));
    views.Bind(viewName).Bind(sql).Run();
  }
}

void WriteDatabase(const KorString& path, const ObjInv& document) {
  KorString error;
  const SqliteDatabase database = SqliteOpen(path, "mode=rw", error);
  if (database == nullptr) throw DumpError(error.Str());
  Execute(database.get(), kSchema);
  TableWriter(database.get()).Write(document);
  Execute(database.get(), kIndexes);
  WriteViews(database.get(), document);
  Execute(database.get(), "COMMIT");
}

}  // namespace

bool ObjInv::Dump(const KorString& path) const {
  KorDebug log("Inventory", "Inventory documents");
  log.SetContext(context);
  KorAtomicFile file(path);
  if (file.Error().IsEmpty()) {
    try {
      WriteDatabase(file.TemporaryPath(), *this);
    } catch (const DumpError& error) {
      log.ErrorWithNL("Failed to dump inventory: %S: %s", path, KorReasonOf(error));
      return false;
    }
  }
  if (file.Commit()) return true;
  log.ErrorWithNL("Failed to dump inventory: %S", file.Error());
  return false;
}
