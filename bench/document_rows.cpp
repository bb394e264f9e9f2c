// The inventory document against the least that could do the same.

#include <fcntl.h>
#include <malloc.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <pugixml.hpp>
#include <sstream>
#include <stdexcept>
#include <string>

#include "korcore/obj_inv.h"
#include "ratios.h"
#include "support/work_folder.h"
#include "table.h"

namespace {

constexpr int kValuesOfInstance = 20;
constexpr int kFew = 10'000;
constexpr int kSome = 100'000;
constexpr int kMany = 1'000'000;

void Fill(ObjInv& document, int values, bool isLater) {
  document.SetName("HWINVENTORY");
  ObjType& type = *document.Ensure("Logical Disk");
  for (int n = 0; n < kValuesOfInstance; ++n) {
    type.Ensure(KorString("Attribute " + std::to_string(n)), "UINT64");
  }
  for (int n = 0; n < values / kValuesOfInstance; ++n) {
    ObjInst& instance = *type.Ensure(KorString("/mnt/volume-" + std::to_string(n)));
    for (int m = 0; m < kValuesOfInstance; ++m) {
      const bool isChanged = isLater && m == 7 && n % 10 == 0;
      instance.Ensure(KorString("Attribute " + std::to_string(m)))
          ->SetValue(KorString(std::to_string(4096 * n + m + (isChanged ? 1 : 0))));
    }
  }
}

void Require(bool isTrue, const char* what) {
  if (!isTrue) throw std::runtime_error(what);
}

std::string Content(const std::string& path) {
  std::ifstream file(path);
  std::stringstream content;
  content << file.rdbuf();
  return content.str();
}

// With the same care: a new file, synchronised, put in the place of the old one.
void WriteBytes(const WorkFolder& folder, const std::string& bytes) {
  constexpr size_t kPiece = 65'536;
  const std::string temporary = (folder.Path() / "bare.tmp").string();
  const int file = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
  for (size_t at = 0; at < bytes.size(); at += kPiece) {
    const size_t length = std::min(kPiece, bytes.size() - at);
    Require(write(file, bytes.data() + at, length) == static_cast<ssize_t>(length), "disk full");
  }
  fsync(file);
  close(file);
  Require(rename(temporary.c_str(), (folder.Path() / "bare").c_str()) == 0, "rename");
  const int parent = open(folder.Path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  fsync(parent);
  close(parent);
}

void Execute(sqlite3* database, const char* sql) {
  Require(sqlite3_exec(database, sql, nullptr, nullptr, nullptr) == SQLITE_OK, sql);
}

// The rows of the values and of the instances, with the index that the dump has on them.
void InsertRows(const std::string& path, const ObjInv& document) {
  std::filesystem::remove(path);
  sqlite3* database = nullptr;
  Require(sqlite3_open(path.c_str(), &database) == SQLITE_OK, "sqlite3_open");
  Execute(database,
          "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE;"
          "BEGIN;"
          "CREATE TABLE instance (id INTEGER PRIMARY KEY, class INTEGER, name TEXT, change TEXT);"
          "CREATE TABLE value (id INTEGER PRIMARY KEY, instance INTEGER, name TEXT, value TEXT,"
          " previous TEXT, change TEXT);");
  sqlite3_stmt* instances = nullptr;
  sqlite3_stmt* values = nullptr;
  sqlite3_prepare_v2(database, "INSERT INTO instance VALUES (?, 1, ?, NULL)", -1, &instances,
                     nullptr);
  sqlite3_prepare_v2(database, "INSERT INTO value VALUES (NULL, ?, ?, ?, NULL, NULL)", -1, &values,
                     nullptr);
  const auto bind = [](sqlite3_stmt* statement, int column, const KorString& text) {
    sqlite3_bind_text(statement, column, text.CStr(), static_cast<int>(text.GetLength()),
                      SQLITE_STATIC);
  };
  int id = 0;
  for (const ObjType* type : document.Objects()) {
    for (const ObjInst* instance : type->Instances()) {
      sqlite3_bind_int(instances, 1, ++id);
      bind(instances, 2, instance->GetName());
      Require(sqlite3_step(instances) == SQLITE_DONE, "insert");
      sqlite3_reset(instances);
      for (const ObjInstAttr* value : instance->Attributes()) {
        sqlite3_bind_int(values, 1, id);
        bind(values, 2, value->GetName());
        bind(values, 3, value->GetValue());
        Require(sqlite3_step(values) == SQLITE_DONE, "insert");
        sqlite3_reset(values);
      }
    }
  }
  sqlite3_finalize(instances);
  sqlite3_finalize(values);
  Execute(database,
          "CREATE UNIQUE INDEX instance_of ON instance (class, id);"
          "CREATE UNIQUE INDEX value_of ON value (instance, name); COMMIT");
  sqlite3_close(database);
}

void FileRows() {
  const WorkFolder folder;
  ObjInv document(nullptr);
  Fill(document, kSome, false);
  const KorString file((folder.Path() / "document.xml").string());
  const auto save = [&] { Require(document.Save(file), "save"); };
  save();
  const std::string bytes = Content(file.Str());
  bench::PrintTimes("save of 100,000 values / writing its bytes, both synchronised",
                    bench::ThreadTimes(save, [&] { WriteBytes(folder, bytes); }), 3);
  const auto parse = [&] {
    ObjInv parsed(nullptr);
    Require(parsed.Parse(file, nullptr), "parse");
  };
  const auto parseBare = [&] {
    pugi::xml_document parsed;
    Require(static_cast<bool>(parsed.load_file(file.CStr())), "pugixml");
  };
  bench::PrintTimes("parse of 100,000 values / pugixml", bench::ThreadTimes(parse, parseBare), 3);
  const KorString dump((folder.Path() / "document.sqlite3").string());
  bench::PrintTimes(
      "dump of 100,000 values / bare inserts and index",
      bench::ThreadTimes([&] { Require(document.Dump(dump), "dump"); },
                         [&] { InsertRows((folder.Path() / "bare.sqlite3").string(), document); }),
      1.2);
}

// Seconds for a value.
struct Growth {
  double diff;
  double merge;
};

Growth MeasureGrowth(int values) {
  ObjInv before(nullptr);
  ObjInv after(nullptr);
  ObjInv difference(nullptr);
  Fill(before, values, false);
  Fill(after, values, true);
  Growth growth{};
  growth.diff = bench::ThreadSeconds([&] { Require(after.Diff(before, difference), "diff"); });
  growth.merge = bench::ThreadSeconds([&] { Require(after.Merge(difference), "merge"); });
  return {growth.diff / values, growth.merge / values};
}

// In a new process, as each command of the agent is: in this one, what other sizes have freed would
// be put in order in the time of this one.
Growth GrowthOf(int values) {
  int ends[2];
  Require(pipe(ends) == 0, "pipe");
  const pid_t child = fork();
  if (child == 0) {
    const Growth growth = MeasureGrowth(values);
    _exit(write(ends[1], &growth, sizeof growth) == sizeof growth ? 0 : 1);
  }
  close(ends[1]);
  Growth growth{};
  const bool isTold = read(ends[0], &growth, sizeof growth) == sizeof growth;
  close(ends[0]);
  waitpid(child, nullptr, 0);
  Require(isTold, "the measurement of a size failed");
  return growth;
}

void GrowthRows() {
  bench::Pairs diffs;
  bench::Pairs merges;
  for (int n = 0; n < bench::kPairs; ++n) {
    const Growth few = GrowthOf(kFew);
    const Growth many = GrowthOf(kMany);
    diffs.Add(many.diff, few.diff);
    merges.Add(many.merge, few.merge);
  }
  bench::PrintTimes("diff, a value of 1,000,000 / a value of 10,000", diffs, 1.5);
  bench::PrintTimes("merge, a value of 1,000,000 / a value of 10,000", merges, 1.5);
}

void MemoryRow() {
  const size_t before = mallinfo2().uordblks;
  ObjInv document(nullptr);
  Fill(document, kSome, false);
  const double perValue = static_cast<double>(mallinfo2().uordblks - before) / kSome;
  bench::PrintRow("memory of a value in a document, bytes", std::to_string(lround(perValue)) + " B",
                  "-", perValue, 160);
}

}  // namespace

void bench::DocumentRows() {
  GrowthRows();
  FileRows();
  MemoryRow();
}
