#include <gtest/gtest.h>
#include <sys/stat.h>

#include <chrono>
#include <string>
#include <vector>

#include "korcore/obj_inv.h"
#include "support/temporary_folder.h"

namespace {

using Row = std::vector<std::string>;

class ObjInvQuery : public testing::Test {
 protected:
  ObjInvQuery() {
    ObjInv document(nullptr);
    ObjType* disks = document.Ensure("Logical Disk");
    disks->Ensure("Size", "Integer");
    disks->Ensure("File System", "String");
    disks->Ensure("sda1")->Ensure("Size")->SetValue("100");
    disks->Ensure("sda2")->Ensure("File System")->SetValue("ext4");
    EXPECT_TRUE(document.Dump(path));
  }

  bool Ask(const char* sql, const ObjQueryLimits& limits = {}) {
    container.Clear();
    container.SetString("Query", sql);
    return ObjInv(nullptr).Query(path, container, limits);
  }

  std::string Error() const {
    KorString error("(none)");
    container.GetString("Error", error);
    return error.Str();
  }

  static Row Strings(const KorContainer& from, const char* key) {
    Row strings;
    KorString text;
    for (size_t at = 0; from.GetString(key, text, at); ++at) strings.push_back(text.Str());
    return strings;
  }

  std::vector<Row> Rows() const {
    std::vector<Row> rows;
    KorContainer row;
    for (size_t at = 0; container.GetContainer("Rows", row, at); ++at) {
      rows.push_back(Strings(row, "Values"));
    }
    return rows;
  }

  bool IsTruncated() const {
    bool isTruncated = false;
    EXPECT_TRUE(container.GetBool("Truncated", isTruncated));
    return isTruncated;
  }

  const TemporaryFolder folder;
  const KorString path = folder.Path("dump.sqlite3");
  KorContainer container;
};

}  // namespace

TEST_F(ObjInvQuery, GivesColumnsAndRowsAndNothingElse) {
  ASSERT_TRUE(Ask("select * from \"Logical Disk\""));

  EXPECT_EQ(Strings(container, "Columns"), (Row{"Instance", "Size", "File System"}));
  EXPECT_EQ(Rows(), (std::vector<Row>{{"sda1", "100", ""}, {"sda2", "", "ext4"}}));
  EXPECT_FALSE(IsTruncated());
  EXPECT_EQ(container.Keys().size(), 3u);
}

TEST_F(ObjInvQuery, NoRowsAreNoKey) {
  ASSERT_TRUE(Ask("select * from \"Logical Disk\" where Instance = 'sdz'"));

  EXPECT_EQ(container.CountValues("Columns"), 3);
  EXPECT_EQ(container.CountValues("Rows"), -1);
  EXPECT_FALSE(IsTruncated());
}

TEST_F(ObjInvQuery, ValuesOfEveryKindAreTexts) {
  ASSERT_TRUE(Ask("select 1, 2.5, 'a', x'00ff', null, '' as \"six\""));

  EXPECT_EQ(Rows(), (std::vector<Row>{{"1", "2.5", "a", std::string("\0\xFF", 2), "", ""}}));
  EXPECT_EQ(Strings(container, "Columns").back(), "six");
}

TEST_F(ObjInvQuery, AMissingQueryIsAnError) {
  KorContainer wrongType;
  wrongType.SetBool("Query", true);

  EXPECT_FALSE(ObjInv(nullptr).Query(path, container));
  EXPECT_EQ(Error(), "There is no text \"Query\"");
  EXPECT_FALSE(ObjInv(nullptr).Query(path, wrongType));
  EXPECT_EQ(wrongType.Keys(), (std::vector<KorString>{"Error"}));
}

TEST_F(ObjInvQuery, AMissingDumpIsAnErrorThatSaysSo) {
  container.SetString("Query", "select 1");

  EXPECT_FALSE(ObjInv(nullptr).Query(folder.Path("missing"), container));

  EXPECT_EQ(Error(), "There is no inventory dump '" + folder.Path("missing").Str() + "'");
  EXPECT_EQ(folder.CountEntries(), 1u);
}

TEST_F(ObjInvQuery, APipeInThePlaceOfTheDumpIsRefusedAndNotWaitedFor) {
  const KorString pipe = folder.Path("pipe");
  ASSERT_EQ(mkfifo(pipe.CStr(), 0600), 0);
  container.SetString("Query", "select 1");

  EXPECT_FALSE(ObjInv(nullptr).Query(pipe, container));

  EXPECT_EQ(Error(), "Cannot open the inventory dump '" + pipe.Str() + "': it is not a file");
}

TEST_F(ObjInvQuery, AFileThatIsNoDatabaseIsAnError) {
  container.SetString("Query", "select * from class");

  EXPECT_FALSE(ObjInv(nullptr).Query(folder.Write("text", std::string(5'000, 'x')), container));

  EXPECT_EQ(Error(), "file is not a database");
}

TEST_F(ObjInvQuery, AnErrorInTheStatementIsTold) {
  EXPECT_FALSE(Ask("select * from nowhere"));
  EXPECT_EQ(Error(), "no such table: nowhere");
  EXPECT_EQ(container.Keys().size(), 1u);
}

TEST_F(ObjInvQuery, OneStatementIsTaken) {
  EXPECT_TRUE(Ask("select 1; "));
  EXPECT_TRUE(Ask("select 1; -- and a word"));
  EXPECT_TRUE(Ask("select 1;;; /* and more */"));

  EXPECT_FALSE(Ask("select 1; select 2"));
  EXPECT_EQ(Error(), "The query holds more than one statement");
  EXPECT_FALSE(Ask("select 1;; select 2"));
  EXPECT_EQ(Error(), "The query holds more than one statement");
  EXPECT_FALSE(Ask(" -- nothing"));
  EXPECT_EQ(Error(), "The query holds no statement");
  EXPECT_FALSE(Ask(""));
  EXPECT_EQ(Error(), "The query holds no statement");
}

TEST_F(ObjInvQuery, ANulByteEndsNoStatement) {
  container.SetString("Query", KorString("select 1\0; select 2", 19));

  EXPECT_FALSE(ObjInv(nullptr).Query(path, container));

  EXPECT_EQ(Error(), "The query holds a NUL byte");
}

TEST_F(ObjInvQuery, NothingButReadingIsAllowed) {
  const std::string before = folder.Read("dump.sqlite3");
  const std::string other = folder.Path("other").Str();
  for (const std::string& sql : {
           std::string("insert into class values (9, 'x', null)"),
           std::string("update value set value = 'x'"),
           std::string("delete from class"),
           std::string("drop table class"),
           std::string("create temp table t (x)"),
           std::string("attach database '" + other + "' as other"),
           std::string("vacuum into '" + other + "'"),
           std::string("pragma user_version"),
           std::string("pragma journal_mode = wal"),
           std::string("select * from pragma_database_list"),
           std::string("select load_extension('x')"),
           std::string("begin"),
           std::string("with x as (select 1) delete from class"),
       }) {
    EXPECT_FALSE(Ask(sql.c_str())) << sql;
    EXPECT_NE(Error(), "(none)");
  }
  EXPECT_FALSE(Ask("delete from class"));
  EXPECT_EQ(Error(), "The query does more than read the inventory dump");
  EXPECT_EQ(folder.Read("dump.sqlite3"), before);
  EXPECT_EQ(folder.CountEntries(), 1u);
}

TEST_F(ObjInvQuery, RowsAreBounded) {
  const char* sql =
      "with recursive t(x) as (select 1 union all select x + 1 from t limit 3)"
      " select x from t";
  ASSERT_TRUE(Ask(sql, {.rows = 2}));
  EXPECT_EQ(Rows(), (std::vector<Row>{{"1"}, {"2"}}));
  EXPECT_TRUE(IsTruncated());

  ASSERT_TRUE(Ask(sql, {.rows = 3}));
  EXPECT_EQ(Rows().size(), 3u);
  EXPECT_FALSE(IsTruncated());
}

TEST_F(ObjInvQuery, TheUsualBoundIsTenThousandRows) {
  ASSERT_TRUE(
      Ask("with recursive t(x) as (select 1 union all select x + 1 from t) select x from t"));

  EXPECT_EQ(container.CountValues("Rows"), 10'000);
  EXPECT_TRUE(IsTruncated());
}

TEST_F(ObjInvQuery, BytesAreBounded) {
  ASSERT_TRUE(
      Ask("with recursive t(x) as (select 1 union all select x + 1 from t)"
          " select zeroblob(1000) from t",
          {.bytes = 5'000}));

  EXPECT_EQ(container.CountValues("Rows"), 4);
  EXPECT_TRUE(IsTruncated());
}

TEST_F(ObjInvQuery, TextsPatternsAndExpressionsAreBounded) {
  EXPECT_TRUE(Ask("select length(zeroblob(1048576))"));
  EXPECT_FALSE(Ask("select length(zeroblob(1048577))"));
  EXPECT_EQ(Error(), "string or blob too big");

  const std::string pattern(1001, 'a');
  EXPECT_FALSE(Ask(("select 'a' like '" + pattern + "'").c_str()));
  EXPECT_EQ(Error(), "LIKE or GLOB pattern too complex");

  std::string deep = "1";
  for (int n = 0; n < 200; ++n) deep += "+1";
  EXPECT_FALSE(Ask(("select " + deep).c_str()));
  EXPECT_EQ(Error(), "Expression tree is too large (maximum depth 200)");

  std::string selects = "select 1";
  for (int n = 0; n < 50; ++n) selects += " union all select 1";
  EXPECT_FALSE(Ask(selects.c_str()));
  EXPECT_EQ(Error(), "too many terms in compound SELECT");

  EXPECT_FALSE(Ask(std::string(1'048'577, ' ').c_str()));
  EXPECT_EQ(Error(), "The query is too long");
}

TEST_F(ObjInvQuery, CallThatWouldTakeLongIsRefused) {
  const std::string texts = "(printf('%.*c', 200000, 'a'), printf('%.*c', 100000, 'b')";
  for (const char* call : {"instr", "trim", "ltrim", "rtrim", "replace"}) {
    const bool isReplace = std::string(call) == "replace";
    EXPECT_FALSE(Ask(("select " + (call + texts) + (isReplace ? ", 'c')" : ")")).c_str())) << call;
    EXPECT_EQ(Error(), "the texts are too long to be compared") << call;
  }
  EXPECT_FALSE(Ask("select json_patch('{}', '{}')"));
}

TEST_F(ObjInvQuery, BoundedFunctionsMeanWhatTheyAlwaysDo) {
  ASSERT_TRUE(
      Ask("select instr('h\u00e4user', 's'), instr(null, 'a') is null, instr(x'0102', x'02'),"
          " replace('aXbX', 'X', 'yy'), replace('a', '', 'b'), trim('xxaxx', 'x'),"
          " ltrim('xxaxx', 'x'), rtrim('xxaxx', 'x'), trim('  a '), typeof(instr('a', 'a')),"
          " replace(121, 2, 3)"));

  EXPECT_EQ(
      Rows(),
      (std::vector<Row>{{"4", "1", "2", "ayybyy", "a", "a", "axx", "xxa", "a", "integer", "131"}}));
}

TEST_F(ObjInvQuery, TimeIsBoundedAlsoWhereEveryCallTakesLong) {
  const ObjQueryLimits limits{.milliseconds = 50};
  EXPECT_FALSE(
      Ask("with recursive t(x) as (select 1 union all select x + 1 from t)"
          " select count(instr(printf('%.*c', 16000, 'a'), printf('%.*c', 16000, 'a') || x))"
          " from t",
          limits));
  EXPECT_EQ(Error(), "The query takes too long");
}

TEST_F(ObjInvQuery, TimeIsBounded) {
  const ObjQueryLimits limits{.milliseconds = 50};
  const auto start = std::chrono::steady_clock::now();

  EXPECT_FALSE(
      Ask("with recursive t(x) as (select 1 union all select x + 1 from t)"
          " select count(*) from t",
          limits));
  EXPECT_EQ(Error(), "The query takes too long");
  EXPECT_TRUE(
      Ask("with recursive t(x) as (select 1 union all select x + 1 from t)"
          " select x from t where x < 3",
          limits));
  EXPECT_EQ(Rows(), (std::vector<Row>{{"1"}, {"2"}}));
  EXPECT_TRUE(IsTruncated());

  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(60));
}
