#include "home_check.h"

#include <sqlite3.h>

#include <string>

#include "delivered_documents.h"
#include "kor/string.h"
#include "korcore/obj_inv.h"

namespace {

namespace fs = std::filesystem;

// More than a single end can leave: the run after it takes them away.
constexpr size_t kMostTemporaryFiles = 3;

std::string IntegrityOf(const fs::path& path) {
  sqlite3* database = nullptr;
  std::string answer = "cannot be opened";
  const auto take = [](void* out, int, char** values, char**) {
    *static_cast<std::string*>(out) = values[0];
    return 0;
  };
  if (sqlite3_open_v2(path.c_str(), &database, SQLITE_OPEN_READONLY, nullptr) == SQLITE_OK) {
    sqlite3_exec(database, "pragma integrity_check", take, &answer, nullptr);
  }
  sqlite3_close(database);
  return answer;
}

void CheckInventoryFiles(const fs::path& folder, const Complain& complain) {
  if (!fs::exists(folder)) return;
  for (const fs::directory_entry& entry : fs::directory_iterator(folder)) {
    const fs::path& path = entry.path();
    const std::string name = path.filename().string();
    if (name.starts_with("HardwareInventory") && path.extension() == ".xml") {
      ObjInv document(nullptr);
      if (!document.Parse(KorString(path.string()), nullptr)) complain(name + ": is not whole");
    } else if (path.extension() == ".sqlite3" && !name.starts_with('.')) {
      const std::string integrity = IntegrityOf(path);
      if (integrity != "ok") complain(name + ": " + integrity);
    }
  }
}

void CheckTemporaryFiles(const fs::path& home, size_t most, const Complain& complain) {
  size_t count = 0;
  std::string names;
  for (const fs::directory_entry& entry : fs::recursive_directory_iterator(home)) {
    const std::string name = entry.path().filename().string();
    if (name.find(".tmp") == std::string::npos || !name.starts_with('.')) continue;
    ++count;
    names += " " + name;
  }
  if (count > most) complain(std::to_string(count) + " temporary files:" + names);
}

}  // namespace

void CheckHome(const fs::path& home, bool isClean, const Complain& complain) {
  const fs::path data = home / "data";
  // The end may have come before there was anything.
  if (!fs::exists(data)) return;
  CheckInventoryFiles(data / "HardwareInventory", complain);
  CheckTemporaryFiles(home, isClean ? 0 : kMostTemporaryFiles, complain);
  const AcceptedItems items(data, complain);
  if (isClean) items.ExpectAllDelivered();
  CheckDocuments(items, data, complain);
}
