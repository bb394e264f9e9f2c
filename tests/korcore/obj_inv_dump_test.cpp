#include <gtest/gtest.h>
#include <sqlite3.h>

#include <memory>
#include <string>
#include <vector>

#include "kor/debug.h"
#include "korcore/obj_inv.h"
#include "support/random_document.h"
#include "support/temporary_folder.h"

namespace {

using Rows = std::vector<std::vector<std::string>>;

class LastMessage : public KorDebugContext {
 public:
  bool Wants(KorLogLevel) const override { return true; }
  void Write(const KorLogRecord& record) override { text = record.text; }
  std::string text;
};

// A dump opened with nothing of ours. NULL is "<null>".
class Database {
 public:
  explicit Database(const KorString& path) {
    EXPECT_EQ(sqlite3_open_v2(path.CStr(), &handle, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
  }
  ~Database() { sqlite3_close(handle); }
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;

  Rows Ask(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    EXPECT_EQ(sqlite3_prepare_v2(handle, sql.c_str(), -1, &statement, nullptr), SQLITE_OK)
        << sqlite3_errmsg(handle);
    Rows rows;
    while (sqlite3_step(statement) == SQLITE_ROW) {
      auto& row = rows.emplace_back();
      for (int column = 0; column < sqlite3_column_count(statement); ++column) {
        row.push_back(Cell(statement, column));
      }
    }
    sqlite3_finalize(statement);
    return rows;
  }

  std::vector<std::string> ColumnsOf(const std::string& table) {
    std::vector<std::string> names;
    for (const auto& row : Ask("PRAGMA table_info(\"" + table + "\")")) names.push_back(row[1]);
    return names;
  }

 private:
  static std::string Cell(sqlite3_stmt* statement, int column) {
    if (sqlite3_column_type(statement, column) == SQLITE_NULL) return "<null>";
    const void* bytes = sqlite3_column_blob(statement, column);
    const auto length = static_cast<size_t>(sqlite3_column_bytes(statement, column));
    return bytes == nullptr ? "" : std::string(static_cast<const char*>(bytes), length);
  }

  sqlite3* handle = nullptr;
};

// The document again, out of the tables.
void ReadTables(Database& database, ObjInv& out) {
  for (const auto& type : database.Ask("SELECT id, name FROM class ORDER BY id")) {
    ObjType* made = out.Ensure(KorString(type[1]));
    for (const auto& row : database.Ask("SELECT name, type, unit, description FROM attribute"
                                        " WHERE class = " +
                                        type[0] + " ORDER BY id")) {
      ObjTypeAttr* attribute = made->Ensure(KorString(row[0]), KorString(row[1]));
      attribute->SetUnit(KorString(row[2]));
      attribute->SetDesc(KorString(row[3]));
    }
    for (const auto& row :
         database.Ask("SELECT id, name FROM instance WHERE class = " + type[0] + " ORDER BY id")) {
      ObjInst* instance = made->Ensure(KorString(row[1]));
      for (const auto& value : database.Ask(
               "SELECT name, value FROM value WHERE instance = " + row[0] + " ORDER BY id")) {
        instance->Ensure(KorString(value[0]))->SetValue(KorString(value[1]));
      }
    }
  }
}

std::string Quoted(std::string name) {
  for (size_t at = 0; (at = name.find('"', at)) != std::string::npos; at += 2) {
    name.insert(at, "\"");
  }
  return '"' + name + '"';
}

// Each shows the instances of the class whose number its text ends with.
void CheckViews(Database& database) {
  for (const auto& view : database.Ask("SELECT name, tbl_name, sql FROM sqlite_master"
                                       " WHERE type = 'view'")) {
    EXPECT_EQ(view[1], view[0]);
    const std::string id = view[2].substr(view[2].rfind(' ') + 1);
    const Rows shown = database.Ask("SELECT * FROM " + Quoted(view[0]));
    const Rows instances = database.Ask("SELECT name FROM instance WHERE class = " + id);
    ASSERT_EQ(shown.size(), instances.size());
    for (size_t row = 0; row < shown.size(); ++row) EXPECT_EQ(shown[row][0], instances[row][0]);
  }
}

}  // namespace

TEST(ObjInvDump, AClassAnswersUnderItsOwnName) {
  const TemporaryFolder folder;
  ObjInv document(nullptr);
  ObjType* disks = document.Ensure("Logical Disk");
  disks->Ensure("Size", "Integer");
  disks->Ensure("File System", "String");
  disks->Ensure("sdb1")->Ensure("Size")->SetValue("200");
  disks->Ensure("sda1")->Ensure("File System")->SetValue("ext4");
  disks->Ensure("sda1")->Ensure("Size")->SetValue("");

  ASSERT_TRUE(document.Dump(folder.Path("dump.sqlite3")));

  Database database(folder.Path("dump.sqlite3"));
  EXPECT_EQ(database.ColumnsOf("Logical Disk"),
            (std::vector<std::string>{"Instance", "Size", "File System"}));
  EXPECT_EQ(database.Ask("select * from \"Logical Disk\""),
            (Rows{{"sdb1", "200", "<null>"}, {"sda1", "", "ext4"}}));
}

TEST(ObjInvDump, TheTablesHoldEverything) {
  const uint64_t seed = RandomDocuments::Seed();
  const TemporaryFolder folder;
  for (uint64_t number = 0; number < 100; ++number) {
    SCOPED_TRACE("KOR_TEST_SEED=" + std::to_string(seed) + ", document " + std::to_string(number));
    RandomDocuments random(seed + number);
    ObjInv document(nullptr);
    random.Fill(document);
    ASSERT_TRUE(document.Dump(folder.Path("dump.sqlite3")));
    Database database(folder.Path("dump.sqlite3"));
    ObjInv read(nullptr);
    ReadTables(database, read);
    ASSERT_TRUE(SameObjects(read, document));
    ASSERT_EQ(database.Ask("SELECT name, kind, checksum, last_checksum FROM document"),
              (Rows{{document.GetName().Str(), std::to_string(document.GetType()),
                     document.GetChecksum().Str(), document.GetLastChecksum().Str()}}));
    ASSERT_EQ(database.Ask("PRAGMA integrity_check"), (Rows{{"ok"}}));
    CheckViews(database);
  }
}

TEST(ObjInvDump, TextIsTextAndOtherBytesAreBlobs) {
  const TemporaryFolder folder;
  ObjInv document(nullptr);
  ObjInst* instance = document.Ensure("c")->Ensure("i");
  instance->Ensure("1")->SetValue("K\xC3\xB6ln");
  instance->Ensure("2")->SetValue("");
  instance->Ensure("3")->SetValue("\xFF");
  instance->Ensure("4")->SetValue(KorString("a\0b", 3));

  ASSERT_TRUE(document.Dump(folder.Path("dump")));

  Database database(folder.Path("dump"));
  EXPECT_EQ(database.Ask("SELECT typeof(value) FROM value ORDER BY name"),
            (Rows{{"text"}, {"text"}, {"blob"}, {"blob"}}));
}

TEST(ObjInvDump, ClassNamesThatCollideGetASuffix) {
  const TemporaryFolder folder;
  ObjInv document(nullptr);
  for (const char* name : {"Disk", "disk", "DISK", "Value", "document", "value_of"}) {
    document.Ensure(name)->Ensure(name);
  }

  ASSERT_TRUE(document.Dump(folder.Path("dump")));

  Database database(folder.Path("dump"));
  for (const char* view :
       {"Disk", "disk (2)", "DISK (3)", "Value (2)", "document (2)", "value_of (2)"}) {
    const std::string name(view);
    EXPECT_EQ(database.Ask("SELECT * FROM \"" + name + "\""),
              (Rows{{name.substr(0, name.find(" ("))}}));
  }
}

TEST(ObjInvDump, AttributeNamesThatCollideGetASuffix) {
  const TemporaryFolder folder;
  ObjInv document(nullptr);
  ObjType* type = document.Ensure("c");
  for (const char* name : {"instance", "Size", "SIZE", "it's \"it\""}) {
    type->Ensure(name, "String");
    type->Ensure("i")->Ensure(name)->SetValue(name);
  }

  ASSERT_TRUE(document.Dump(folder.Path("dump")));

  Database database(folder.Path("dump"));
  EXPECT_EQ(database.ColumnsOf("c"), (std::vector<std::string>{"Instance", "instance (2)", "Size",
                                                               "SIZE (2)", "it's \"it\""}));
  EXPECT_EQ(database.Ask("SELECT * FROM c"),
            (Rows{{"i", "instance", "Size", "SIZE", "it's \"it\""}}));
}

TEST(ObjInvDump, NamesThatCannotBeNamesHaveNoView) {
  const TemporaryFolder folder;
  ObjInv document(nullptr);
  for (const char* name : {"", "\xFF", "sqlite_sequence", "SQLite_x", "good"}) {
    document.Ensure(name)->Ensure("", "String");
    document.Ensure(name)->Ensure("\xFF", "String");
  }
  document.Ensure(KorString("a\0b", 3));

  ASSERT_TRUE(document.Dump(folder.Path("dump")));

  Database database(folder.Path("dump"));
  EXPECT_EQ(database.Ask("SELECT name FROM sqlite_master WHERE type = 'view'"), (Rows{{"good"}}));
  EXPECT_EQ(database.ColumnsOf("good"), (std::vector<std::string>{"Instance"}));
  EXPECT_EQ(database.Ask("SELECT count(*) FROM class"), (Rows{{"6"}}));
}

TEST(ObjInvDump, AViewHasAsManyColumnsAsSqliteGives) {
  const TemporaryFolder folder;
  ObjInv document(nullptr);
  ObjType* type = document.Ensure("wide");
  for (int number = 0; number < 2'500; ++number) {
    const KorString name(std::to_string(number));
    type->Ensure(name, "String");
    type->Ensure("i")->Ensure(name)->SetValue(name);
  }

  ASSERT_TRUE(document.Dump(folder.Path("dump")));

  Database database(folder.Path("dump"));
  const Rows rows = database.Ask("SELECT * FROM wide");
  ASSERT_EQ(rows.size(), 1u);
  ASSERT_EQ(rows[0].size(), 1'901u);
  EXPECT_EQ(rows[0][1'900], "1899");
  EXPECT_EQ(database.Ask("SELECT count(*) FROM value"), (Rows{{"2500"}}));
}

TEST(ObjInvDump, ViewsAreAsIfSqliteHadMadeThem) {
  const TemporaryFolder folder;
  ObjInv document(nullptr);
  for (const char* name : {"it's \"it\"", "a;b", "-- c", "/* d", "\n", "main.instance", "select"}) {
    document.Ensure(name)->Ensure(name, "String");
    document.Ensure(name)->Ensure("i")->Ensure(name)->SetValue(name);
  }
  ASSERT_TRUE(document.Dump(folder.Path("dump")));
  Database database(folder.Path("dump"));
  const Rows written = database.Ask(
      "SELECT type, name, tbl_name, rootpage, sql FROM sqlite_master"
      " WHERE type = 'view'");
  ASSERT_EQ(written.size(), 7u);

  // In a database of its own, from the same statements.
  sqlite3* other = nullptr;
  ASSERT_EQ(sqlite3_open(folder.Path("other").CStr(), &other), SQLITE_OK);
  for (const auto& row : written) {
    EXPECT_EQ(sqlite3_exec(other, row[4].c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(other);
  }
  sqlite3_close(other);

  EXPECT_EQ(Database(folder.Path("other"))
                .Ask("SELECT type, name, tbl_name, rootpage, sql"
                     " FROM sqlite_master"),
            written);
  for (const auto& row : written) {
    EXPECT_EQ(database.Ask("SELECT * FROM " + Quoted(row[1])), (Rows{{"i", row[1]}}));
  }
}

TEST(ObjInvDump, MarksOfAMergeAreColumns) {
  const TemporaryFolder folder;
  ObjInv document(nullptr);
  ObjType* type = document.Ensure("c");
  type->SetChange(ObjChange::kModified);
  ObjInstAttr* value = type->Ensure("i")->Ensure("v");
  value->SetChange(ObjChange::kModified);
  value->SetPreviousValue("before");
  type->Ensure("i")->Ensure("w");

  ASSERT_TRUE(document.Dump(folder.Path("dump")));

  Database database(folder.Path("dump"));
  EXPECT_EQ(database.Ask("SELECT change FROM class"), (Rows{{"modified"}}));
  EXPECT_EQ(database.Ask("SELECT name, previous, change FROM value"),
            (Rows{{"v", "before", "modified"}, {"w", "<null>", "<null>"}}));
}

TEST(ObjInvDump, ReplacesTheFileAndLeavesNothingElse) {
  const TemporaryFolder folder;
  const KorString path = folder.Write("dump", "what was there before");

  ASSERT_TRUE(ObjInv(nullptr).Dump(path));

  Database database(path);
  EXPECT_EQ(database.Ask("SELECT count(*) FROM class"), (Rows{{"0"}}));
  EXPECT_EQ(folder.CountEntries(), 1u);
}

TEST(ObjInvDump, PathsAreBytesAndNotAddresses) {
  const TemporaryFolder folder;
  const KorString path = folder.Path("100% file:a?mode=ro#\xC3\xB6");

  ASSERT_TRUE(ObjInv(nullptr).Dump(path));

  KorContainer container;
  container.SetString("Query", "SELECT count(*) FROM class");
  EXPECT_TRUE(ObjInv(nullptr).Query(path, container));
}

TEST(ObjInvDump, AFailureIsLoggedWithItsReason) {
  const TemporaryFolder folder;
  LastMessage messages;
  const ObjInv document(&messages);

  EXPECT_FALSE(document.Dump(folder.Path("missing/dump")));

  EXPECT_EQ(messages.text.find("Failed to dump inventory: " + folder.Path("missing").Str()), 0u)
      << messages.text;
}
